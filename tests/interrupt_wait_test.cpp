// The interrupt wait through its exported function: its two forms, the abort flag and the outcome
// of disarming.
#include <chrono>
#include <thread>

#include <orva_fp/sensor_test.h>

#include "support/sensor_fixture.h"

namespace {

using simulator::interrupt_plan;
using simulator::sensor_config;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using support::raises;
using support::refuses;
using testing::ElementsAreArray;

constexpr uint32_t kNoLimit = 0xFFFFFFFF;
constexpr uint8_t kArm = 164;
constexpr uint8_t kDisarm = 165;

using strings = std::vector<std::string>;

strings operator+(strings first, const strings &then) {
  first.insert(first.end(), then.begin(), then.end());
  return first;
}

const strings kArmed = {"E- DeviceEnableInt 1 4 10 1", "> int-enable 1"};
const strings kArmFailed = {"E- DeviceEnableInt 1 4 10 1", "> int-enable 1 fails"};
const strings kDisarmed = {"E- DeviceEnableInt 0 4 10 1", "> int-disable 1"};
const strings kDisarmFailed = {"E- DeviceEnableInt 0 4 10 1", "> int-disable 1 fails"};
const strings kTriggered = {"E- DeviceWaitInt poll trigger", "I: sensor_test interrupt tirgger"};
const strings kTimedOut = {"I: sensor_test interrupt timeout"};
const strings kAborted = {"I: sensor_test interrupt abort"};

struct wait_case {
  const char *name;
  uint32_t timeout_ms;
  int32_t abort_flag;  // on entry
  sensor_config sensor;
  int32_t status;
  int32_t at_least_ms;
  strings journal;
};

std::ostream &operator<<(std::ostream &out, const wait_case &c) { return out << c.name; }

const wait_case kWaits[] = {
    {"Timed_InterruptComes", 1000, 0, raises(interrupt_plan::after(30)), FP_OK, 30,
     kArmed + kTriggered + kDisarmed},
    {"Timed_LimitPasses", 60, 0, raises(interrupt_plan::after(500)), FP_ERR_INT_NOT_TRIGGERED, 60,
     kArmed + kTimedOut + kDisarmed},
    {"Timed_FlagIsNotLookedAt", 300, 1, raises(interrupt_plan::after(60)), FP_OK, 60,
     kArmed + kTriggered + kDisarmed},
    {"Timed_ZeroOnlyLooks", 0, 0, {}, FP_ERR_INT_NOT_TRIGGERED, 0, kArmed + kTimedOut + kDisarmed},
    {"Timed_LongestLimits", 0xFFFFFFFE, 1, raises(interrupt_plan::after(30)), FP_OK, 30,
     kArmed + kTriggered + kDisarmed},
    {"Timed_ErrorEventIsNoInterrupt", 200, 0, raises(interrupt_plan::error_event()),
     FP_ERR_INT_NOT_TRIGGERED, 0, kArmed + kTimedOut + kDisarmed},
    {"Timed_ArmingFails", 1000, 0, refuses(kArm), FP_ERR_DRIVER_IO, 0, kArmFailed},
    {"Timed_DisarmingFailsAfterInterrupt",
     1000,
     0,
     {.faults = {{kDisarm}}, .interrupts = {interrupt_plan::after(0)}},
     FP_ERR_DRIVER_IO,
     0,
     kArmed + kTriggered + kDisarmFailed},
    {"Timed_DisarmingFailsAfterTimeout", 10, 0, refuses(kDisarm), FP_ERR_DRIVER_IO, 0,
     kArmed + kTimedOut + kDisarmFailed},
    {"NoLimit_InterruptAfterManySlices", kNoLimit, 0, raises(interrupt_plan::after(80)), FP_OK, 80,
     kArmed + kTriggered + kDisarmed},
    {"NoLimit_FlagSetOnEntry_OneSliceRuns", kNoLimit, 1, raises(interrupt_plan::never()),
     FP_ERR_INT_NOT_TRIGGERED, 10, kArmed + kAborted + kDisarmed},
    {"NoLimit_InterruptWinsOverTheFlag", kNoLimit, -1, raises(interrupt_plan::after(0)), FP_OK, 0,
     kArmed + kTriggered + kDisarmed},
    {"NoLimit_ErrorEventThenAbort", kNoLimit, 1, raises(interrupt_plan::error_event()),
     FP_ERR_INT_NOT_TRIGGERED, 0, kArmed + kAborted + kDisarmed},
    {"NoLimit_DisarmingFailsAfterAbort", kNoLimit, 1, refuses(kDisarm), FP_ERR_DRIVER_IO, 10,
     kArmed + kAborted + kDisarmFailed},
};

class InterruptWait : public support::sensor_fixture,
                      public testing::WithParamInterface<wait_case> {
 protected:
  void TearDown() override {
    __atomic_store_n(&g_sensor_test_abort, 0, __ATOMIC_RELEASE);
    sensor_fixture::TearDown();
  }
};

TEST_P(InterruptWait, Outcome) {
  const wait_case &c = GetParam();
  open_driver(c.sensor);
  __atomic_store_n(&g_sensor_test_abort, c.abort_flag, __ATOMIC_RELEASE);
  const auto start = steady_clock::now();
  EXPECT_EQ(wait_interrupt_in_sensor_test(c.timeout_ms), c.status);
  EXPECT_GE(steady_clock::now() - start, milliseconds(c.at_least_ms) - milliseconds(1));

  EXPECT_THAT(journal, ElementsAreArray(c.journal));
  EXPECT_EQ(g_sensor_test_abort, c.abort_flag) << "the library only reads it";
}

INSTANTIATE_TEST_SUITE_P(All, InterruptWait, testing::ValuesIn(kWaits),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(InterruptWait, AnotherThreadEndsAWaitWithoutALimit) {
  open_driver({});
  steady_clock::time_point stored;
  std::thread other([&] {
    std::this_thread::sleep_for(milliseconds(50));
    stored = steady_clock::now();
    __atomic_store_n(&g_sensor_test_abort, 1, __ATOMIC_RELEASE);
  });
  EXPECT_EQ(wait_interrupt_in_sensor_test(kNoLimit), FP_ERR_INT_NOT_TRIGGERED);
  const auto ended = steady_clock::now();
  other.join();
  EXPECT_GE(ended, stored);
  EXPECT_LT(ended - stored, milliseconds(500)) << "seen within about one slice";
  EXPECT_EQ(journal.back(), "> int-disable 1");
  EXPECT_FALSE(support::sensor_state().armed);
}

}  // namespace
