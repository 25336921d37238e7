// What only a genuine node shows: that buffers cross into the driver, that poll hands
// over a device's events, and what becomes of the library when the driver dies or the node is not
// the driver's.
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <thread>
#include <unistd.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "kernel/kernel_rig.h"
#include "simulator/secure_side.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace {

using namespace std::chrono_literals;
using simulator::interrupt_plan;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::Each;

constexpr uint32_t kNoLimit = 0xFFFFFFFF;

void set_abort_flag(int32_t value) {
  __atomic_store_n(&g_sensor_test_abort, value, __ATOMIC_RELEASE);
}

// Runs something on another thread after a while; the end of its life waits for that.
struct later {
  later(milliseconds delay, std::function<void()> what)
      : thread([delay, what = std::move(what)] {
          std::this_thread::sleep_for(delay);
          what();
        }) {}
  ~later() { thread.join(); }
  std::thread thread;
};

class Kernel : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    support::attach_sensor({});
    descriptors_before = support::open_descriptors();
  }
  static void TearDownTestSuite() { EXPECT_EQ(support::open_descriptors(), descriptors_before); }

  void TearDown() override {
    close_driver();
    set_abort_flag(0);
    support::attach_sensor({});
  }

  void close_driver() {
    EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
    g_fp_device_handle = 0;
  }

  void open_driver(const simulator::sensor_config &config) {
    close_driver();
    support::attach_sensor(config);
    ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
    support::clear_log();
  }

  // Expects the status of a wait, how long it lasts and that it takes hardly any processor time.
  static void expect_wait(uint32_t limit_ms, int32_t status, milliseconds lasts) {
    const auto start = steady_clock::now();
    const clock_t processor = clock();
    EXPECT_EQ(wait_interrupt_in_sensor_test(limit_ms), status);
    EXPECT_LT(clock() - processor, CLOCKS_PER_SEC / 100);
    const auto lasted = steady_clock::now() - start;
    EXPECT_GE(lasted, lasts - 1ms);
    EXPECT_LE(lasted, lasts + 15ms);
  }

  int32_t run(int32_t script_id, std::vector<simulator::exchange_step> steps) {
    simulator::secure_side side(std::move(steps));
    const int32_t status = orvaFpSensorTest(
        script_id, 0, 0, 0, simulator::secure_side::request, &side, 0, 0, folder.path().c_str());
    EXPECT_THAT(side.problems(), testing::IsEmpty());
    EXPECT_TRUE(side.finished());
    return status;
  }

  static inline size_t descriptors_before = 0;
  support::temp_folder folder;
};

TEST_F(Kernel, BuffersCrossTheBoundary) {
  open_driver({});
  constexpr uint32_t kLength = 3 * 4096 + 17;
  std::vector<uint8_t> sent(kLength), received(kLength + 64, 0xEE);
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<uint8_t>(i * 7 + i / 256);
  const auto call = [](const void *from, uint32_t length, void *to) {
    return orva_call_driver(g_fp_device_handle, 200, from, length, to, nullptr, 0);
  };
  EXPECT_EQ(call(sent.data(), kLength, received.data()), FP_OK);
  EXPECT_EQ(support::received_commands().back().sent, sent);
  const auto end = received.begin() + kLength;
  EXPECT_THAT(std::vector(received.begin(), end), Each(0x5A));
  EXPECT_THAT(std::vector(end, received.end()), Each(0xEE));

  void *const nowhere = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_EQ(call(nowhere, 1, received.data()), FP_ERR_DRIVER_IO);
  EXPECT_EQ(call(sent.data(), 1, nowhere), FP_ERR_DRIVER_IO);
  munmap(nowhere, 4096);
}

struct wait_case {
  interrupt_plan plan;
  uint32_t limit_ms;
  int32_t status;
  milliseconds lasts;
};

const wait_case kWaits[] = {
    {interrupt_plan::after(0), 50, FP_OK, 0ms},  // pending already
    {interrupt_plan::after(90), 120, FP_OK, 90ms},
    {interrupt_plan::after(80), 50, FP_ERR_INT_NOT_TRIGGERED, 50ms},
    {interrupt_plan::error_event(), 50, FP_ERR_INT_NOT_TRIGGERED, 0ms},
    {interrupt_plan::after(25), 0, FP_ERR_INT_NOT_TRIGGERED, 0ms},
    {interrupt_plan::after(45), kNoLimit, FP_OK, 45ms},
};

TEST_F(Kernel, Waits) {
  for (const wait_case &c : kWaits) {
    open_driver({.interrupts = {c.plan}});
    expect_wait(c.limit_ms, c.status, c.lasts);
    EXPECT_EQ(support::received_commands().back().opcode(), 165) << "disarmed";
    expect_wait(0, FP_ERR_INT_NOT_TRIGGERED, 0ms);  // no event of the first wait shows
  }
}

TEST_F(Kernel, EventsThatTheDriverShows) {
  open_driver({});
  for (const int events :
      {POLLIN, POLLIN | POLLERR, POLLIN | POLLHUP, POLLERR, POLLHUP, POLLOUT | POLLPRI, 0}) {
    SCOPED_TRACE(events);
    const int32_t status = (events & POLLIN) != 0 ? FP_OK : FP_ERR_POLL_TIMEOUT;
    support::show_events(events);
    EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, 10), status) << "shown before";
    support::show_events(0);
    const later show(10ms, [&] { support::show_events(events); });
    EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, 30), status) << "shown while waiting";
  }
}

// The status is that of disarming.
TEST_F(Kernel, DriverDiesDuringAWait) {
  open_driver({});
  {
    const later die(50ms, support::kill_driver);
    expect_wait(1000, FP_ERR_DRIVER_IO, 50ms);
  }
  open_driver({});
  const later die(20ms, support::kill_driver);
  const later stop(60ms, [] { set_abort_flag(1); });
  expect_wait(kNoLimit, FP_ERR_DRIVER_IO, 60ms);
}

TEST_F(Kernel, DriverDiesDuringASensorTest) {
  {
    const later die(50ms, support::kill_driver);
    EXPECT_EQ(run(ORVA_SCRIPT_SNR2, {{.result = ORVA_WAIT_INTERRUPT}}), FP_ERR_DRIVER_IO);
  }
  EXPECT_TRUE(folder.files().empty());
  // A later run keeps the descriptor: its operations fail, and it goes on to the end.
  EXPECT_EQ(run(ORVA_SCRIPT_NORMAL_SCAN, {{.result = ORVA_RESET}, {.text = "done"}}), FP_OK);
  EXPECT_EQ(folder.files(), std::vector<std::string>{"orva_sensor_test_NS.log"});
  // With the descriptor closed a run opens the node of the new driver.
  close_driver();
  support::attach_sensor({.interrupts = {interrupt_plan::after(20)}});
  EXPECT_EQ(
      run(ORVA_SCRIPT_SNR2, {{.result = ORVA_WAIT_INTERRUPT}, {.result = 37, .interrupt = 1}}),
      FP_OK);
}

TEST_F(Kernel, NodeIsSomethingElse) {
  const char *node = ORVA_FP_DRIVER_NODE;
  const std::pair<std::function<int()>, int32_t> cases[] = {
      {[&] { return close(creat(node, 0600)); }, FP_ERR_DRIVER_IO},
      {[&] { return mkfifo(node, 0600); }, FP_ERR_DRIVER_IO},
      {[&] { return mkdir(node, 0700); }, FP_ERR_NO_DEVICE},
      {[&] { return mknod(node, S_IFCHR | 0600, makedev(4000, 1)); }, FP_ERR_NO_DEVICE},
      {[&] { return symlink("/dev/nothing", node); }, FP_ERR_NO_DEVICE},
  };
  for (const auto &[make, status] : cases) {
    ASSERT_EQ(remove(node) + make(), 0);
    int32_t handle = 0;
    EXPECT_EQ(orvaFpDeviceOpen(&handle), status);
    EXPECT_EQ(handle != 0, status == FP_ERR_DRIVER_IO);
    EXPECT_EQ(orvaFpDeviceClose(handle), FP_OK);
  }
}

}  // namespace
