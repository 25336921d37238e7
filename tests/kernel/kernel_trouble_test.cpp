// What becomes of the library when the driver dies, when the node is not the driver's, and when
// others use it.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include "api/driver_channel.h"
#include "kernel/kernel_fixture.h"
#include "simulator/secure_side.h"
#include "support/temp_folder.h"

namespace {

using namespace std::chrono_literals;
using simulator::interrupt_plan;
using support::later;
using support::milliseconds_of;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kNode = orva::kDriverNode;

class KernelDriverDies : public support::kernel_fixture {
 protected:
  // The fixture asks the sensor for problems at the end.
  void TearDown() override {
    support::attach_sensor({});
    kernel_fixture::TearDown();
  }
};

TEST_F(KernelDriverDies, WhileALimitedWaitWaits) {
  open_driver({});
  int32_t status = -1;
  const later die(50ms, support::kill_driver);
  const int64_t lasted_ms = milliseconds_of([&] { status = wait_interrupt_in_sensor_test(1000); });
  EXPECT_EQ(status, FP_ERR_DRIVER_IO) << "of disarming";
  EXPECT_LE(lasted_ms, 100);
  EXPECT_THAT(journal, ElementsAre("E- DeviceEnableInt 1 4 10 1", "> int-enable 1",
                                   "I: sensor_test interrupt timeout",
                                   "E- DeviceEnableInt 0 4 10 1", "> int-disable 1 fails"));
}

TEST_F(KernelDriverDies, WhileAnEndlessWaitWaits) {
  open_driver({});
  const later die(20ms, support::kill_driver);
  const later stop(60ms, [] { __atomic_store_n(&g_sensor_test_abort, 1, __ATOMIC_RELEASE); });
  int32_t status = -1;
  const int64_t lasted_ms =
      milliseconds_of([&] { status = wait_interrupt_in_sensor_test(0xFFFFFFFF); });
  EXPECT_EQ(status, FP_ERR_DRIVER_IO) << "of disarming";
  EXPECT_GE(lasted_ms, 59) << "only the flag ends it";
  EXPECT_LE(lasted_ms, 75);
}

TEST_F(KernelDriverDies, WhileACommandIsOut) {
  open_driver({});
  support::freeze_driver();
  const later die(30ms, support::kill_driver);
  EXPECT_EQ(orvaFpDeviceReset(g_fp_device_handle), FP_ERR_DRIVER_IO);
  EXPECT_EQ(orvaFpDeviceReset(g_fp_device_handle), FP_ERR_DRIVER_IO) << "and none after it";
}

TEST_F(KernelDriverDies, WithinASensorTest) {
  const support::temp_folder folder;
  const auto run = [&](int32_t script_id, std::vector<simulator::exchange_step> steps) {
    simulator::secure_side side(std::move(steps));
    const int32_t status = orvaFpSensorTest(script_id, 0, 0, 0, simulator::secure_side::request,
                                            &side, 0, 0, folder.path().c_str());
    EXPECT_THAT(side.problems(), IsEmpty());
    EXPECT_TRUE(side.finished());
    return status;
  };
  {
    const later die(50ms, support::kill_driver);
    EXPECT_EQ(run(ORVA_SCRIPT_SNR2, {{.result = ORVA_WAIT_INTERRUPT}}), FP_ERR_DRIVER_IO);
    EXPECT_EQ(journal.back(), "I: orvaFpSensorTest() ret = 209");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  }
  // A later run keeps the descriptor: its operations fail, and it goes on to the end.
  EXPECT_EQ(run(ORVA_SCRIPT_NORMAL_SCAN,
                {{.result = ORVA_RESET}, {.result = ORVA_TEST_FINISH, .text = "done"}}),
            FP_OK);
  EXPECT_THAT(journal, Contains("E: sensor_test ORVA_RESET fail 209"));
  EXPECT_TRUE(std::filesystem::exists(folder / "orva_sensor_test_NS.log"));

  // With the descriptor closed a run opens the node of the new driver.
  close_driver();
  support::attach_sensor({.interrupts = {interrupt_plan::after(20)}});
  EXPECT_EQ(run(ORVA_SCRIPT_SNR2,
                {{.result = ORVA_WAIT_INTERRUPT}, {.result = ORVA_TEST_STOP, .interrupt = 1}}),
            FP_OK);
}

TEST_F(KernelDriverDies, NodeIsGone) {
  support::kill_driver();
  int32_t handle = 1234;
  EXPECT_EQ(orvaFpDeviceOpen(&handle), FP_ERR_NO_DEVICE);
}

struct odd_node {
  const char *name;
  int (*make)();
  int32_t status;
  enum class handle : uint8_t { kUnchanged, kZero, kOpen } left;
};

std::ostream &operator<<(std::ostream &out, const odd_node &c) { return out << c.name; }

class KernelNode : public support::kernel_fixture, public testing::WithParamInterface<odd_node> {};

TEST_P(KernelNode, Open) {
  ASSERT_EQ(unlink(kNode), 0);
  ASSERT_EQ(GetParam().make(), 0);
  constexpr int32_t kUnchanged = 1234;
  int32_t handle = kUnchanged;
  EXPECT_EQ(orvaFpDeviceOpen(&handle), GetParam().status);
  switch (GetParam().left) {
    case odd_node::handle::kUnchanged:
      EXPECT_EQ(handle, kUnchanged);
      break;
    case odd_node::handle::kZero:
      EXPECT_EQ(handle, 0);
      break;
    case odd_node::handle::kOpen:
      EXPECT_NE(handle, 0);
      EXPECT_NE(handle, kUnchanged);
      EXPECT_EQ(orvaFpDeviceClose(handle), FP_OK);
      break;
  }
}

const odd_node kOddNodes[] = {
    {"RegularFile", [] { return close(creat(kNode, 0600)); }, FP_ERR_DRIVER_IO,
     odd_node::handle::kOpen},
    {"OtherDevice", [] { return mknod(kNode, S_IFCHR | 0600, makedev(1, 3)); }, FP_ERR_DRIVER_IO,
     odd_node::handle::kOpen},
    {"Pipe", [] { return mkfifo(kNode, 0600); }, FP_ERR_DRIVER_IO, odd_node::handle::kOpen},
    {"Directory", [] { return mkdir(kNode, 0700); }, FP_ERR_NO_DEVICE, odd_node::handle::kZero},
    {"Socket", [] { return mknod(kNode, S_IFSOCK | 0600, 0); }, FP_ERR_NO_DEVICE,
     odd_node::handle::kZero},
    {"DeviceWithoutDriver", [] { return mknod(kNode, S_IFCHR | 0600, makedev(4000, 1)); },
     FP_ERR_NO_DEVICE, odd_node::handle::kZero},
    {"Dangling", [] { return symlink("/dev/nothing", kNode); }, FP_ERR_NO_DEVICE,
     odd_node::handle::kUnchanged},
    {"LinkToItself", [] { return symlink(kNode, kNode); }, FP_ERR_NO_DEVICE,
     odd_node::handle::kUnchanged},
};

INSTANTIATE_TEST_SUITE_P(All, KernelNode, testing::ValuesIn(kOddNodes),
                         [](const auto &test) { return std::string(test.param.name); });

class KernelAccess : public support::kernel_fixture {};

TEST_F(KernelAccess, NodeBehindALink) {
  constexpr const char *kElsewhere = "/dev/ovfp-elsewhere";
  ASSERT_EQ(rename(kNode, kElsewhere), 0);
  ASSERT_EQ(symlink(kElsewhere, kNode), 0);
  EXPECT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
  close_driver();
  support::attach_sensor({});
  unlink(kElsewhere);
}

// Runs something in a process of its own, as the given user; its result is the exit status.
int in_child(uid_t user, const std::function<int()> &what) {
  const pid_t child = fork();
  if (child == 0) {
    if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) _exit(255);
    _exit(what());
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

constexpr uid_t kRoot = 0;
constexpr uid_t kNobody = 65534;

// 0 when opening gives the status and a command then works just when the opening did.
int try_to_open(int32_t expected) {
  int32_t handle = 1234;
  if (orvaFpDeviceOpen(&handle) != expected) return 1;
  if (expected != FP_OK) return handle == 0 ? 0 : 2;
  return orvaFpDeviceEnableInt(handle, 1) == FP_OK && orvaFpDeviceClose(handle) == FP_OK ? 0 : 3;
}

TEST_F(KernelAccess, OtherUsersNeedPermission) {
  EXPECT_EQ(in_child(kNobody, [] { return try_to_open(FP_ERR_NO_DEVICE); }), 0);
  ASSERT_EQ(chmod(kNode, 0666), 0);
  EXPECT_EQ(in_child(kNobody, [] { return try_to_open(FP_OK); }), 0);
  EXPECT_EQ(chmod(kNode, 0600), 0);
}

TEST_F(KernelAccess, SecondOpenerIsRefused) {
  open_driver({});
  EXPECT_EQ(try_to_open(FP_ERR_NO_DEVICE), 0);
  EXPECT_EQ(in_child(kRoot, [] { return try_to_open(FP_ERR_NO_DEVICE); }), 0);
  EXPECT_EQ(orvaFpDeviceReset(g_fp_device_handle), FP_OK) << "the first is not disturbed";
  close_driver();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(try_to_open(FP_OK), 0);
}

}  // namespace
