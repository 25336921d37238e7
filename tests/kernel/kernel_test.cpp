// What only a kernel can show: that a record and its buffers cross into the driver, and that poll
// hands over the events of a device.
#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>

#include "kernel/kernel_fixture.h"
#include "simulator/secure_side.h"
#include "support/temp_folder.h"

namespace {

using namespace std::chrono_literals;
using simulator::interrupt_plan;
using support::later;
using support::milliseconds_of;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// Whatever the tests of this program did, they leave no descriptor open.
class descriptors_closed : public testing::Environment {
  void SetUp() override {
    support::attach_sensor({});
    before_ = support::open_descriptors();
  }
  void TearDown() override { EXPECT_EQ(support::open_descriptors(), before_); }
  size_t before_ = 0;
};

const auto *const kEnvironment = testing::AddGlobalTestEnvironment(new descriptors_closed);

class Kernel : public support::kernel_fixture {};

TEST_F(Kernel, BuffersCrossTheBoundary) {
  open_driver({});
  constexpr uint32_t kLength = 3 * 4096 + 17;
  std::vector<uint8_t> sent(kLength);
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<uint8_t>(i * 7 + i / 256);
  std::vector<uint8_t> received(kLength + 64, 0xEE);
  EXPECT_EQ(
      orva_call_driver(g_fp_device_handle, 200, sent.data(), kLength, received.data(), nullptr, 0),
      FP_OK);
  EXPECT_EQ(support::sensor_commands().back().sent, sent);
  const auto end = received.begin() + kLength;
  EXPECT_THAT(std::vector(received.begin(), end), Each(0x5A));
  EXPECT_THAT(std::vector(end, received.end()), Each(0xEE));
}

TEST_F(Kernel, AddressesThatLeadNowhere) {
  open_driver({});
  uint8_t byte = 0;
  void *const nowhere = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_EQ(orva_call_driver(g_fp_device_handle, 200, nowhere, 1, &byte, nullptr, 0),
            FP_ERR_DRIVER_IO);
  EXPECT_EQ(orva_call_driver(g_fp_device_handle, 200, &byte, 1, nowhere, nullptr, 0),
            FP_ERR_DRIVER_IO);
  EXPECT_EQ(orvaFpDeviceReset(g_fp_device_handle), FP_OK);
  munmap(nowhere, 4096);
}

TEST_F(Kernel, EveryCommandFailsOnceWithAnErrorOfItsOwn) {
  struct {
    uint8_t opcode;
    int error;
    std::function<int32_t(int32_t)> run;
  } const cases[] = {
      {4, EIO, [](int32_t h) { return orvaFpDeviceReset(h); }},
      {5, ENODEV, [](int32_t h) { return orvaFpDevicePowerCtrl(h, 0); }},
      {6, EINTR, [](int32_t h) { return orvaFpDeviceSetClock(h, 1); }},
      {7, EAGAIN, [](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 1); }},
      {16, ETIMEDOUT, [](int32_t h) { return orvaFpDeviceSetClock(h, 0); }},
      {17, ENOSYS, [](int32_t h) { return orvaFpDeviceCPUSpeedup(h, 3); }},
      {164, EBUSY, [](int32_t h) { return orvaFpDeviceEnableInt(h, 1); }},
      {165, EREMOTEIO, [](int32_t h) { return orvaFpDeviceEnableInt(h, 0); }},
      {200, EPERM,
       [](int32_t h) { return orva_call_driver(h, 200, nullptr, 0, nullptr, nullptr, 0); }},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(simulator::opcode_name(c.opcode));
    // The power-on within the opening is the first command of its code.
    const uint32_t nth = c.opcode == 5 ? 2 : 1;
    open_driver({.faults = {{.opcode = c.opcode, .nth = nth, .error = c.error}}});
    EXPECT_EQ(c.run(g_fp_device_handle), FP_ERR_DRIVER_IO);
    EXPECT_EQ(support::sensor_commands().back().error, c.error) << "there is no retry";
    EXPECT_EQ(c.run(g_fp_device_handle), FP_OK);
    close_driver();
  }
}

// Every action code but the end, then the end with results.
std::vector<simulator::exchange_step> all_actions() {
  std::vector<simulator::exchange_step> steps;
  for (const uint32_t action : {23U, 12U, 24U, 12U, 21U, 41U, 99U})
    steps.push_back({.result = action});
  steps.push_back({.result = ORVA_TEST_FINISH, .text = "body", .data = {1, 0, 2}});
  return steps;
}

struct script_run {
  const char *name;
  int32_t script_id;
  const char *log;  // that it leaves, null for no files
  std::vector<std::string> received;
};

std::ostream &operator<<(std::ostream &out, const script_run &c) { return out << c.name; }

const std::vector<std::string> kNormalScanCommands = {
    "power       len=1 speed_hz=12500000 param=0,0,0",
    "set-clock   len=0 speed_hz=12500000 param=0,0,0",
    "set-clock   len=0 speed_hz=3300000 param=0,0,0",
    "info-memory len=0 speed_hz=3300000 param=0,0,0",
    "set-clock   len=0 speed_hz=12500000 param=0,0,0",
    "info-memory len=1 speed_hz=12500000 param=0,0,0",
    "reset       len=0 speed_hz=12500000 param=0,0,0",
    "reset       len=0 speed_hz=12500000 param=0,0,0",
    "power       len=0 speed_hz=12500000 param=0,0,0",
    "power       len=1 speed_hz=12500000 param=0,0,0"};
const std::vector<std::string> kSnr1Commands = {"power       len=1 speed_hz=12500000 param=0,0,0",
                                                "set-clock   len=0 speed_hz=12500000 param=0,0,0",
                                                "set-clock   len=0 speed_hz=3300000 param=0,0,0",
                                                "info-memory len=0 speed_hz=3300000 param=0,0,0",
                                                "int-enable  len=1 speed_hz=3300000 param=4,10,1",
                                                "int-disable len=1 speed_hz=3300000 param=4,10,1",
                                                "reset       len=0 speed_hz=3300000 param=4,10,1",
                                                "int-enable  len=1 speed_hz=3300000 param=4,10,1",
                                                "int-disable len=1 speed_hz=3300000 param=4,10,1"};
const std::vector<std::string> kSnr2Commands = {"power       len=1 speed_hz=12500000 param=0,0,0",
                                                "set-clock   len=0 speed_hz=12500000 param=0,0,0",
                                                "set-clock   len=0 speed_hz=3300000 param=0,0,0",
                                                "info-memory len=0 speed_hz=3300000 param=0,0,0",
                                                "int-enable  len=1 speed_hz=3300000 param=4,10,1",
                                                "int-disable len=1 speed_hz=3300000 param=4,10,1",
                                                "set-clock   len=0 speed_hz=12500000 param=4,10,1",
                                                "info-memory len=1 speed_hz=12500000 param=4,10,1",
                                                "int-enable  len=1 speed_hz=12500000 param=4,10,1",
                                                "int-disable len=1 speed_hz=12500000 param=4,10,1"};

class KernelScript : public Kernel, public testing::WithParamInterface<script_run> {};

TEST_P(KernelScript, RecordsAndFiles) {
  support::attach_sensor({.interrupts = {interrupt_plan::after(40)}});
  std::vector<simulator::record_bytes> sent;
  support::observe_commands([&](const simulator::command &c) { sent.push_back(c.record); });
  const support::temp_folder folder;
  simulator::secure_side side(all_actions());
  EXPECT_EQ(orvaFpSensorTest(GetParam().script_id, 0, 0, 0, simulator::secure_side::request, &side,
                             0, 0, folder.path().c_str()),
            FP_OK);
  EXPECT_THAT(side.problems(), IsEmpty());

  std::vector<simulator::record_bytes> received;
  std::vector<std::string> described;
  for (const simulator::command &c : support::sensor_commands()) {
    received.push_back(c.record);
    described.push_back(simulator::describe(c));
  }
  EXPECT_EQ(received, sent) << "a record changed on its way";
  EXPECT_EQ(described, GetParam().received);

  std::vector<int32_t> outcomes;
  for (const sensor_test_request &r : side.requests()) outcomes.push_back(r.interrupt_triggered);
  if (GetParam().received == kNormalScanCommands) {
    EXPECT_THAT(outcomes, Each(0));
  } else {
    EXPECT_THAT(outcomes, ElementsAre(0, 0, 1, 1, 0, 0, 0, 0));
  }

  if (GetParam().log == nullptr) {
    EXPECT_THAT(folder.files(), IsEmpty());
  } else {
    EXPECT_THAT(folder.files(), ElementsAre("fp_data.bin", GetParam().log));
    EXPECT_EQ(folder.contents("fp_data.bin"), std::string("\1\0\2", 3));
    EXPECT_THAT(folder.contents(GetParam().log), testing::MatchesRegex("Date: .*\nbody"));
  }
}

constexpr const char *kNormalScanLog = "orva_sensor_test_NS.log";
constexpr const char *kSnrLog = "orva_sensor_test_SNR.log";

INSTANTIATE_TEST_SUITE_P(
    All, KernelScript,
    testing::Values(script_run{"NormalScan", 1000, kNormalScanLog, kNormalScanCommands},
                    script_run{"Snr1", 1001, nullptr, kSnr1Commands},
                    script_run{"Snr2", 1002, kSnrLog, kSnr2Commands},
                    script_run{"NormalScanVariant", 1003, kNormalScanLog, kNormalScanCommands},
                    script_run{"Snr1Variant", 1004, nullptr, kSnr1Commands},
                    script_run{"Snr2Variant", 1005, kSnrLog, kSnr2Commands}),
    [](const auto &test) { return std::string(test.param.name); });

struct limited_wait {
  const char *name;
  interrupt_plan plan;
  uint32_t limit_ms;
  int32_t status;
  int64_t lasts_ms;
};

std::ostream &operator<<(std::ostream &out, const limited_wait &c) { return out << c.name; }

class KernelLimitedWait : public Kernel, public testing::WithParamInterface<limited_wait> {};

TEST_P(KernelLimitedWait, StatusAndTime) {
  open_driver({.interrupts = {GetParam().plan}});
  const auto wait = [] { return wait_interrupt_in_sensor_test(GetParam().limit_ms); };
  int32_t status = -1;
  const int64_t lasted_ms = milliseconds_of([&] { status = wait(); });
  EXPECT_EQ(status, GetParam().status);
  EXPECT_GE(lasted_ms, GetParam().lasts_ms - 1);
  EXPECT_LE(lasted_ms, GetParam().lasts_ms + 5);
  EXPECT_FALSE(support::sensor_state().armed);

  EXPECT_EQ(wait(), FP_ERR_INT_NOT_TRIGGERED) << "an event of the first wait shows in the second";
}

INSTANTIATE_TEST_SUITE_P(
    All, KernelLimitedWait,
    testing::Values(
        limited_wait{"PendingAlready", interrupt_plan::after(0), 50, FP_OK, 0},
        limited_wait{"Before", interrupt_plan::after(30), 50, FP_OK, 30},
        limited_wait{"JustBefore", interrupt_plan::after(90), 100, FP_OK, 90},
        limited_wait{"JustAfter", interrupt_plan::after(60), 50, FP_ERR_INT_NOT_TRIGGERED, 50},
        limited_wait{"Never", interrupt_plan::never(), 100, FP_ERR_INT_NOT_TRIGGERED, 100},
        limited_wait{"ErrorEvent", interrupt_plan::error_event(), 50, FP_ERR_INT_NOT_TRIGGERED, 0},
        limited_wait{"NoTimeAtAll", interrupt_plan::after(5), 0, FP_ERR_INT_NOT_TRIGGERED, 0}),
    [](const auto &test) { return std::string(test.param.name); });

TEST_F(Kernel, InterruptAtTheLimit_EitherOutcomeButAllOfIt) {
  const std::vector<interrupt_plan> plans(40, interrupt_plan::after(10));
  open_driver({.interrupts = plans});
  for (size_t i = 0; i < plans.size(); ++i) {
    journal.clear();
    const int32_t status = wait_interrupt_in_sensor_test(10);
    ASSERT_THAT(status, AnyOf(FP_OK, FP_ERR_INT_NOT_TRIGGERED));
    EXPECT_THAT(journal, Contains(status == FP_OK ? "I: sensor_test interrupt tirgger"
                                                  : "I: sensor_test interrupt timeout"));
    EXPECT_EQ(journal.back(), "> int-disable 1");
  }
}

TEST_F(Kernel, EndlessWait_StoppedByAnotherThread) {
  open_driver({});
  const later stop(50ms, [] { __atomic_store_n(&g_sensor_test_abort, 1, __ATOMIC_RELEASE); });
  int32_t status = -1;
  const int64_t lasted_ms =
      milliseconds_of([&] { status = wait_interrupt_in_sensor_test(0xFFFFFFFF); });
  EXPECT_EQ(status, FP_ERR_INT_NOT_TRIGGERED);
  EXPECT_GE(lasted_ms, 49);
  EXPECT_LE(lasted_ms, 65);
  EXPECT_FALSE(support::sensor_state().armed);
  EXPECT_THAT(journal, Contains("I: sensor_test interrupt abort"));
}

TEST_F(Kernel, EndlessWait_EndedByTheInterrupt) {
  open_driver({.interrupts = {interrupt_plan::after(45), interrupt_plan::after(5)}});
  EXPECT_EQ(wait_interrupt_in_sensor_test(0xFFFFFFFF), FP_OK);
  __atomic_store_n(&g_sensor_test_abort, 1, __ATOMIC_RELEASE);
  EXPECT_EQ(wait_interrupt_in_sensor_test(0xFFFFFFFF), FP_OK) << "it wins over the flag";
  EXPECT_EQ(wait_interrupt_in_sensor_test(0xFFFFFFFF), FP_ERR_INT_NOT_TRIGGERED);
}

TEST_F(Kernel, EventsThatTheDriverShows) {
  struct {
    uint32_t events;
    int32_t status;
  } const cases[] = {{POLLIN, FP_OK},
                     {POLLIN | POLLERR, FP_OK},
                     {POLLIN | POLLHUP, FP_OK},
                     {POLLERR, FP_ERR_POLL_TIMEOUT},
                     {POLLHUP, FP_ERR_POLL_TIMEOUT},
                     {POLLOUT | POLLPRI, FP_ERR_POLL_TIMEOUT},
                     {0, FP_ERR_POLL_TIMEOUT}};
  open_driver({});
  for (const auto &c : cases) {
    SCOPED_TRACE(c.events);
    support::show_events(c.events);
    EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, 10), c.status) << "shown before";
    support::show_events(0);
    const later show(10ms, [&] { support::show_events(c.events); });
    EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, 30), c.status) << "shown while waiting";
  }
}

TEST_F(Kernel, SignalDuringTheWait) {
  struct sigaction quiet = {};
  quiet.sa_handler = [](int) {};
  struct sigaction former = {};
  sigaction(SIGUSR1, &quiet, &former);
  open_driver({});
  {
    const later interrupt(20ms, [main = pthread_self()] { pthread_kill(main, SIGUSR1); });
    EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, 1000), FP_ERR_DRIVER_IO);
  }
  EXPECT_THAT(journal, ElementsAre("E- poll error"));
  sigaction(SIGUSR1, &former, nullptr);
}

}  // namespace
