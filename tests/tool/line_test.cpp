// orva-fp sensor-test and device, and the scenario files that they play.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/ridge_frame.h"
#include "simulator/scenario.h"
#include "tool/tool_runner.h"

namespace {

namespace fs = std::filesystem;
using simulator::interrupt_plan;
using simulator::load_scenario;
using simulator::scenario;
using support::tool_case;
using testing::ElementsAre;

const fs::path kShipped = ORVA_TEST_SCENARIOS;

// Shell functions: "run SCRIPT SCENARIO OPTION..." plays a shipped scenario or a file, "scenario
// MEMBERS" and "steps STEPS" write the file case.json.
const std::string kShell =
    "run() { s=$1 c=$2; shift 2; [ -e $c ] || c=" + kShipped.string() +
    "/$c.json; orva-fp sensor-test --simulate --script $s --scenario $c --out ${OUT:-out} \"$@\"; "
    "}\n" +
    R"(scenario() { echo "{\"description\": \"\", \"scripts\": [1000], $1}" >case.json; })"
    "\n"
    R"(steps() { scenario "\"steps\": [$1]"; })"
    "\n";

class ScenarioFile : public testing::Test {
 protected:
  scenario load(const std::string &text) {
    folder.write("case.json", text);
    return load_scenario(folder / "case.json");
  }

  // What load says is wrong, without the file's name in front.
  std::string problem(const std::string &text) {
    try {
      load(text);
    } catch (const simulator::scenario_error &error) {
      const std::string start = folder / "case.json: ", what = error.what();
      EXPECT_THAT(what, testing::StartsWith(start));
      return what.substr(start.size());
    }
    return "loads";
  }

  support::tool_folder folder;
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
  folder.write("two.raw", "ab");
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
  EXPECT_EQ(s.name + s.description, "caseall of it");
  EXPECT_TRUE(s.is_meant_for(1004));
  EXPECT_FALSE(s.is_meant_for(1000));
  EXPECT_EQ(s.status, FP_ERR_DRIVER_IO);
  EXPECT_EQ(s.sensor.node, simulator::node_state::kNotOpenable);
  EXPECT_THAT(s.sensor.interrupts, ElementsAre(interrupt_plan::after(7), interrupt_plan::never(),
                                       interrupt_plan::error_event()));
  ASSERT_EQ(s.sensor.faults.size(), 2u);
  const auto &[first, second] = std::tie(s.sensor.faults[0], s.sensor.faults[1]);
  EXPECT_EQ(std::tuple(first.opcode, first.nth, first.error), std::tuple(165, 0u, 110));
  EXPECT_EQ(std::tuple(second.opcode, second.nth, second.error), std::tuple(9, 1u, 5));
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
  const std::string nine_bytes = R"({"action": "reset", "data": {"fill": 1, "size": 9}}, )";
  const std::pair<std::string, std::string> cases[] = {
      {"{\n  \"scripts\": [1000,]}", "line 2, column 20: not JSON"},
      {"", "line 1, column 1: not JSON"},
      {"[]", "top level: must be an object"},
      {R"({"scripts": [1000], "steps": []})", "top level: key \"description\" is missing"},
      {R"({"description": "", "scripts": [1000]})", "top level: key \"steps\" is missing"},
      {R"({"description": "", "scripts": [], "steps": []})", "/scripts: names no script"},
      {R"({"steps": [], "steps": []})", "key \"steps\" is there twice in one object"},
      {R"({"description": "", "a/b~": 1})", "/a~1b~0: unknown key"},
      {R"({"description": 5})", "/description: must be a text"},
      {R"({"description": "", "status": "FP_ERR"})", "/status: unknown status \"FP_ERR\""},
      {with_sensor(R"({"node": "absent"})"), "/sensor/node: unknown node \"absent\""},
      {with_sensor(R"({"interrupts": {}})"), "/sensor/interrupts: must be an array"},
      {with_sensor(R"({"interrupts": ["soon"]})"), "/sensor/interrupts/0: unknown interrupt"},
      {with_sensor(R"({"interrupts": ["never", {"after_ms": -1}]})"),
          "/sensor/interrupts/1/after_ms: must be a whole number from 0 to 3600000"},
      {with_sensor(R"({"faults": [{"nth": 1}]})"), "/sensor/faults/0: key \"command\" is missing"},
      {with_sensor(R"({"faults": [{"command": "off"}]})"), "/sensor/faults/0/command: unknown"},
      {with_sensor(R"({"faults": [{"command": 4, "errno": 0}]})"),
          "/sensor/faults/0/errno: must be a whole number from 1 to 4095"},
      {with_steps(R"({"action": "reset"}, {"action": "finsih"})"),
          "/steps/1/action: unknown action \"finsih\""},
      {with_steps(R"({"action": 18446744073709551615})"),
          "/steps/0/action: must be a whole number from 0 to 4294967295"},
      {with_steps(R"({"text": "t"})"), "/steps/0: key \"action\" is missing"},
      {with_steps(R"({"action": 0, "text": ")" + std::string(2049, 'x') + "\"}"),
          "/steps/0/text: is 2049 bytes long, at most 2048 fit"},
      {with_steps(R"({"action": 0, "expect_interrupt": 2})"), "/steps/0/expect_interrupt: must"},
      {with_steps(R"({"action": 0, "data_len": 2147483648})"), "/steps/0/data_len: must be a wh"},
      {with_steps(R"({"action": 0, "data_len": 1})"), "/steps/0: data_len counts more than the 0"},
      {with_steps(nine_bytes + R"({"action": 0, "data_len": 9})"), "loads"},
      {with_steps(nine_bytes + R"({"action": 0, "data_len": 10})"), "/steps/1: data_len"},
      {with_steps(R"({"fail": 0})"), "/steps/0/fail: 0 is no failure"},
      {with_steps(R"({"fail": 1, "action": 0})"), "/steps/0/action: unknown key"},
      {with_data("[1]"), "/steps/0/data: must be an object with \"hex\""},
      {with_data(R"({"hex": "0a1"})"), "/steps/0/data/hex: must be pairs of hexadecimal digits"},
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
  folder.write("large.raw", std::string(512001, ' '));
  for (const auto &[text, what] : cases) {
    EXPECT_THAT(problem(text), testing::StartsWith(what)) << text;
  }
}

// Kept against change: a run's data file is compared from one machine to the next.
TEST(RidgeFrame, SeedGivesTheSameBytesEverywhere) {
  uint32_t hash = 2166136261u;
  for (const uint8_t byte : simulator::ridge_frame(160, 160, 1)) hash = (hash ^ byte) * 16777619u;
  EXPECT_EQ(hash, 2416834287u);
  EXPECT_NE(simulator::ridge_frame(9, 9, 1), simulator::ridge_frame(9, 9, 2));
}

// Each once as it is and once more as its own recording, which must bring the same events.
TEST(ShippedScenarios, EndAsTheySayAndReplay) {
  std::vector<tool_case> rows;
  for (const auto &entry : fs::directory_iterator(kShipped)) {
    const scenario s = load_scenario(entry.path());
    for (const int32_t script : s.scripts) {
      const uint32_t end = s.steps.empty() ? uint32_t{ORVA_TEST_STOP} : s.steps.back().result;
      const bool saves = s.status == FP_OK && end != ORVA_TEST_STOP && script % 3 != 2;
      const std::string log =
          script % 3 == 1 ? "out/orva_sensor_test_NS.log" : "out/orva_sensor_test_SNR.log";
      std::string files = saves ? log : "!" + log;
      files += saves && !s.steps.back().data.empty()
                   ? " out/fp_data.bin=" + std::to_string(s.steps.back().data.size())
                   : " !out/fp_data.bin";
      const std::string run = "run " + std::to_string(script) + " ",
                        result = "result " + std::string(orva_fp_status_name(s.status));
      rows.push_back({run + s.name + " --record r.jsonl; " + run + "r.jsonl --against r.jsonl",
          s.status == FP_OK ? 0 : 1, result + "..." + result,
          s.status == FP_ERR_NO_DEVICE ? "orva-fp: /dev/ovfp0: ...orva-fp: /dev/ovfp0: " : "",
          files});
      if (s.name.ends_with("times-out")) break;  // a second is enough
    }
  }
  check_all(rows, kShell);
}

TEST(Tool, SensorTest) {
  const std::vector<tool_case> rows = {
      {"run 1003 normal-scan-pass --verbose", 0,
          "normal-scan-pass: ... command power len=1 ... exchange 1 ... -> power-off-on\n"
          "... request eb 03 00 00 00 00 00 00 01 00 00 00\n... power len=0 ... exchange 2 ..."
          "-> reset\n... command reset ... record 00 00 00 ... -> finish, text 264 bytes, data_len "
          "4408\n... status FP_OK (0)\n... out/orva_sensor_test_NS.log, 295 bytes\n... | Date: ..."
          "| RESULT : PASS\n... out/fp_data.bin, 4408 bytes\n... 5 exchanges, 10 commands\n"
          "... result FP_OK (0), RESULT : PASS\n"},
      {"run 1005 snr2-interrupt-enable-fails", 1, "-> fails: ... result FP_ERR_DRIVER_IO (209)\n"},
      {"run 1000 node-missing", 1, "...", "/dev/ovfp0: No such file or directory"},
      {"run 1000 node-not-openable", 1, "...", "/dev/ovfp0: Permission denied"},

      // What is not as the scenario says.
      {R"(steps '{"action": 21, "expect_interrupt": 1}, {"action": "stop"}'; run 1000 case.json)",
          5, "...", "unexpected: request 1: interrupt_triggered is 0, not 1\n"},
      {R"(steps '{"action": "reset"}'; run 1000 case.json)", 5, "callback fails with -1",
          "unexpected: request 2: the scenario has no step for it\n"},
      {R"(steps '{"action": "stop"}, {"action": "stop"}'; run 1000 case.json)", 5, "...",
          "unexpected: the run made 1 requests, the scenario has 2 steps\n"},
      {R"(scenario '"status": 209, "steps": [{"action": "stop"}]'; run 1000 case.json)", 5, "...",
          "unexpected: the run ended with FP_OK (0), the scenario with FP_ERR_DRIVER_IO (209)\n"},
      {R"(scenario '"sensor": {"faults": [{"command": "reset", "nth": 2}]},
                    "steps": [{"action": "reset"}, {"action": "stop"}]'; run 1000 case.json)",
          5, "...", "unexpected: a fault was not met: 1 of 2 commands \"reset\" came\n"},

      // A result that can be trusted.
      {"trap '' XFSZ; ulimit -f 8; run 1000 normal-scan-pass -q", 4, "result FP_OK (0)",
          "out/fp_data.bin: File too large; 4096 of 4408 bytes are there\n"},
      {"mkdir -p out/orva_sensor_test_NS.log/in-the-way; run 1000 normal-scan-pass", 4, "...",
          "orva_sensor_test_NS.log: Is a directory; "},
      {"mkdir -p out/fp_data.bin/in-the-way; run 1000 normal-scan-stop", 4, "...",
          "fp_data.bin: of an earlier run, could not be removed\n"},
      {"mkdir out; touch out/fp_data.bin.sheet.png; run 1000 normal-scan-stop", 0, "...", "",
          "!out/fp_data.bin.sheet.png"},
      {"run 1000 normal-scan-pass --verdict", 0, "RESULT : PASS\n"},
      {"run 1000 normal-scan-reset-fails", 0, "result FP_OK (0), RESULT : FAIL (reset)\n"},
      {R"(steps '{"action": "finish", "text": "RESULT : PASS\u000alot 7"}'; run 1000 case.json)", 0,
          "result FP_OK (0), RESULT : PASS\n"},
      {"run 1000 normal-scan-reset-fails --verdict", 7,
          "FP_OK (0), RESULT : FAIL (reset), where \"RESULT : PASS\" was expected\n"},
      {"run 1000 normal-scan-reset-fails --expect 'RESULT: FAIL (reset)'", 0},
      {"run 1001 snr1-pass --verdict", 2, "", "SNR1 saves no result log"},
      {"run 1000 normal-scan-pass --serial SN-1", 0, "...", "",
          "out/SN-1/fp_data.bin=4408 !out/fp_data.bin"},
      {"run 1000 normal-scan-pass --serial ../SN-1", 2, "", "--serial: must be a plain file name"},
      {"mkdir out; exec 8<out; flock 8; run 1000 normal-scan-pass", 4, "",
          "output folder out: another run uses it\n"},
      {"run 1001 snr1-pass --repeat 3 -q", 0,
          "FP_OK ... FP_OK ... FP_OK ... runs 3, 3 passed, 0 failed, fastest"},
      {"run 1005 snr2-interrupt-enable-fails --repeat 2", 1, "runs 2, 0 passed, 2 failed"},
#ifdef ORVA_TEST_INSPECT
      {"run 1000 normal-scan-pass --inspect", 0, "out/fp_data.bin 58 76 8", "",
          "out/fp_data.bin.sheet.png"},
#endif
      {"run 1000 normal-scan-pass --inspect --trace json", 2, "", "--inspect prints a table"},
      {"run 1001 snr1-pass --inspect", 2, "", "snr1-pass ends without a frame to inspect\n"},
  };
  check_all(rows, kShell);
}

// Stops a tool that runs in the background once it has armed the interrupt; its status is the
// line's.
const std::string kStop =
    " & until grep -qs int-enable stdout; do sleep 0.01; done; kill -$SIGNAL $!; wait $!";

TEST(Tool, Recording) {
  const std::string record = "run 1000 normal-scan-reset-fails --record r.jsonl -q; ";
  const std::string replay = "; run 1000 r.jsonl -q";
  const std::vector<tool_case> rows = {
      {record + "run 1000 normal-scan-pass --against r.jsonl -q", 9, "...",
          "differs from the recording: event 8, \"command\": errno recorded 5, now 0\n"},
      {record + "run 1000 normal-scan-stop --against r.jsonl -q", 9, "...",
          "differs from the recording: event 4, \"exchange\": action recorded \"power-off-on\", "
          "now"},
      {"run 1000 normal-scan-stop --record r.jsonl --trace json; cmp -n 9999 stdout r.jsonl", 0,
          R"({"format":"orva-fp recording","version":1,"event":"start",...{"event":"end",)",
          "result: FP_OK (0)\n"},
      {record + R"(sed -i '3s/"errno"/errno/' r.jsonl)" + replay, 3, "...",
          "line 3, column ...: not JSON\n"},
      {record + R"(sed -i '1s/"version":1/"version":2/' r.jsonl)" + replay, 3, "...",
          "r.jsonl: line 1: /version: 2 is unknown, only 1 is\n"},
      {record + R"(sed -i '1s/recording/other/' r.jsonl)" + replay, 3, "...",
          "line 1: /format: not"},
      {record + R"(sed -i '2s/"len"/"length"/' r.jsonl)" + replay, 3, "...",
          "line 2: top level: key \"len\" is missing\n"},
      {record + R"(sed -i '2s/"command"/"order"/' r.jsonl)" + replay, 3, "...", "unknown event\n"},
      {record + R"(sed -i '$d' r.jsonl)" + replay, 3, "...", "line 16: ends before the run does\n"},
      {record + "f=$(printf '\\377.jsonl'); mv r.jsonl $f; run 1000 $f --record s.jsonl -q; "
                "run 1000 s.jsonl -q",
          0},
      {": >r.jsonl" + replay, 3, "", "r.jsonl: line 1, column 1: not JSON\n"},
      {"run 1001 snr1-pass --record no/r.jsonl", 4, "", "no/r.jsonl: No such file or directory\n"},
      {"run 1001 snr1-pass --record /dev/full -q", 4, "result FP_OK (0)",
          "/dev/full: No space left on device\n"},
  };
  check_all(rows, kShell);
}

TEST(Tool, Device) {
  const std::string error = "--scenario $S/snr2-interrupt-error.json";
  const std::vector<tool_case> rows = {
      {"open", 0, "power len=1 ... open FP_OK (0) ... close FP_OK (0)"},
      {"power 3 clock -1 info-memory off info-memory on clock 1 cpu-speedup 70", 0,
          "power len=3 ... clock-other len=0 ... info-memory len=1 ... set-clock len=0 "
          "speed_hz=3300000 ... info-memory len=0 ... set-clock len=0 speed_hz=12500000 ... "
          "cpu-speedup len=70"},
      {"wait-interrupt --timeout-ms 1", 1,
          "wait limit=1 ms -> timeout\n... result wait-interrupt FP_ERR_INT_NOT_TRIGGERED (13)"},
      {"reset --scenario $S/normal-scan-reset-fails.json", 1, "reset FP_ERR_D"},
      {"reset --scenario $S/power-on-fails.json", 1, "open FP_ERR_DRIVER_IO ... close FP_OK (0)"},

      // Several on one open node.
      {"power off power on reset wait-interrupt --count 2 --timeout 500 wait-interrupt", 0,
          "len=1 ... open ... len=0 ... power ... len=1 ... power ... reset ... wait limit=500 ms "
          "-> "
          "interrupt\n... interrupt 1 of 2 ... interrupt 2 of 2 ... wait limit=10 ms -> interrupt "
          "... close ... result FP_OK (0)\n"},
      {"power off reset power on --scenario $S/normal-scan-reset-fails.json", 1,
          "len=0 ... reset FP_ERR_DRIVER_IO (209)\n... close FP_OK (0)\n... result reset "
          "FP_ERR_DR"},
      {"command --code 9 --tx 0102 --rx 2 --param 1,2,3 --speed 5000 command --code 8 --len 7", 0,
          "command 9 len=2 speed_hz=5000 param=1,2,3\n... received 5a 5a\n... command 8 len=7 "
          "speed_hz=5000 param=1,2,3\n"},
      {"command --code 9 --tx 0102 --verbose", 0, "sent 01 02\n"},
      {"command --code 9 --tx 010", 2, "", "--tx must be pairs of hexadecimal digits"},
      {"command --code 9 --tx 01 --rx 2", 2, "", "--tx and --rx share one length, 1 is not 2"},
      {"command --code 9 --tx 01 --len 2", 2, "", "--tx excludes --len"},
      {"command --code 256", 2, "", "--code"},
      {"reset later", 2, "", "later"},

      // An error event is told, and no reason to spin.
      {"wait-interrupt --timeout 5000 " + error, 1, "-> error-event 0x8"},
      {"wait-interrupt -q " + error +
              " & until grep -qs 'EnableInt 1' stderr; do sleep 0.01; done; kill -TERM $!; wait $!",
          8, "result wait-inter", "stopped by SIGTERM; the interrupt is disarmed\n"},
  };
  check_all(rows, "S=" + kShipped.string() + "; orva-fp device --simulate ");
}

TEST(Tool, StopSignalDisarmsTheInterrupt) {
  const std::string never =
      "--simulate --scenario " + (kShipped / "snr2-interrupt-times-out.json").string();
  const std::vector<tool_case> rows = {
      {"SIGNAL=INT; orva-fp device wait-interrupt " + never + kStop, 8,
          "int-disable ... wait-interrupt FP_ERR_INT_NOT_TRIGGERED (13)\n",
          "stopped by SIGINT; the interrupt is disarmed\n"},
      {"SIGNAL=TERM; orva-fp device wait-interrupt --timeout-ms 60000 " + never + kStop, 8,
          "int-disable", "stopped by SIGTERM; the interrupt is disarmed\n"},
      // What was stopped can be replayed, the wait that the signal ended included.
      {"SIGNAL=INT; orva-fp sensor-test --script 1002 --out out --record r.jsonl " + never + kStop +
              "; [ $? = 8 ] && run 1002 r.jsonl --against r.jsonl",
          1,
          "int-enable ... failed: Interrupted ... int-disable ... callback fails with -4 ..."
          "FP_ERR_REQUEST_FAILED (35)\n... recording of ... failed: Interrupted ... int-disable",
          "stopped by SIGINT; the interrupt is disarmed\n"},
      // The signal comes before the wait begins: while the tool prints the exchange that asks for
      // it, in more bytes than a pipe holds.
      {R"(steps '{"action": "wait-interrupt", "data": {"fill": 0, "size": 200000}}'; mkfifo r; )"
       "sed -i s/1000/1002/ case.json; orva-fp sensor-test --script 1002 --scenario case.json "
       "--out out --simulate --trace json >r & exec 3<r; head -c 5000 <&3 >begun; kill -TERM $!; "
       "cat <&3; wait $!",
          8, "int-enable ... \"failed\" ... int-disable",
          "stopped by SIGTERM; the interrupt is disarmed\n"},
  };
  check_all(rows, kShell);
}

TEST(Tool, OutputThatCannotBeWrittenIsAnError) {
  support::check_all({
      {"orva-fp device open --simulate >/dev/full", 4, "", "standard output: No space left on"},
      {"orva-fp device open --simulate >&-", 4, "", "standard output: Bad file descriptor"},
      {"orva-fp --help >/dev/full", 4, "", "standard output: No space left on device"},
      {"orva-fp --version", 0, "orva-fp 2.0.1\n"},
      {"test ! -e /dev/ovfp0 && orva-fp device open", 1, "...",
          "/dev/ovfp0: No such file or directory"},
  });
}

TEST(Tool, BadInputGivesOneLineAndItsOwnStatus) {
  std::vector<tool_case> rows = {
      {"orva-fp", 2, "", "A sub-command is required"},
      {"orva-fp device power half", 2, "", "half"},
      {"orva-fp device wait-interrupt --timeout-ms -1", 2, "", "--timeout-ms"},
      {"orva-fp device reset --scenario no.json", 3, "", "no.json: No such file or directory"},
      {"run 999 normal-scan-pass", 2, "", "--script: Value 999 not in range 1000 to 1005"},
      {"run 1001 normal-scan-pass", 2, "", "normal-scan-pass is not meant for script 1001"},
      {"orva-fp sensor-test --script 1000 --scenario x", 2, "", "--out is required"},
      {"run 1000 none", 3, "", "none.json: No such file or directory"},
      {"touch file; run 1000 file", 3, "", "file: line 1, column 1: not JSON"},
      {"OUT=no/out; run 1000 normal-scan-pass", 4, "", "No such file or directory"},
      {"touch file; OUT=file; run 1000 normal-scan-pass", 4, "", "Not a directory"},
      {"OUT=$(printf %231s x | tr ' ' x); run 1000 normal-scan-pass", 4, "", "longer than 230 ch"},
  };
  for (tool_case &row : rows) row.err = "orva-fp: ..." + row.err + "...\n";
  check_all(rows, kShell);
}

}  // namespace
