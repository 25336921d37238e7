// Device access and the interrupt wait through the exported operations: statuses, log calls and
// every field of every command.
#include <chrono>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "support/libc_stand_ins.h"
#include "support/recorder.h"
#include "support/temp_folder.h"

namespace {

using namespace std::chrono_literals;
using simulator::interrupt_plan;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint32_t kNoLimit = 0xFFFFFFFF;

// What an operation does on an open driver whose record is as it was loaded.
struct operation {
  std::function<int32_t(int32_t)> run;
  int32_t status;
  const char *journal;
};

int32_t call(int32_t handle, uint8_t opcode, const uint8_t *params, uint32_t speed_hz) {
  static const uint8_t sent[4] = {1, 2, 3, 4};
  uint8_t received[4] = {};
  const int32_t status = orva_call_driver(handle, opcode, sent, 4, received, params, speed_hz);
  EXPECT_EQ(simulator::sensor().commands().back().sent, std::vector<uint8_t>({1, 2, 3, 4}));
  EXPECT_EQ(received[3], 0x5A) << "the driver's bytes did not arrive";
  return status;
}

void set_abort_flag(int32_t value) {
  __atomic_store_n(&g_sensor_test_abort, value, __ATOMIC_RELEASE);
}

auto polls(int32_t limit_ms) {
  return [=](int32_t handle) { return orvaFpDeviceWaitInt(handle, limit_ms); };
}

auto waits(uint32_t limit_ms, int32_t abort_flag = 0) {
  return [=](int32_t) {
    set_abort_flag(abort_flag);
    const int32_t status = wait_interrupt_in_sensor_test(limit_ms);
    EXPECT_EQ(g_sensor_test_abort, abort_flag) << "the library only reads it";
    return status;
  };
}

// Words that the journals below are written with.
const std::pair<std::string, std::string> kWords[] = {
    {"MEMORY-ON",
        "orvaFpDeviceEEPROMEnable:203 DeviceEEPROMEnable start non-tz 1 | set-clock 0 3300000 "
        "0.0.0 | orvaFpDeviceEEPROMEnable:216 DeviceEEPROMEnable end | info-memory 0 3300000 "
        "0.0.0"},
    {"DISARM",
        "orvaFpDeviceEnableInt:228 DeviceEnableInt 0 4 10 1 | int-disable 1 12500000 4.10.1 "
        "buffers"},
    {"ARM",
        "orvaFpDeviceEnableInt:228 DeviceEnableInt 1 4 10 1 | int-enable 1 12500000 4.10.1 "
        "buffers"},
    {"TRIGGER", "orvaFpDeviceWaitInt:256 DeviceWaitInt poll trigger"},
    {"CAME", "sensor_test interrupt tirgger"},
    {"TIMEOUT", "4:WAIT:67 sensor_test interrupt timeout"},
    {"ABORT", "4:WAIT:57 sensor_test interrupt abort"},
    {"WAIT", "wait_interrupt_in_sensor_test"},
};

std::string expanded(std::string journal) {
  for (const auto &[word, text] : kWords) {
    for (size_t at; (at = journal.find(word)) != std::string::npos;)
      journal.replace(at, word.size(), text);
  }
  return support::lines(journal);
}

const operation kOperations[] = {
    {orvaFpDeviceReset, 0, "reset 0 12500000 0.0.0"},
    {orvaFpDeviceReset, 209, "reset 0 12500000 0.0.0!"},
    {[](int32_t h) { return orvaFpDevicePowerCtrl(h, 1); }, 0,
        "orvaFpDevicePowerCtrl:187 orvaFpDevicePowerCtrl 1 | power 1 12500000 0.0.0"},
    {[](int32_t h) { return orvaFpDevicePowerCtrl(h, 0xFFFFFFFE); }, 209,
        "orvaFpDevicePowerCtrl:187 orvaFpDevicePowerCtrl -2 | power 4294967294 12500000 0.0.0!"},
    {[](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 1); }, 0, "MEMORY-ON"},
    {[](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 2); }, 0,
        "orvaFpDeviceEEPROMEnable:203 DeviceEEPROMEnable start non-tz 2 | set-clock 0 12500000 "
        "0.0.0 | orvaFpDeviceEEPROMEnable:216 DeviceEEPROMEnable end | info-memory 1 12500000 "
        "0.0.0"},
    {[](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 1); }, 209, "MEMORY-ON!"},
    {[](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 1) + orvaFpDeviceReset(h); }, 209,
        "orvaFpDeviceEEPROMEnable:203 DeviceEEPROMEnable start non-tz 1 | set-clock 0 3300000 "
        "0.0.0! | reset 0 3300000 0.0.0"},
    {[](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 1) + orvaFpDeviceSetClock(h, 1); }, 0,
        "MEMORY-ON | orvaFpDeviceSetClock:267 12.2.298.600 DeviceSetClock 1 | set-clock 0 12500000 "
        "0.0.0"},
    {[](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 1) + orvaFpDeviceSetClock(h, -1); }, 209,
        "MEMORY-ON | orvaFpDeviceSetClock:267 12.2.298.600 DeviceSetClock -1 | clock-other 0 "
        "3300000 0.0.0!"},
    {[](int32_t h) { return orvaFpDeviceCPUSpeedup(h, 0x80000001); }, 0,
        "cpu-speedup 2147483649 12500000 0.0.0"},
    {[](int32_t h) { return orvaFpDeviceEnableInt(h, 2); }, 0,
        "orvaFpDeviceEnableInt:228 DeviceEnableInt 2 4 10 1 | int-disable 1 12500000 0.0.0 "
        "buffers"},
    {[](int32_t h) {
       return orvaFpDeviceEnableInt(h, 1) + orvaFpDeviceReset(h) + orvaFpDeviceEnableInt(h, 0);
     },
        0, "ARM | reset 0 12500000 4.10.1 | DISARM"},
    {[](int32_t h) {
       static constexpr uint8_t kParams[3] = {7, 8, 9};
       return call(h, 200, kParams, 1000) + call(h, 201, nullptr, 0) + orvaFpDeviceReset(h);
     },
        0,
        "command 200 4 1000 7.8.9 buffers | command 201 4 1000 7.8.9 buffers | reset 0 1000 7.8.9"},

    {polls(500), 0, "poll 500 in | TRIGGER"},
    {polls(-1), 0, "poll -1 both | TRIGGER"},
    {polls(0), 117, "poll 0 none"},
    {polls(500), 117, "poll 500 error"},
    {polls(500), 209, "poll 500 fails | orvaFpDeviceWaitInt:252 poll error"},

    {waits(1000), 0, "ARM | poll 1000 in | TRIGGER | 4:WAIT:65 CAME | DISARM"},
    // With a limit the flag is not looked at, without one it is after every slice.
    {waits(60, 1), 13, "ARM | poll 60 none | TIMEOUT | DISARM"},
    {waits(0x80000000), 13,
        "ARM | poll 2147483647 fails | orvaFpDeviceWaitInt:252 poll error | TIMEOUT | DISARM"},
    {waits(kNoLimit - 1), 13, "ARM | poll 2147483647 error | TIMEOUT | DISARM"},
    {waits(1000), 209, "ARM!"},
    {waits(10), 209, "ARM | poll 10 in | TRIGGER | 4:WAIT:65 CAME | DISARM!"},
    {waits(10), 209, "ARM | poll 10 none | TIMEOUT | DISARM!"},
    {waits(kNoLimit), 0,
        "ARM | poll 10 none | poll 10 none | poll 10 in | TRIGGER | 4:WAIT:53 CAME | DISARM"},
    {waits(kNoLimit), 0,
        "ARM | poll 10 error | usleep 10000 | poll 10 fails | orvaFpDeviceWaitInt:252 poll error | "
        "usleep 6000! | usleep 4000 | poll 10 in | TRIGGER | 4:WAIT:53 CAME | DISARM"},
    {waits(kNoLimit, 1), 13, "ARM | poll 10 error | usleep 10000 | ABORT | DISARM"},
    {waits(kNoLimit, -1), 13, "ARM | poll 10 none | ABORT | DISARM"},
    {waits(kNoLimit, 1), 0, "ARM | poll 10 in | TRIGGER | 4:WAIT:53 CAME | DISARM"},
    {waits(kNoLimit, 1), 209, "ARM | poll 10 none | ABORT | DISARM!"},
};

class Device : public testing::Test {
 protected:
  void SetUp() override { start(""); }
  void TearDown() override {
    EXPECT_THAT(simulator::sensor().problems(), testing::IsEmpty());
    support::stop_journal();
    close_driver();
    set_abort_flag(0);
  }

  static void close_driver() {
    EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
    g_fp_device_handle = 0;
  }

  // A journal of the expected entries on an open driver, with the record as it was loaded.
  static void start(const std::string &expected) {
    close_driver();
    support::start_journal("power 1\n" + expected, true);
    ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
    static constexpr uint8_t kNoParams[3] = {};
    orva_call_driver(g_fp_device_handle, 0, nullptr, 0, nullptr, kNoParams, 12500000);
    support::take_journal();
  }
};

TEST_F(Device, Operations) {
  for (const operation &c : kOperations) {
    SCOPED_TRACE(c.journal);
    start(expanded(c.journal));
    EXPECT_EQ(c.run(g_fp_device_handle), c.status);
    EXPECT_EQ(support::take_journal(), expanded(c.journal));
    EXPECT_THAT(simulator::sensor().problems(), testing::IsEmpty());
  }
}

struct opening {
  simulator::sensor_config sensor;
  int32_t status;
  bool opened;
  const char *journal;
  int32_t handle = 0;  // left where the driver is not opened
};

TEST_F(Device, Open) {
  for (const opening &c :
      {opening{{}, 0, true,
           "orvaFpDevicePowerCtrl:187 orvaFpDevicePowerCtrl 1 | power 1 12500000 0.0.0"},
          opening{{.faults = {{5}}}, 209, true,
              "orvaFpDevicePowerCtrl:187 orvaFpDevicePowerCtrl 1 | power 1 12500000 0.0.0!"},
          opening{{.node = simulator::node_state::kMissing}, 210, false, "", 1234},
          opening{{.node = simulator::node_state::kNotOpenable}, 210, false, ""}}) {
    SCOPED_TRACE(c.journal);
    simulator::attach(c.sensor);
    int32_t handle = 1234;
    EXPECT_EQ(orvaFpDeviceOpen(&handle), c.status);
    EXPECT_EQ(support::take_journal(), support::lines(c.journal));
    if (!c.opened) {
      EXPECT_EQ(handle, c.handle);
      continue;
    }
    EXPECT_EQ(fcntl(handle, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(orvaFpDeviceClose(handle), FP_OK);
    EXPECT_EQ(support::take_journal(), "") << "closing does not power off";
    EXPECT_EQ(orvaFpDeviceClose(handle), FP_ERR_DRIVER_IO) << "it is closed already";
    EXPECT_EQ(orvaFpDeviceReset(handle), FP_ERR_DRIVER_IO);
  }
  EXPECT_EQ(orvaFpDeviceOpen(nullptr), FP_ERR_NULL_PARAM);
  const size_t before = support::open_descriptors();
  EXPECT_EQ(orvaFpDeviceClose(0), FP_OK);
  EXPECT_EQ(support::open_descriptors(), before) << "0 is no device, not standard input";
}

// The system's own poll, on a descriptor that becomes readable.
TEST_F(Device, WaitsTakeTheirTime) {
  struct {
    uint32_t limit_ms;
    int32_t status;
    milliseconds at_least;
  } const cases[] = {{1000, FP_OK, 30ms}, {40, FP_ERR_INT_NOT_TRIGGERED, 40ms},
      {kNoLimit, FP_OK, 30ms}, {kNoLimit, FP_ERR_INT_NOT_TRIGGERED, 50ms}};
  support::stop_journal();
  close_driver();
  simulator::attach({.interrupts = {interrupt_plan::after(30), interrupt_plan::never(),
                         interrupt_plan::after(30)}});
  ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
  for (const auto &c : cases) {
    const auto start = steady_clock::now();
    std::thread other([&] {
      std::this_thread::sleep_until(start + 50ms);
      set_abort_flag(1);
    });
    EXPECT_EQ(wait_interrupt_in_sensor_test(c.limit_ms), c.status);
    const auto lasted = steady_clock::now() - start;
    EXPECT_GE(lasted, c.at_least - 1ms);
    EXPECT_LT(lasted, c.at_least + 500ms);
    other.join();
    set_abort_flag(0);
    EXPECT_FALSE(simulator::sensor().state().armed);
  }
}

}  // namespace
