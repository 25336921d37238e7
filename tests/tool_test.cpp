// Scenario files and the orva-fp tool that plays them.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "simulator/ridge_frame.h"
#include "simulator/scenario.h"

namespace {

namespace fs = std::filesystem;
using simulator::interrupt_plan;
using simulator::load_scenario;
using simulator::scenario;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const fs::path kShipped = ORVA_TEST_SCENARIOS;

std::string contents(const fs::path &file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream bytes;
  bytes << stream.rdbuf();
  return bytes.str();
}

// A folder of each test's own.
class ScenarioFile : public testing::Test {
 protected:
  ScenarioFile() {
    std::string name = (fs::temp_directory_path() / "orva_tool_XXXXXX").string();
    folder = mkdtemp(name.data());
    file = folder / "case.json";
  }
  ~ScenarioFile() override { fs::remove_all(folder); }

  scenario load(const std::string &text) {
    std::ofstream(file, std::ios::binary) << text;
    return load_scenario(file);
  }

  // What load says is wrong, without the file's name in front.
  std::string problem(const std::string &text) {
    try {
      load(text);
    } catch (const simulator::scenario_error &error) {
      const std::string start = file.string() + ": ";
      EXPECT_THAT(error.what(), StartsWith(start));
      return std::string(error.what()).substr(start.size());
    }
    return "loads";
  }

  fs::path folder;
  fs::path file;
};

std::string with_sensor(const std::string &sensor) {
  return R"({"description": "", "scripts": [1000], "sensor": )" + sensor + R"(, "steps": []})";
}

std::string with_steps(const std::string &steps) {
  return R"({"description": "", "scripts": [1000], "steps": [)" + steps + "]}";
}

std::string with_data(const std::string &data) {
  return with_steps(R"({"action": "finish", "data": )" + data + "}");
}

TEST_F(ScenarioFile, EveryFieldArrives) {
  std::ofstream(folder / "two.raw", std::ios::binary) << "ab";
  const scenario s = load(R"({
    "description": "all of it", "scripts": [1001, 1004], "status": "FP_ERR_DRIVER_IO",
    "sensor": {"node": "not-openable",
               "interrupts": [{"after_ms": 7}, "never", "error"],
               "faults": [{"command": "int-disable", "nth": 0, "errno": 110}, {"command": 9}]},
    "steps": [{"action": "power-off-on", "text": "t", "data": {"hex": "0aFF 10"}},
              {"action": 4294967295, "data": {"fill": 7, "size": 3}, "data_len": -1},
              {"action": "finish", "data": {"file": "two.raw"}, "reply_size": 9,
               "expect_interrupt": 1},
              {"fail": -5, "expect_interrupt": 0}]})");
  EXPECT_EQ(s.name, "case");
  EXPECT_EQ(s.description, "all of it");
  EXPECT_TRUE(s.is_meant_for(1004));
  EXPECT_FALSE(s.is_meant_for(1000));
  EXPECT_EQ(s.status, FP_ERR_DRIVER_IO);
  EXPECT_EQ(s.sensor.node, simulator::node_state::kNotOpenable);
  EXPECT_THAT(s.sensor.interrupts, ElementsAre(interrupt_plan::after(7), interrupt_plan::never(),
                                               interrupt_plan::error_event()));
  ASSERT_EQ(s.sensor.faults.size(), 2u);
  EXPECT_EQ(s.sensor.faults[0].opcode, 165);
  EXPECT_EQ(s.sensor.faults[0].nth, 0u);
  EXPECT_EQ(s.sensor.faults[0].error, 110);
  EXPECT_EQ(s.sensor.faults[1].opcode, 9);
  EXPECT_EQ(s.sensor.faults[1].nth, 1u);
  ASSERT_EQ(s.steps.size(), 4u);
  EXPECT_EQ(s.steps[0].result, uint32_t{ORVA_POWER_OFF_ON});
  EXPECT_EQ(s.steps[0].text, "t");
  EXPECT_THAT(s.steps[0].data, ElementsAre(0x0A, 0xFF, 0x10));
  EXPECT_EQ(s.steps[0].data_len, std::nullopt);
  EXPECT_EQ(s.steps[1].result, 4294967295u);
  EXPECT_THAT(s.steps[1].data, ElementsAre(7, 7, 7));
  EXPECT_EQ(s.steps[1].data_len, -1);
  EXPECT_THAT(s.steps[2].data, ElementsAre('a', 'b'));
  EXPECT_EQ(s.steps[2].reply_size, 9u);
  EXPECT_EQ(s.steps[2].interrupt, 1);
  EXPECT_EQ(s.steps[3].failure, -5);
  EXPECT_EQ(s.steps[3].interrupt, 0);
}

TEST_F(ScenarioFile, WhatIsWrongIsNamedWithItsPlace) {
  const std::string long_text(2049, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"{\n  \"scripts\": [1000,]}", "line 2, column 20: not JSON"},
      {"", "line 1, column 1: not JSON"},
      {"[]", "top level: must be an object"},
      {R"({"scripts": [1000], "steps": []})", "top level: key \"description\" is missing"},
      {R"({"description": "", "scripts": [1000]})", "top level: key \"steps\" is missing"},
      {R"({"description": "", "scripts": [], "steps": []})", "/scripts: names no script"},
      {R"({"description": "", "scripts": [1000, 1006], "steps": []})",
       "/scripts/1: must be a whole number from 1000 to 1005"},
      {R"({"steps": [], "steps": []})", "key \"steps\" is there twice in one object"},
      {R"({"description": "", "colour": 1})", "/colour: unknown key"},
      {R"({"description": "", "a/b~": 1})", "/a~1b~0: unknown key"},
      {R"({"description": 5})", "/description: must be a text"},
      {R"({"description": "", "status": "FP_ERR"})", "/status: unknown status \"FP_ERR\""},
      {with_sensor("5"), "/sensor: must be an object"},
      {with_sensor(R"({"node": "absent"})"), "/sensor/node: unknown node \"absent\""},
      {with_sensor(R"({"interrupts": {}})"), "/sensor/interrupts: must be an array"},
      {with_sensor(R"({"interrupts": ["soon"]})"), "/sensor/interrupts/0: unknown interrupt"},
      {with_sensor(R"({"interrupts": ["never", {"after_ms": -1}]})"),
       "/sensor/interrupts/1/after_ms: must be a whole number from 0 to 3600000"},
      {with_sensor(R"({"faults": [{"nth": 1}]})"), "/sensor/faults/0: key \"command\" is missing"},
      {with_sensor(R"({"faults": [{"command": "off"}]})"),
       "/sensor/faults/0/command: unknown command \"off\""},
      {with_sensor(R"({"faults": [{"command": 256}]})"),
       "/sensor/faults/0/command: must be a whole number from 0 to 255"},
      {with_sensor(R"({"faults": [{"command": 4, "errno": 0}]})"),
       "/sensor/faults/0/errno: must be a whole number from 1 to 4095"},
      {with_steps(R"({"action": "reset"}, {"action": "finsih"})"),
       "/steps/1/action: unknown action \"finsih\""},
      {with_steps(R"({"action": 1.0})"), "/steps/0/action: must be a whole number"},
      {with_steps(R"({"action": 18446744073709551615})"),
       "/steps/0/action: must be a whole number from 0 to 4294967295"},
      {with_steps(R"({"text": "t"})"), "/steps/0: key \"action\" is missing"},
      {with_steps(R"({"action": 0, "text": ")" + long_text + "\"}"),
       "/steps/0/text: is 2049 bytes long, at most 2048 fit"},
      {with_steps(R"({"action": 0, "expect_interrupt": 2})"),
       "/steps/0/expect_interrupt: must be a whole number from 0 to 1"},
      {with_steps(R"({"action": 0, "reply_size": true})"), "/steps/0/reply_size: must be a whole"},
      {with_steps(R"({"action": 0, "data_len": 2147483648})"),
       "/steps/0/data_len: must be a whole"},
      {with_steps(R"({"action": 0, "data_len": 1})"), "/steps/0: data_len counts more than the 0"},
      {with_steps(R"({"fail": 0})"), "/steps/0/fail: 0 is no failure"},
      {with_steps(R"({"fail": 1, "action": 0})"), "/steps/0/action: unknown key"},
      {with_data("[1]"), "/steps/0/data: must be an object with \"hex\""},
      {with_data(R"({"hex": "0a1"})"), "/steps/0/data/hex: must be pairs of hexadecimal digits"},
      {with_data(R"({"hex": "0g"})"), "/steps/0/data/hex: must be pairs of hexadecimal digits"},
      {with_data(R"({"hex": "00", "size": 1})"), "/steps/0/data/size: unknown key"},
      {with_data(R"({"fill": 256, "size": 1})"), "/steps/0/data/fill: must be a whole number"},
      {with_data(R"({"fill": 0, "size": 512001})"), "/steps/0/data/size: must be a whole number"},
      {with_data(R"({"file": "none.raw"})"), "/steps/0/data/file: "},
      {with_data(R"({"file": "large.raw"})"), "/steps/0/data/file: "},
      {with_data(R"({"frame": "dots", "width": 1, "height": 1, "seed": 1})"),
       "/steps/0/data/frame: unknown frame"},
      {with_data(R"({"frame": "ridges", "width": 801, "height": 640, "seed": 1})"),
       "/steps/0/data: larger than the data block of 512000 bytes"},
  };
  std::ofstream(folder / "large.raw") << std::string(512001, ' ');
  for (const auto &[text, what] : cases) {
    EXPECT_THAT(problem(text), StartsWith(what)) << text;
  }
}

TEST_F(ScenarioFile, LengthMayCountDataOfEarlierSteps) {
  const std::string before = R"({"action": "reset", "data": {"fill": 1, "size": 9}}, )";
  EXPECT_EQ(problem(with_steps(before + R"({"action": 0, "data_len": 9})")), "loads");
  EXPECT_THAT(problem(with_steps(before + R"({"action": 0, "data_len": 10})")),
              StartsWith("/steps/1: data_len"));
}

TEST(ScenarioFileError, FolderOrNothingInItsPlace) {
  for (const fs::path &file : {kShipped, kShipped / "none.json"}) {
    EXPECT_THROW(load_scenario(file), simulator::scenario_error) << file;
  }
}

// Kept against change: a run's data file is compared from one machine to the next.
TEST(RidgeFrame, SeedGivesTheSameBytesEverywhere) {
  const auto sum = [](const std::vector<uint8_t> &frame) {
    uint32_t hash = 2166136261u;
    for (const uint8_t byte : frame) hash = (hash ^ byte) * 16777619u;
    return hash;
  };
  EXPECT_EQ(sum(simulator::ridge_frame(160, 160, 1)), 2416834287u);
  EXPECT_EQ(sum(simulator::ridge_frame(512000, 1, 0xFFFFFFFF)), 1722055393u);
  EXPECT_NE(simulator::ridge_frame(9, 9, 1), simulator::ridge_frame(9, 9, 2));
}

std::vector<std::string> shipped_names() {
  std::vector<std::string> names;
  for (const auto &entry : fs::directory_iterator(kShipped)) {
    if (entry.path().extension() == ".json") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool saves(const scenario &s, int32_t script) {
  if (s.status != FP_OK || script == 1001 || script == 1004) return false;
  const uint32_t end = s.steps.back().result;
  return end == ORVA_TEST_FINISH || end == ORVA_TEST_FINISH_ALT;
}

class ShippedScenario : public ScenarioFile, public testing::WithParamInterface<std::string> {};

TEST_P(ShippedScenario, EndsAsItSays) {
  const scenario s = load_scenario(kShipped / (GetParam() + ".json"));
  for (const int32_t script : s.scripts) {
    if (GetParam() == "snr2-interrupt-times-out" && script == 1005) break;  // a second is enough
    SCOPED_TRACE(script);
    simulator::attach(s.sensor);
    simulator::secure_side secure_side(s.steps);
    EXPECT_EQ(orvaFpSensorTest(script, 0, 0, 0, simulator::secure_side::request, &secure_side, 0, 0,
                               folder.c_str()),
              s.status);
    EXPECT_THAT(secure_side.problems(), IsEmpty());
    EXPECT_TRUE(secure_side.finished());
    EXPECT_THAT(simulator::sensor().problems(), IsEmpty());
    orvaFpDeviceClose(g_fp_device_handle);
    g_fp_device_handle = 0;
    simulator::detach();

    const bool normal_scan = script == 1000 || script == 1003;
    const fs::path log =
        folder / (normal_scan ? "orva_sensor_test_NS.log" : "orva_sensor_test_SNR.log");
    EXPECT_EQ(fs::exists(log), saves(s, script));
    const bool with_data = saves(s, script) && !s.steps.back().data.empty();
    ASSERT_EQ(fs::exists(folder / "fp_data.bin"), with_data);
    if (saves(s, script)) {
      EXPECT_THAT(contents(log), testing::EndsWith(*s.steps.back().text));
    }
    if (with_data) {
      const std::string data = contents(folder / "fp_data.bin");
      EXPECT_EQ(std::vector<uint8_t>(data.begin(), data.end()), s.steps.back().data);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, ShippedScenario, testing::ValuesIn(shipped_names()),
                         [](const auto &instance) {
                           std::string name = instance.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

// The tool as a process.
struct outcome {
  int status;
  std::string out;
  std::string error;  // without the library's log lines
};

class Tool : public ScenarioFile {
 protected:
  // meanwhile is what the shell does while the tool runs.
  outcome run(const std::string &arguments, const std::string &meanwhile = ":") {
    const std::string out = (folder / "stdout").string(), error = (folder / "stderr").string();
    const std::string line = "cd " + folder.string() + "; " ORVA_TEST_TOOL " " + arguments +
                             " >stdout 2>stderr </dev/null & " + meanwhile + "; wait $!";
    const int status = system(line.c_str());
    std::string own_lines;
    std::ifstream lines(error);
    for (std::string text; std::getline(lines, text);) {
      if (text.find("/(FPLOG) (") != 1) own_lines += text + "\n";
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(out), own_lines};
  }

  std::string sensor_test(const std::string &script, const std::string &scenario_file) {
    return "sensor-test --simulate --script " + script + " --scenario " + scenario_file +
           " --out " + (folder / "out").string();
  }

  static std::string shipped(const std::string &name) { return kShipped / (name + ".json"); }
};

TEST_F(Tool, SensorTestShowsEachEventAndTheResults) {
  const outcome got = run(sensor_test("1003", shipped("normal-scan-pass")) + " --verbose");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.error, "");
  // In this order.
  size_t at = 0;
  for (const char *part :
       {"normal-scan-pass: ", "command         power       len=1", "exchange 1      ",
        "-> power-off-on\n", "request         eb 03 00 00 00 00 00 00 01 00 00 00\n",
        "power       len=0", "exchange 2", "-> reset\n", "command         reset",
        "record          00 00 00", "-> finish, text 264 bytes, data_len 4408\n",
        "status          FP_OK (0)\n", "out/orva_sensor_test_NS.log, 295 bytes\n",
        "| Date: ", "| RESULT          : PASS\n", "out/fp_data.bin, 4408 bytes\n",
        "5 exchanges, 10 commands\n"}) {
    const size_t found = got.out.find(part, at);
    ASSERT_NE(found, std::string::npos) << part << "\nis missing in its place in\n" << got.out;
    at = found;
  }
  EXPECT_THAT(got.out, testing::Not(HasSubstr("\033"))) << "colour in a pipe";
}

TEST_F(Tool, InspectGoesOnToTheContactSheet) {
  const outcome refused = run(sensor_test("1001", shipped("snr1-pass")) + " --inspect");
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.error, "orva-fp: scenario snr1-pass ends without a frame to inspect\n");
#ifdef ORVA_TEST_INSPECT
  const outcome got = run(sensor_test("1000", shipped("normal-scan-pass")) + " --inspect");
  EXPECT_EQ(got.status, 0);
  EXPECT_THAT(got.out, HasSubstr("out/fp_data.bin     58      76     8"));
  EXPECT_GT(fs::file_size(folder / "out" / "fp_data.bin.sheet.png"), 1000u);
#endif
}

TEST_F(Tool, FailingStatusIsNamed) {
  const outcome got = run(sensor_test("1005", shipped("snr2-interrupt-enable-fails")));
  EXPECT_EQ(got.status, 1);
  EXPECT_THAT(got.out, HasSubstr("-> fails: "));
  EXPECT_THAT(got.out, HasSubstr("FP_ERR_DRIVER_IO (209)\n"));
}

TEST_F(Tool, UnexpectedExchangesAreToldApartFromFailures) {
  const std::pair<std::string, std::string> cases[] = {
      {with_steps(R"({"action": "reset", "expect_interrupt": 1}, {"action": "stop"})"),
       "request 1: interrupt_triggered is 0, not 1\n"},
      {with_steps(R"({"action": "reset"})"), "request 2: the scenario has no step for it\n"},
      {with_steps(R"({"action": "stop"}, {"action": "stop"})"),
       "the scenario has steps that were not asked for\n"},
      {R"({"description": "", "scripts": [1000], "status": 209, "steps": [{"action": "stop"}]})",
       "the scenario ends with another status\n"},
  };
  for (const auto &[text, what] : cases) {
    load(text);
    const outcome got = run(sensor_test("1000", file.string()));
    EXPECT_EQ(got.status, 5) << text;
    EXPECT_THAT(got.out, HasSubstr("unexpected      " + what));
  }
}

TEST_F(Tool, BadInputGivesOneLineAndItsOwnStatus) {
  std::ofstream(folder / "file") << "";
  const std::string pass = shipped("normal-scan-pass");
  const std::string arguments = "sensor-test --simulate --script 1000 --scenario " + pass;
  const struct {
    std::string arguments;
    int status;
    std::string what;
  } cases[] = {
      {"", 2, "A sub-command is required"},
      {"imagine", 2, "imagine"},
      {"device", 2, "A sub-command is required"},
      {"device power", 2, "state is required"},
      {"device power half", 2, "half"},
      {"device wait-interrupt --timeout-ms -1", 2, "--timeout-ms"},
      {"device reset --scenario " + shipped("none"), 3, "none.json: No such file or directory"},
      {sensor_test("999", pass), 2, "--script: Value 999 not in range 1000 to 1005"},
      {sensor_test("1001", pass), 2, "normal-scan-pass is not meant for script 1001"},
      {arguments, 2, "--out is required"},
      {sensor_test("1000", shipped("none")), 3, "none.json: No such file or directory"},
      {sensor_test("1000", (folder / "file").string()), 3, "file: line 1, column 1: not JSON"},
      {arguments + " --out " + (folder / "no/out").string(), 4, "No such file or directory"},
      {arguments + " --out " + (folder / "file").string(), 4, "Not a directory"},
      {arguments + " --out " + std::string(231, 'x'), 4, "longer than 230 characters"},
  };
  for (const auto &c : cases) {
    const outcome got = run(c.arguments);
    EXPECT_EQ(got.status, c.status) << c.arguments;
    EXPECT_THAT(got.error, StartsWith("orva-fp: ")) << c.arguments;
    EXPECT_THAT(got.error, HasSubstr(c.what));
    EXPECT_EQ(std::count(got.error.begin(), got.error.end(), '\n'), 1) << got.error;
  }
}

TEST_F(Tool, ResultLogThatCannotBeWrittenIsNotAPass) {
  fs::create_directories(folder / "out/orva_sensor_test_NS.log/in-the-way");
  const outcome got = run(sensor_test("1000", shipped("normal-scan-pass")));
  EXPECT_EQ(got.status, 4);
  EXPECT_THAT(got.error, HasSubstr("orva_sensor_test_NS.log was not written\n"));
}

TEST_F(Tool, InterruptEndsAWaitWithoutALimitAndDisarms) {
  load(with_sensor("{}"));
  const outcome got = run("device wait-interrupt --scenario case.json",
                          "until grep -qs int-enable stdout; do sleep 0.01; done; kill -INT $!");
  EXPECT_EQ(got.status, 1);
  EXPECT_THAT(got.out, HasSubstr("command         int-disable"));
  EXPECT_THAT(got.out, HasSubstr("wait-interrupt  FP_ERR_INT_NOT_TRIGGERED (13)\n"));
}

TEST_F(Tool, DeviceOperationsSendTheirCommands) {
  const struct {
    std::string arguments;
    int status;
    std::vector<std::string> shown;
  } cases[] = {
      {"open", 0, {"power       len=1", "open            FP_OK (0)", "close           FP_OK (0)"}},
      {"reset", 0, {"command         reset", "reset           FP_OK (0)"}},
      {"power off", 0, {"power       len=0", "power           FP_OK (0)"}},
      {"power 3", 0, {"power       len=3"}},
      {"clock 1", 0, {"set-clock   len=0 speed_hz=12500000"}},
      {"clock -1", 0, {"clock-other len=0"}},
      {"info-memory on", 0, {"set-clock   len=0 speed_hz=3300000", "info-memory len=0"}},
      {"info-memory off", 0, {"info-memory len=1"}},
      {"cpu-speedup 70", 0, {"cpu-speedup len=70"}},
      {"wait-interrupt", 0, {"int-enable", "int-disable", "wait-interrupt  FP_OK (0)"}},
      {"wait-interrupt --timeout-ms 1", 1, {"wait-interrupt  FP_ERR_INT_NOT_TRIGGERED (13)"}},
      {"reset --scenario " + shipped("normal-scan-reset-fails"), 1, {"reset           FP_ERR_D"}},
      {"reset --scenario " + shipped("power-on-fails"),
       1,
       {"open            FP_ERR_DRIVER_IO", "close           FP_OK (0)"}},
      {"reset --scenario " + shipped("node-missing"), 1, {"open            FP_ERR_NO_DEVICE"}},
  };
  for (const auto &c : cases) {
    const outcome got = run("device --simulate " + c.arguments);
    EXPECT_EQ(got.status, c.status) << c.arguments;
    EXPECT_EQ(got.error, "") << c.arguments;
    for (const std::string &part : c.shown) EXPECT_THAT(got.out, HasSubstr(part)) << c.arguments;
  }
}

}  // namespace
