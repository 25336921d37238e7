// Device access through the exported operations: statuses, log lines and every byte of every
// command.
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include "support/sensor_fixture.h"

namespace {

using simulator::command;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// A command record but for its two addresses, which differ from run to run.
struct expected_record {
  bool addresses;
  uint32_t len;
  uint32_t speed_hz;
  uint8_t opcode;
  uint8_t param[3];
};

// The 32 bytes, with each address as 0 or all ones.
simulator::record_bytes bytes_of(const expected_record &e) {
  simulator::record_bytes bytes{};
  if (e.addresses) memset(bytes.data(), 0xFF, 16);
  memcpy(&bytes[16], &e.len, 4);
  memcpy(&bytes[20], &e.speed_hz, 4);
  bytes[26] = 8;
  bytes[27] = 1;
  bytes[28] = e.opcode;
  memcpy(&bytes[29], e.param, 3);
  return bytes;
}

std::vector<simulator::record_bytes> records(const std::vector<command> &commands) {
  std::vector<simulator::record_bytes> all;
  for (command c : commands) {
    memset(&c.record[0], c.tx_buf() != 0 ? 0xFF : 0, 8);
    memset(&c.record[8], c.rx_buf() != 0 ? 0xFF : 0, 8);
    all.push_back(c.record);
  }
  return all;
}

std::vector<simulator::record_bytes> records(const std::vector<expected_record> &expected) {
  std::vector<simulator::record_bytes> all;
  for (const expected_record &e : expected) all.push_back(bytes_of(e));
  return all;
}

constexpr uint32_t kNormal = 12500000;
constexpr uint32_t kSlow = 3300000;

struct operation_case {
  const char *name;
  int32_t (*run)(int32_t handle);
  std::vector<expected_record> sent;
  std::vector<std::string> log;
};

std::ostream &operator<<(std::ostream &out, const operation_case &c) { return out << c.name; }

int32_t call(int32_t handle, uint8_t opcode, const uint8_t *params, uint32_t speed_hz) {
  static const uint8_t sent[4] = {1, 2, 3, 4};
  static uint8_t received[4];
  memset(received, 0, sizeof received);
  const int32_t status = orva_call_driver(handle, opcode, sent, 4, received, params, speed_hz);
  EXPECT_EQ(received[3], 0x5A) << "the driver's bytes did not arrive";
  return status;
}

const operation_case kOperations[] = {
    {"Reset",
     [](int32_t h) { return orvaFpDeviceReset(h); },
     {{false, 0, kNormal, 4, {0, 0, 0}}},
     {}},
    {"PowerOn",
     [](int32_t h) { return orvaFpDevicePowerCtrl(h, 1); },
     {{false, 1, kNormal, 5, {0, 0, 0}}},
     {"E- orvaFpDevicePowerCtrl 1"}},
    {"PowerTakesAnyValue",
     [](int32_t h) { return orvaFpDevicePowerCtrl(h, 0xFFFFFFFE); },
     {{false, 0xFFFFFFFE, kNormal, 5, {0, 0, 0}}},
     {"E- orvaFpDevicePowerCtrl -2"}},
    {"InfoMemoryOn",
     [](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 1); },
     {{false, 0, kSlow, 6, {0, 0, 0}}, {false, 0, kSlow, 7, {0, 0, 0}}},
     {"E- DeviceEEPROMEnable start non-tz 1", "E- DeviceEEPROMEnable end"}},
    {"InfoMemoryOffForAnyOtherValue",
     [](int32_t h) { return orvaFpDeviceEEPROMEnable(h, 2); },
     {{false, 0, kNormal, 6, {0, 0, 0}}, {false, 1, kNormal, 7, {0, 0, 0}}},
     {"E- DeviceEEPROMEnable start non-tz 2", "E- DeviceEEPROMEnable end"}},
    {"ClockNormalEndsSlow",
     [](int32_t h) {
       orvaFpDeviceEEPROMEnable(h, 1);
       return orvaFpDeviceSetClock(h, 1);
     },
     {{false, 0, kSlow, 6, {0, 0, 0}},
      {false, 0, kSlow, 7, {0, 0, 0}},
      {false, 0, kNormal, 6, {0, 0, 0}}},
     {"E- DeviceEEPROMEnable start non-tz 1", "E- DeviceEEPROMEnable end",
      "E- 12.2.298.600 DeviceSetClock 1"}},
    {"ClockOtherKeepsTheClock",
     [](int32_t h) {
       orvaFpDeviceEEPROMEnable(h, 1);
       return orvaFpDeviceSetClock(h, -1);
     },
     {{false, 0, kSlow, 6, {0, 0, 0}},
      {false, 0, kSlow, 7, {0, 0, 0}},
      {false, 0, kSlow, 16, {0, 0, 0}}},
     {"E- DeviceEEPROMEnable start non-tz 1", "E- DeviceEEPROMEnable end",
      "E- 12.2.298.600 DeviceSetClock -1"}},
    {"CpuSpeedup",
     [](int32_t h) { return orvaFpDeviceCPUSpeedup(h, 0x80000001); },
     {{false, 0x80000001, kNormal, 17, {0, 0, 0}}},
     {}},
    {"ArmingParametersTravelOn",
     [](int32_t h) {
       orvaFpDeviceEnableInt(h, 0);
       orvaFpDeviceEnableInt(h, 1);
       orvaFpDeviceReset(h);
       return orvaFpDeviceEnableInt(h, 2);
     },
     {{true, 1, kNormal, 165, {0, 0, 0}},
      {true, 1, kNormal, 164, {4, 10, 1}},
      {false, 0, kNormal, 4, {4, 10, 1}},
      {true, 1, kNormal, 165, {4, 10, 1}}},
     {"E- DeviceEnableInt 0 4 10 1", "E- DeviceEnableInt 1 4 10 1", "E- DeviceEnableInt 2 4 10 1"}},
    {"CallDriverCarriesParametersAndClockOver",
     [](int32_t h) {
       static constexpr uint8_t kParams[3] = {7, 8, 9};
       call(h, 200, kParams, 1000);
       call(h, 201, nullptr, 0);
       return orvaFpDeviceReset(h);
     },
     {{true, 4, 1000, 200, {7, 8, 9}},
      {true, 4, 1000, 201, {7, 8, 9}},
      {false, 0, 1000, 4, {7, 8, 9}}},
     {}},
};

class DeviceOperations : public support::sensor_fixture,
                         public testing::WithParamInterface<operation_case> {
 protected:
  std::vector<std::string> log_of_journal() const {
    std::vector<std::string> log;
    for (const std::string &entry : journal) {
      if (!entry.starts_with("> ")) log.push_back(entry);
    }
    return log;
  }
};

TEST_P(DeviceOperations, SendsExactlyTheseRecords) {
  open_driver({});
  const size_t before = support::sensor_commands().size();
  EXPECT_EQ(GetParam().run(g_fp_device_handle), FP_OK);

  std::vector<command> sent = support::sensor_commands();
  sent.erase(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(before));
  EXPECT_EQ(records(sent), records(GetParam().sent));
  EXPECT_THAT(log_of_journal(), ElementsAreArray(GetParam().log));
}

TEST_P(DeviceOperations, ReportsTheDriversFailure) {
  const uint8_t last = GetParam().sent.back().opcode;
  const uint32_t nth = last == 5 ? 2 : 0;  // the first power command belongs to opening
  open_driver(support::refuses(last, nth));
  EXPECT_EQ(GetParam().run(g_fp_device_handle), FP_ERR_DRIVER_IO);
}

INSTANTIATE_TEST_SUITE_P(All, DeviceOperations, testing::ValuesIn(kOperations),
                         [](const auto &test) { return std::string(test.param.name); });

class Device : public support::sensor_fixture {};

TEST_F(Device, Open_PowersTheSensorOn) {
  int32_t handle = -1;
  EXPECT_EQ(orvaFpDeviceOpen(&handle), FP_OK);
  EXPECT_GT(handle, 0);
  EXPECT_EQ(fcntl(handle, F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_THAT(journal, ElementsAre("E- orvaFpDevicePowerCtrl 1", "> power 1"));
  EXPECT_TRUE(support::sensor_state().powered);
  EXPECT_EQ(orvaFpDeviceClose(handle), FP_OK);
  EXPECT_TRUE(support::sensor_state().powered) << "closing does not power off";
}

TEST_F(Device, Open_NullPlace) {
  EXPECT_EQ(orvaFpDeviceOpen(nullptr), FP_ERR_NULL_PARAM);
  EXPECT_THAT(journal, IsEmpty());
}

TEST_F(Device, Open_NodeMissing) {
  support::attach_sensor({.node = simulator::node_state::kMissing});
  int32_t handle = 1234;
  EXPECT_EQ(orvaFpDeviceOpen(&handle), FP_ERR_NO_DEVICE);
  EXPECT_EQ(handle, 1234);
  EXPECT_THAT(journal, IsEmpty());
}

TEST_F(Device, Open_NodePresentButNotOpenable) {
  support::attach_sensor({.node = simulator::node_state::kNotOpenable});
  int32_t handle = 1234;
  EXPECT_EQ(orvaFpDeviceOpen(&handle), FP_ERR_NO_DEVICE);
  EXPECT_EQ(handle, 0);
  EXPECT_THAT(journal, IsEmpty());
}

TEST_F(Device, Open_PowerOnFails) {
  support::attach_sensor(support::refuses(5));
  int32_t handle = 0;
  EXPECT_EQ(orvaFpDeviceOpen(&handle), FP_ERR_DRIVER_IO);
  EXPECT_GT(handle, 0) << "the descriptor is the caller's to close";
  EXPECT_THAT(journal, ElementsAre("E- orvaFpDevicePowerCtrl 1", "> power 1 fails"));
  EXPECT_EQ(orvaFpDeviceClose(handle), FP_OK);
}

TEST_F(Device, Close) {
  const size_t before = support::open_descriptors();
  EXPECT_EQ(orvaFpDeviceClose(0), FP_OK);
  EXPECT_EQ(support::open_descriptors(), before) << "0 is no device, not standard input";
  int32_t handle = 0;
  ASSERT_EQ(orvaFpDeviceOpen(&handle), FP_OK);
  EXPECT_EQ(orvaFpDeviceClose(handle), FP_OK);
  EXPECT_EQ(support::open_descriptors(), before);
  EXPECT_EQ(orvaFpDeviceClose(handle), FP_ERR_DRIVER_IO) << "it is closed already";
  EXPECT_EQ(orvaFpDeviceReset(handle), FP_ERR_DRIVER_IO);
}

TEST_F(Device, InfoMemory_FirstCommandFails_SecondIsNotSent) {
  open_driver(support::refuses(6));
  EXPECT_EQ(orvaFpDeviceEEPROMEnable(g_fp_device_handle, 1), FP_ERR_DRIVER_IO);
  EXPECT_EQ(orvaFpDeviceReset(g_fp_device_handle), FP_OK);
  EXPECT_THAT(journal, ElementsAre("E- DeviceEEPROMEnable start non-tz 1", "> set-clock 0 fails",
                                   "> reset 0"));
  EXPECT_EQ(support::sensor_state().clock_hz, kSlow) << "the clock stays changed";
}

struct wait_case {
  const char *name;
  simulator::interrupt_plan plan;
  int32_t timeout_ms;
  int32_t status;
  std::vector<std::string> log;
};

std::ostream &operator<<(std::ostream &out, const wait_case &c) { return out << c.name; }

const wait_case kWaits[] = {
    {"InTime",
     simulator::interrupt_plan::after(20),
     2000,
     FP_OK,
     {"E- DeviceWaitInt poll trigger"}},
    {"Endless", simulator::interrupt_plan::after(50), -1, FP_OK, {"E- DeviceWaitInt poll trigger"}},
    {"TooLate", simulator::interrupt_plan::after(300), 30, FP_ERR_POLL_TIMEOUT, {}},
    {"LookOnly", simulator::interrupt_plan::never(), 0, FP_ERR_POLL_TIMEOUT, {}},
    {"ErrorEventWithoutData",
     simulator::interrupt_plan::error_event(),
     500,
     FP_ERR_POLL_TIMEOUT,
     {}},
};

class DeviceWait : public support::sensor_fixture, public testing::WithParamInterface<wait_case> {};

TEST_P(DeviceWait, Outcome) {
  open_driver(support::raises(GetParam().plan));
  ASSERT_EQ(orvaFpDeviceEnableInt(g_fp_device_handle, 1), FP_OK);
  journal.clear();
  EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, GetParam().timeout_ms), GetParam().status);
  EXPECT_THAT(journal, ElementsAreArray(GetParam().log));
  journal.clear();
  if (GetParam().status == FP_OK) {
    EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, 0), FP_OK) << "a wait consumes nothing";
  }
}

INSTANTIATE_TEST_SUITE_P(All, DeviceWait, testing::ValuesIn(kWaits),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(Device, WaitInt_CutShortBySignal) {
  open_driver({});
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction previous {};
  ASSERT_EQ(sigaction(SIGALRM, &action, &previous), 0);
  const itimerval soon = {.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = 50000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &soon, nullptr), 0);
  EXPECT_EQ(orvaFpDeviceWaitInt(g_fp_device_handle, 5000), FP_ERR_DRIVER_IO);
  EXPECT_THAT(journal, ElementsAre("E- poll error"));
  sigaction(SIGALRM, &previous, nullptr);
}

TEST_F(Device, WaitInt_DescriptorNotOpen) {
  EXPECT_EQ(orvaFpDeviceWaitInt(1000, 5000), FP_ERR_POLL_TIMEOUT);
  EXPECT_THAT(journal, IsEmpty());
}

}  // namespace
