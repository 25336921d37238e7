// Whole runs of orvaFpSensorTest: what it does in which order, what it sends, saves and returns.
#include <limits>
#include <pthread.h>

#include <orva_fp/sensor_test.h>

#include "simulator/secure_side.h"
#include "support/guarded_buffer.h"
#include "support/sensor_fixture.h"
#include "support/temp_folder.h"

namespace {

using simulator::exchange_step;
using simulator::interrupt_plan;
using simulator::secure_side;
using simulator::sensor_config;
using support::raises;
using support::refuses;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

using strings = std::vector<std::string>;

strings concat(std::initializer_list<strings> parts) {
  strings all;
  for (const strings &part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// 2001-09-09 01:46:40 UTC.
constexpr time_t kNow = 1000000000;
constexpr char kDateLine[] = "Date: Sun Sep  9 01:46:40 2001\n";

class SensorTest : public support::sensor_fixture {
 protected:
  void SetUp() override {
    sensor_fixture::SetUp();
    support::libc().now = kNow;
  }

  // Runs a script against a secure side that plays the steps, and checks that every step was played
  // and nothing unexpected was sent.
  int32_t run(int32_t script_id, std::vector<exchange_step> steps) {
    secure_side secure(std::move(steps));
    secure.observe([this](const simulator::exchange &e) {
      journal.push_back("request " + std::to_string(e.request.script_id) + " " +
                        std::to_string(e.request.interrupt_triggered) + " " +
                        std::to_string(e.request.script_variant));
    });
    const int32_t status = run_with(script_id, secure_side::request, &secure);
    EXPECT_THAT(secure.problems(), IsEmpty());
    EXPECT_TRUE(secure.finished());
    return status;
  }

  int32_t run_with(int32_t script_id, sensor_test_request_fn request, void *context) {
    return orvaFpSensorTest(script_id, 77, 3, 4, request, context, 7, 8, path().c_str());
  }

  std::string path() const { return folder.path(); }
  std::string log_path(const char *family) const {
    return path() + "/orva_sensor_test_" + family + ".log";
  }
  std::string data_path() const { return path() + "/fp_data.bin"; }

  // What a run of a known script does before its first request when the driver is open.
  strings setup(int32_t script_id) const {
    const bool normal = script_id == 1000 || script_id == 1003;
    const std::string log = log_path(normal ? "NS" : "SNR");
    return {"remove " + log,
            "I: remove " + log,
            "remove " + data_path(),
            "I: remove " + data_path(),
            "I: sensor_test version X = V2.0.1, script_id = " + std::to_string(script_id) +
                ", options = 77 pDataLogPath = " + path(),
            "I: sensor_test build = 298, patch = 600"};
  }
  static std::string closing(int32_t status) {
    return "I: orvaFpSensorTest() ret = " + std::to_string(status);
  }

  support::temp_folder folder;
};

const strings kOpening = {"E- orvaFpDevicePowerCtrl 1", "> power 1",
                          "E- 12.2.298.600 DeviceSetClock 1", "> set-clock 0"};

const strings kMemoryOn = {"E- DeviceEEPROMEnable start non-tz 1", "> set-clock 0",
                           "E- DeviceEEPROMEnable end", "> info-memory 0"};
const strings kMemoryOff = {"E- DeviceEEPROMEnable start non-tz 0", "> set-clock 0",
                            "E- DeviceEEPROMEnable end", "> info-memory 1"};
const strings kMemoryOnFails = {"E- DeviceEEPROMEnable start non-tz 1", "> set-clock 0 fails"};
const strings kMemoryOffFails = {"E- DeviceEEPROMEnable start non-tz 0", "> set-clock 0 fails"};
const strings kReset = {"> reset 0", "usleep 15000"};
const strings kResetFails = {"> reset 0 fails"};
const strings kPowerOff = {"E- orvaFpDevicePowerCtrl 0", "> power 0"};
const strings kPowerOn = {"E- orvaFpDevicePowerCtrl 1", "> power 1"};
const strings kPowerOffFails = {"E- orvaFpDevicePowerCtrl 0", "> power 0 fails"};
const strings kPowerOnFails = {"E- orvaFpDevicePowerCtrl 1", "> power 1 fails"};
const strings kPause = {"usleep 10000"};
const strings kArm = {"E- DeviceEnableInt 1 4 10 1", "> int-enable 1"};
const strings kDisarm = {"E- DeviceEnableInt 0 4 10 1", "> int-disable 1"};
const strings kTriggered = {"E- DeviceWaitInt poll trigger", "I: sensor_test interrupt tirgger"};
const strings kTimeout = {"I: sensor_test interrupt timeout"};

constexpr uint8_t kFaultReset = 4;
constexpr uint8_t kFaultPower = 5;
constexpr uint8_t kFaultClock = 6;
constexpr uint8_t kFaultMemory = 7;
constexpr uint8_t kFaultArm = 164;
constexpr uint8_t kFaultDisarm = 165;

// One action between the first request and a stop.
struct action_case {
  const char *name;
  int32_t script_id;
  uint32_t code;
  sensor_config sensor;
  strings journal;         // of the action
  int32_t interrupt = 0;   // that the next request carries
  int32_t ends_with = -1;  // status when the action ends the run
};

std::ostream &operator<<(std::ostream &out, const action_case &c) { return out << c.name; }

const action_case kActions[] = {
    // Normal scan
    {"NormalScan_MemoryOn", 1000, 23, {}, kMemoryOn},
    {"NormalScan_MemoryOnFails", 1003, 23, refuses(kFaultClock),
     concat({kMemoryOnFails, {"E: sensor_test ORVA_READ_SENSOR_INFO_START fail 209"}})},
    {"NormalScan_MemoryOff", 1000, 24, {}, concat({kMemoryOff, kReset})},
    {"NormalScan_MemoryOffFails_ResetFollows", 1000, 24, refuses(kFaultClock),
     concat({kMemoryOffFails, {"E: sensor_test ORVA_READ_SENSOR_INFO_END fail 209"}, kReset})},
    {"NormalScan_ResetAfterMemoryOffFails_NoPause", 1003, 24, refuses(kFaultReset),
     concat({kMemoryOff, kResetFails, {"E: sensor_test ORVA_RESET fail 2 209"}})},
    {"NormalScan_Reset", 1003, 21, {}, kReset},
    {"NormalScan_ResetFails_NoPause", 1000, 21, refuses(kFaultReset),
     concat({kResetFails, {"E: sensor_test ORVA_RESET fail 209"}})},
    {"NormalScan_PowerOffOn", 1000, 41, {}, concat({kPowerOff, kPause, kPowerOn, kPause})},
    {"NormalScan_PowerOffFails_TheRestFollows", 1000, 41, refuses(kFaultPower, 2),
     concat({kPowerOffFails,
             {"E: sensor_test ORVA_POWER_OFF_ON off fail 209"},
             kPause,
             kPowerOn,
             kPause})},
    {"NormalScan_PowerOnFails_PauseFollows", 1003, 41, refuses(kFaultPower, 3),
     concat({kPowerOff,
             kPause,
             kPowerOnFails,
             {"E: sensor_test ORVA_POWER_OFF_ON on fail 209"},
             kPause})},
    {"NormalScan_WaitInterruptIsNoAction", 1000, 12, raises(interrupt_plan::after(0)), {}},
    {"NormalScan_UnknownCode", 1003, 0xFFFFFFFF, {}, {}},
    // SNR1
    {"Snr1_MemoryOn", 1001, 23, {}, kMemoryOn},
    {"Snr1_MemoryOnFails", 1004, 23, refuses(kFaultMemory),
     concat({{"E- DeviceEEPROMEnable start non-tz 1", "> set-clock 0", "E- DeviceEEPROMEnable end",
              "> info-memory 0 fails"},
             {"E: sensor_test snr_1 ORVA_READ_SENSOR_INFO_START fail 209"}})},
    {"Snr1_MemoryOffIsAReset", 1001, 24, {}, kReset},
    {"Snr1_ResetFails_NoPause", 1001, 24, refuses(kFaultReset),
     concat({kResetFails, {"E: sensor_test ORVA_RESET fail 2 209"}})},
    {"Snr1_Reset_IsNoAction", 1001, 21, {}, {}},
    {"Snr1_PowerOffOn_IsNoAction", 1004, 41, {}, {}},
    {"Snr1_InterruptComes", 1001, 12, raises(interrupt_plan::after(10)),
     concat({kArm, kTriggered, kDisarm}), 1},
    {"Snr1_InterruptTooLate", 1004, 12, raises(interrupt_plan::after(500)),
     concat({kArm, kTimeout, kDisarm})},
    {"Snr1_ArmingFails",
     1001,
     12,
     refuses(kFaultArm),
     {"E- DeviceEnableInt 1 4 10 1", "> int-enable 1 fails",
      "E: sensor_test snr_1 ORVA_WAIT_INTERRUPT fail 209"},
     0,
     209},
    {"Snr1_UnknownCode", 1001, 1, {}, {}},
    // SNR2
    {"Snr2_MemoryOn", 1002, 23, {}, kMemoryOn},
    {"Snr2_MemoryOnFails", 1005, 23, refuses(kFaultClock),
     concat({kMemoryOnFails, {"E: sensor_test snr_2 ORVA_READ_SENSOR_INFO_START fail 209"}})},
    {"Snr2_MemoryOffAlone", 1002, 24, {}, kMemoryOff},
    {"Snr2_MemoryOffFails", 1002, 24, refuses(kFaultClock),
     concat({kMemoryOffFails, {"E: sensor_test snr_2 ORVA_READ_SENSOR_INFO_END fail 209"}})},
    {"Snr2_Reset_IsNoAction", 1005, 21, {}, {}},
    {"Snr2_PowerOffOn_IsNoAction", 1002, 41, {}, {}},
    {"Snr2_InterruptAfterMoreThan100Ms", 1002, 12, raises(interrupt_plan::after(200)),
     concat({kArm, kTriggered, kDisarm}), 1},
    {"Snr2_NoInterrupt", 1005, 12, raises(interrupt_plan::error_event()),
     concat({kArm, kTimeout, kDisarm})},
    {"Snr2_DisarmingFails",
     1002,
     12,
     {.faults = {{kFaultDisarm}}, .interrupts = {interrupt_plan::after(0)}},
     concat({kArm,
             kTriggered,
             {"E- DeviceEnableInt 0 4 10 1", "> int-disable 1 fails",
              "E: sensor_test snr_2 ORVA_WAIT_INTERRUPT fail 209"}}),
     0,
     209},
    {"Snr2_UnknownCode", 1002, 36, {}, {}},
};

class SensorTestAction : public SensorTest, public testing::WithParamInterface<action_case> {
 protected:
  // The line that a family logs after a callback that returned 0.
  std::string exchange_line(uint32_t result) const {
    const std::string code = std::to_string(static_cast<int32_t>(result));
    switch ((GetParam().script_id - 1000) % 3) {
      case 0:
        return "I: sensor_test normal scan = 0 " + code + " 9";
      case 1:
        return "I: orvaFpSensorTest pfnCustomRequest SNR1 0";
      default:
        return "I: orvaFpSensorTest pfnCustomRequest SNR2 ret = 0, result = " + code;
    }
  }
  std::string request_entry(int32_t interrupt) const {
    return "request " + std::to_string(GetParam().script_id) + " " + std::to_string(interrupt) +
           (GetParam().script_id >= 1003 ? " 1" : " 0");
  }
};

TEST_P(SensorTestAction, DoesExactlyThis) {
  const action_case &c = GetParam();
  open_driver(c.sensor);
  std::vector<exchange_step> steps = {{.result = c.code, .data_len = 9}};
  strings expected =
      concat({setup(c.script_id), {request_entry(0), exchange_line(c.code)}, c.journal});
  int32_t status = c.ends_with;
  if (c.ends_with == -1) {
    status = FP_OK;
    steps.push_back({.result = ORVA_TEST_STOP, .data_len = 9});
    expected.insert(expected.end(), {request_entry(c.interrupt), exchange_line(ORVA_TEST_STOP)});
  }
  expected.push_back(closing(status));

  EXPECT_EQ(run(c.script_id, steps), status);
  EXPECT_THAT(journal, ElementsAreArray(expected));
  EXPECT_THAT(folder.files(), IsEmpty());
  if (std::count(journal.begin(), journal.end(), "> int-enable 1") != 0) {
    EXPECT_EQ(support::libc().poll_limit_ms, c.script_id % 3 == 2 ? 100 : 1000);
  }
}

INSTANTIATE_TEST_SUITE_P(All, SensorTestAction, testing::ValuesIn(kActions),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(SensorTest, OutcomeOfAnInterruptWaitStaysUntilTheNext) {
  open_driver({.interrupts = {interrupt_plan::after(0), interrupt_plan::never()}});
  EXPECT_EQ(run(1004, {{.result = 23, .interrupt = 0},
                       {.result = 12, .interrupt = 0},
                       {.result = 24, .interrupt = 1},
                       {.result = 12, .interrupt = 1},
                       {.result = 99, .interrupt = 0},
                       {.result = 0, .interrupt = 0}}),
            FP_OK);
}

// ---- Set-up --------------------------------------------------------------------------------

TEST_F(SensorTest, FirstRunOpensAndClocksTheDriver_SecondDoesNot) {
  EXPECT_EQ(run(1001, {{.result = ORVA_TEST_FINISH}}), FP_OK);
  const strings body = {"request 1001 0 0", "I: orvaFpSensorTest pfnCustomRequest SNR1 0",
                        closing(0)};
  EXPECT_THAT(journal, ElementsAreArray(concat({setup(1001), kOpening, body})));

  const int32_t handle = g_fp_device_handle;
  EXPECT_GT(handle, 0);
  journal.clear();
  EXPECT_EQ(run(1001, {{.result = ORVA_TEST_FINISH}}), FP_OK);
  EXPECT_THAT(journal, ElementsAreArray(concat({setup(1001), body})));
  EXPECT_EQ(g_fp_device_handle, handle);
}

TEST_F(SensorTest, NullFolder) {
  EXPECT_EQ(orvaFpSensorTest(1000, 0, 0, 0, secure_side::request, nullptr, 0, 0, nullptr),
            FP_ERR_NULL_LOG_PATH);
  EXPECT_THAT(journal, ElementsAre("E: sensor_test pDataLogPath == NULL", closing(1)));
}

TEST_F(SensorTest, UnknownScriptStopsAfterSetup) {
  for (const int32_t script_id : {999, 1006, std::numeric_limits<int32_t>::min()}) {
    journal.clear();
    close_driver();
    EXPECT_EQ(run(script_id, {}), FP_OK);
    strings expected = setup(script_id);
    expected.erase(expected.begin(), expected.begin() + 2);  // no result log
    EXPECT_THAT(journal, ElementsAreArray(concat({expected, kOpening, {closing(0)}})));
  }
}

TEST_F(SensorTest, DriverFailuresAtSetup) {
  struct setup_failure {
    const char *name;
    sensor_config sensor;
    int32_t status;
    strings journal;
    bool left_open;
  };
  const setup_failure cases[] = {
      {"missing", {.node = simulator::node_state::kMissing}, 210, {}, false},
      {"not openable", {.node = simulator::node_state::kNotOpenable}, 210, {}, false},
      {"power-on fails",
       refuses(kFaultPower),
       209,
       {"E- orvaFpDevicePowerCtrl 1", "> power 1 fails"},
       true},
      {"clock fails",
       refuses(kFaultClock),
       209,
       {"E- orvaFpDevicePowerCtrl 1", "> power 1", "E- 12.2.298.600 DeviceSetClock 1",
        "> set-clock 0 fails"},
       true},
  };
  for (const setup_failure &c : cases) {
    SCOPED_TRACE(c.name);
    support::attach_sensor(c.sensor);
    journal.clear();
    EXPECT_EQ(run(1002, {}), c.status);
    EXPECT_THAT(journal, ElementsAreArray(concat({setup(1002), c.journal, {closing(c.status)}})));
    EXPECT_EQ(g_fp_device_handle != 0, c.left_open);
    if (c.left_open) {
      // The next run takes the descriptor as it is.
      journal.clear();
      EXPECT_EQ(run(1001, {{.result = ORVA_TEST_STOP}}), FP_OK);
      EXPECT_THAT(journal, testing::Not(testing::Contains(HasSubstr("> "))));
    }
    close_driver();
  }
}

TEST_F(SensorTest, SetupDeletesTheFamilysFilesOnly) {
  struct deletion {
    int32_t script_id;
    strings left;
  };
  for (const deletion &c :
       {deletion{1000, {"orva_sensor_test_SNR.log"}}, deletion{1003, {"orva_sensor_test_SNR.log"}},
        deletion{1001, {"orva_sensor_test_NS.log"}}, deletion{1002, {"orva_sensor_test_NS.log"}},
        deletion{1004, {"orva_sensor_test_NS.log"}}, deletion{1005, {"orva_sensor_test_NS.log"}},
        deletion{7, {"orva_sensor_test_NS.log", "orva_sensor_test_SNR.log"}}}) {
    for (const std::string &file : {log_path("NS"), log_path("SNR"), data_path()}) {
      std::ofstream(file) << "old";
    }
    EXPECT_EQ(
        run(c.script_id, c.script_id == 7 ? std::vector<exchange_step>{}
                                          : std::vector<exchange_step>{{.result = ORVA_TEST_STOP}}),
        FP_OK);
    EXPECT_EQ(folder.files(), c.left) << c.script_id;
    for (const std::string &file : c.left) EXPECT_EQ(folder.contents(file), "old");
  }
}

// ---- Callback ------------------------------------------------------------------------------

TEST_F(SensorTest, FailedCallbackEndsTheRun) {
  open_driver({});
  EXPECT_EQ(run(1000, {{.result = 21}, {.failure = -5}}), FP_ERR_REQUEST_FAILED);
  EXPECT_THAT(journal,
              ElementsAreArray(concat(
                  {setup(1000),
                   {"request 1000 0 0", "I: sensor_test normal scan = 0 21 0"},
                   kReset,
                   {"request 1000 0 0", "I: sensor_test normal scan = -5 21 0", closing(35)}})));
  EXPECT_THAT(folder.files(), IsEmpty());

  journal.clear();
  EXPECT_EQ(run_with(1002, nullptr, nullptr), FP_ERR_REQUEST_FAILED) << "null callback";
  EXPECT_THAT(folder.files(), IsEmpty());
}

TEST_F(SensorTest, CallbackThatWritesNothingEndsTheRunWithNothingSaved) {
  open_driver({});
  for (int32_t script_id = 1000; script_id <= 1005; ++script_id) {
    const auto silent = [](void *, uint32_t, const sensor_test_request *, uint32_t,
                           sensor_test_reply *, uint32_t *) -> int32_t { return 0; };
    EXPECT_EQ(run_with(script_id, silent, nullptr), FP_OK);
  }
  EXPECT_THAT(folder.files(), IsEmpty());
}

TEST_F(SensorTest, ReplySizeIsTheCallbacks) {
  open_driver({});
  // The secure side checks that the size comes back as it left it.
  EXPECT_EQ(run(1000, {{.result = 99, .reply_size = 1},
                       {.result = 99, .reply_size = 0xFFFFFFFF},
                       {.result = 37}}),
            FP_OK);
}

TEST_F(SensorTest, ReplyIsNotClearedBetweenRequests) {
  open_driver({});
  EXPECT_EQ(run(1000, {{.result = 99, .text = "kept", .data = {1, 2, 3}},
                       {.result = ORVA_TEST_FINISH, .data_len = 2}}),
            FP_OK);
  EXPECT_EQ(folder.contents("orva_sensor_test_NS.log"), std::string(kDateLine) + "kept");
  EXPECT_EQ(folder.contents("fp_data.bin"), "\x01\x02");
}

// ---- Saving --------------------------------------------------------------------------------

struct save_case {
  int32_t script_id;
  uint32_t end_code;
  const char *family;  // of the log that is written, or null
};

TEST_F(SensorTest, EndCodes) {
  open_driver({});
  for (const save_case &c :
       {save_case{1000, 0, "NS"}, save_case{1003, 35, "NS"}, save_case{1000, 37, nullptr},
        save_case{1001, 0, nullptr}, save_case{1004, 35, nullptr}, save_case{1001, 37, nullptr},
        save_case{1002, 35, "SNR"}, save_case{1005, 0, "SNR"}, save_case{1005, 37, nullptr}}) {
    SCOPED_TRACE(std::to_string(c.script_id) + " " + std::to_string(c.end_code));
    support::temp_folder fresh;
    secure_side secure({{.result = c.end_code, .text = "VERDICT: 100% %s\n", .data = {9, 0, 8}}});
    journal.clear();
    EXPECT_EQ(orvaFpSensorTest(c.script_id, 0, 0, 0, secure_side::request, &secure, 0, 0,
                               fresh.path().c_str()),
              FP_OK);
    if (c.family == nullptr) {
      EXPECT_THAT(fresh.files(), IsEmpty());
      continue;
    }
    const std::string log = std::string("orva_sensor_test_") + c.family + ".log";
    EXPECT_THAT(fresh.files(), ElementsAre("fp_data.bin", log));
    EXPECT_EQ(fresh.contents("fp_data.bin"), std::string("\x09\x00\x08", 3));
    EXPECT_EQ(fresh.contents(log), std::string(kDateLine) + "VERDICT: 100% %s\n");

    const std::string data = fresh / "fp_data.bin";
    strings expected = {"fopen " + data + " wb"};
    if (c.family == std::string("NS")) expected.push_back("I: Save bin=" + data);
    expected.push_back("I: save result=" + (fresh / log));
    expected.push_back("fopen " + (fresh / log) + " wb");
    expected.push_back(closing(0));
    ASSERT_GE(journal.size(), expected.size());
    EXPECT_THAT(
        strings(journal.end() - static_cast<std::ptrdiff_t>(expected.size()), journal.end()),
        ElementsAreArray(expected));
  }
}

TEST_F(SensorTest, FailedSavesAreLoggedWithTheirErrorNumber) {
  struct failure {
    int32_t script_id;
    std::string path;
    int error;     // 0 from a libc that tells none
    strings tail;  // of the journal
  };
  const std::string ns = log_path("NS");
  const std::string snr = log_path("SNR");
  const std::string data = data_path();
  for (const failure &c :
       {failure{1000,
                data,
                ENOSPC,
                {"fopen " + data + " wb", "E: Save bin fail, errno=28", "I: Save bin=" + data,
                 "I: save result=" + ns, "fopen " + ns + " wb", closing(0)}},
        failure{1000,
                ns,
                ENOSPC,
                {"I: save result=" + ns, "fopen " + ns + " wb",
                 "E: Save NS result log fail, errno=28", closing(0)}},
        failure{1002,
                data,
                ENOSPC,
                {"fopen " + data + " wb", "E: Save bin fail, errno=28", "I: save result=" + snr,
                 "fopen " + snr + " wb", closing(0)}},
        failure{1005,
                snr,
                0,
                {"I: save result=" + snr, "fopen " + snr + " wb",
                 "E: Save SNR result log fail, errno=0", closing(0)}}}) {
    support::libc().fopen_fails_for = c.path;
    support::libc().fopen_error = c.error;
    journal.clear();
    EXPECT_EQ(run(c.script_id, {{.result = 0, .text = "", .data = {1}}}), FP_OK);
    ASSERT_GE(journal.size(), c.tail.size());
    EXPECT_THAT(strings(journal.end() - static_cast<std::ptrdiff_t>(c.tail.size()), journal.end()),
                ElementsAreArray(c.tail));
  }
}

TEST_F(SensorTest, DataLength) {
  struct length_case {
    int32_t data_len;
    size_t saved;
    bool logged;
  };
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  std::vector<uint8_t> block(SENSOR_TEST_DATA_SIZE);
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(i * 7 + i / 251);
  for (const length_case &c :
       {length_case{0, 0, false}, length_case{-1, 0, false},
        length_case{std::numeric_limits<int32_t>::min(), 0, false}, length_case{1, 1, false},
        length_case{512000, 512000, false}, length_case{512001, 512000, true},
        length_case{kMax, 512000, true}}) {
    journal.clear();
    EXPECT_EQ(run(1000, {{.result = 0, .text = "t", .data = block, .data_len = c.data_len}}),
              FP_OK);
    const std::string saved = folder.contents("fp_data.bin");
    EXPECT_EQ(saved.size(), c.saved) << c.data_len;
    EXPECT_TRUE(std::equal(saved.begin(), saved.end(), block.begin(),
                           [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; }));
    EXPECT_EQ(folder.files().size(), c.saved > 0 ? 2u : 1u);
    EXPECT_EQ(std::count(journal.begin(), journal.end(),
                         "E: sensor_test data_len = " + std::to_string(c.data_len) +
                             ", only 512000 bytes saved"),
              c.logged ? 1 : 0);
  }
}

TEST_F(SensorTest, ResultTextLength) {
  struct text_case {
    std::string text;
    size_t kept;
  };
  const std::string euro = "\xE2\x82\xAC";
  const auto filled = [](size_t n, const std::string &end) {
    return std::string(n - end.size(), 'x') + end;
  };
  for (const text_case &c : {
           text_case{"", 0},
           text_case{std::string(992, 'x'), 992},
           text_case{std::string(993, 'x'), 992},
           text_case{std::string(2048, 'x'), 992},     // no NUL in the field
           text_case{std::string(2048, '\xBF'), 992},  // not UTF-8: cut anywhere
           text_case{filled(994, "\xF0\xBF\xBF\xBF\xBF\xBF"), 992},
           text_case{filled(993, euro), 990},  // a character is not cut in two
           text_case{filled(994, euro), 991},
           text_case{filled(995, euro), 992},
           text_case{filled(995, "\xF0\x9F\x98\x80"), 991},
           text_case{filled(996, "\xF0\x9F\x98\x80"), 992},
       }) {
    journal.clear();
    EXPECT_EQ(run(1002, {{.result = 35, .text = c.text}}), FP_OK);
    EXPECT_EQ(folder.contents("orva_sensor_test_SNR.log"), kDateLine + c.text.substr(0, c.kept));
    const std::string line = "E: sensor_test result text too long, " +
                             std::to_string(c.text.size() - c.kept) + " of " +
                             std::to_string(c.text.size()) + " bytes cut";
    EXPECT_EQ(std::count(journal.begin(), journal.end(), line), c.kept < c.text.size() ? 1 : 0);
  }
}

TEST_F(SensorTest, NoDate) {
  const std::string text(1100, 'y');
  for (bool gmtime_fails : {true, false}) {
    support::libc().gmtime_fails = gmtime_fails;
    support::libc().asctime_fails = !gmtime_fails;
    EXPECT_EQ(run(1000, {{.result = 0, .text = text}}), FP_OK);
    EXPECT_EQ(folder.contents("orva_sensor_test_NS.log"), "Date: " + text.substr(0, 1017));
  }
}

TEST_F(SensorTest, FolderPathThatDoesNotFitIsNeverUsedCut) {
  // 230 characters fit beside the longest name, "/orva_sensor_test_SNR.log".
  const std::string base = path() + "/";
  for (const size_t length : {size_t{230}, size_t{231}, size_t{243}, size_t{244}, size_t{2000}}) {
    SCOPED_TRACE(length);
    const std::string long_path = base + std::string(length - base.size(), 'd');
    const bool folder_made = length < 250;
    if (folder_made) std::filesystem::create_directory(long_path);
    const bool log_fits = length <= 230;
    const bool data_fits = length <= 243;
    secure_side secure({{.result = 0, .text = "t", .data = {1}}});
    journal.clear();
    EXPECT_EQ(
        orvaFpSensorTest(1002, 0, 0, 0, secure_side::request, &secure, 0, 0, long_path.c_str()),
        FP_OK);
    const auto count = [&](const std::string &start) {
      return std::count_if(journal.begin(), journal.end(),
                           [&](const std::string &entry) { return entry.starts_with(start); });
    };
    EXPECT_EQ(count("remove "), log_fits + data_fits);
    EXPECT_EQ(count("fopen "), log_fits + data_fits);
    EXPECT_EQ(count("E: sensor_test path too long, not removed: "), 2 - log_fits - data_fits);
    const std::string too_long = std::to_string(ENAMETOOLONG);
    EXPECT_EQ(count("E: Save SNR result log fail, errno=" + too_long), log_fits ? 0 : 1);
    EXPECT_EQ(count("E: Save bin fail, errno=" + too_long), data_fits ? 0 : 1);
    if (folder_made) std::filesystem::remove_all(long_path);
  }
}

// ---- Resources -----------------------------------------------------------------------------

TEST_F(SensorTest, LeavesNoDescriptorOpen) {
  open_driver(raises(interrupt_plan::after(0)));
  const size_t before = support::open_descriptors();
  EXPECT_EQ(run(1000, {{.result = 23}, {.result = 0, .text = "", .data = {1}}}), FP_OK);
  EXPECT_EQ(run(1002, {{.result = 12}, {.result = 0, .text = "", .data = {1}}}), FP_OK);
  EXPECT_EQ(support::open_descriptors(), before);
}

int32_t finish_with_data(void *, uint32_t, const sensor_test_request *, uint32_t,
                         sensor_test_reply *reply, uint32_t *) {
  reply->result = ORVA_TEST_FINISH;
  reply->data_len = 1;
  reply->data[0] = 7;
  return 0;
}

TEST_F(SensorTest, AllocatesNothing) {
  // No log lines or notes, which allocate in the test program, and files that cannot be opened,
  // for which libc allocates.
  open_driver({});
  support::observe_log(nullptr);
  support::libc().note = nullptr;
  support::libc().opened = []() -> FILE * { return nullptr; };
  const std::string where = path();
  const auto silent_run = [&where] {
    return orvaFpSensorTest(1000, 0, 0, 0, finish_with_data, nullptr, 0, 0, where.c_str());
  };
  EXPECT_EQ(silent_run(), FP_OK);  // the C library sets its time zone up
  support::pause_log_capture(true);
  const size_t before = support::mallocs_on_this_thread();
  EXPECT_EQ(silent_run(), FP_OK);
  EXPECT_EQ(support::mallocs_on_this_thread(), before);
  support::pause_log_capture(false);
}

TEST_F(SensorTest, RunsOnAStackOf1MiB) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer keeps half of such a stack for itself";
#endif
  open_driver({});
  support::libc().note = nullptr;
  const std::string where = path();
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 1 << 20), 0);
  pthread_t thread;
  const auto body = [](void *folder_path) -> void * {
    const int32_t status = orvaFpSensorTest(1000, 0, 0, 0, finish_with_data, nullptr, 0, 0,
                                            static_cast<const char *>(folder_path));
    return status == FP_OK ? folder_path : nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, body, const_cast<char *>(where.c_str())), 0);
  void *result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_NE(result, nullptr);
  pthread_attr_destroy(&attributes);
}

// ---- Paths ---------------------------------------------------------------------------------

TEST_F(SensorTest, ConfirmSavePath) {
  struct path_case {
    const char *dest;  // contents on entry
    int32_t room;      // bytes of the buffer, as dest_len
    const char *src1;
    const char *src2;
    const char *composed;  // null: refused, and dest unchanged
    const char *log;
  };
  for (const path_case &c : {
           path_case{"old", 8, "/tmp", "ab", "/tmp/ab",
                     "I: Save dest=old, dest len=8, src1=/tmp, src2=ab"},
           path_case{"old", 7, "/tmp", "ab", nullptr,
                     "I: Save dest=old, dest len=7, src1=/tmp, src2=ab"},
           path_case{"x", 2, "", "", "/", "I: Save dest=x, dest len=2, src1=, src2="},
           path_case{"x", 2, "%", "d", nullptr, "I: Save dest=x, dest len=2, src1=%, src2=d"},
           path_case{"abcd", 4, "1", "2", "1/2", "I: Save dest=abcd, dest len=4, src1=1, src2=2"},
           path_case{"x", 2, nullptr, "b", nullptr,
                     "I: Save dest=x, dest len=2, src1=(null), src2=b"},
           path_case{"x", 2, "a", nullptr, nullptr,
                     "I: Save dest=x, dest len=2, src1=a, src2=(null)"},
       }) {
    // The buffer ends at an unreadable page and need not hold a NUL.
    support::guarded_buffer<char> dest(static_cast<size_t>(c.room), support::guard::kEnd, 0);
    memcpy(dest.data(), c.dest, std::min(strlen(c.dest), dest.size()));
    const std::string before(dest.data(), dest.size());
    journal.clear();
    EXPECT_EQ(confirm_save_path(dest.data(), c.room, c.src1, c.src2), c.composed != nullptr);
    EXPECT_THAT(journal, ElementsAre(c.log));
    if (c.composed != nullptr) {
      EXPECT_STREQ(dest.data(), c.composed);
    } else {
      EXPECT_EQ(std::string(dest.data(), dest.size()), before);
    }
  }
}

TEST_F(SensorTest, ConfirmSavePath_WithoutADestination) {
  EXPECT_EQ(confirm_save_path(nullptr, 10, "a", "b"), 0);
  EXPECT_THAT(journal, ElementsAre("I: addr of destination is NULL !!"));

  char one = 'z';
  for (const int32_t length : {0, -1, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(confirm_save_path(&one, length, "", ""), 0);
    EXPECT_EQ(one, 'z');
    EXPECT_THAT(journal.back(), HasSubstr("Save dest=, dest len=" + std::to_string(length)));
  }
}

TEST_F(SensorTest, ConfirmSavePath_AppendsToItsOwnSource) {
  char dest[16] = "/data";
  EXPECT_EQ(confirm_save_path(dest, sizeof dest, dest, "x.log"), 1);
  EXPECT_STREQ(dest, "/data/x.log");
}

}  // namespace
