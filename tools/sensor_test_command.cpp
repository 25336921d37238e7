// orva-fp sensor-test: one run of a script, with the secure side that a scenario plays.
#include <filesystem>
#include <fstream>
#include <memory>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "simulator/scenario.h"
#include "tools/commands.h"
#include "tools/output_folder.h"
#include "tools/trace.h"
#ifdef ORVA_FP_IMAGE_COMMAND
#include "tools/image/inspect.h"
#endif

namespace tools {

namespace {

namespace fs = std::filesystem;

constexpr char kHelp[] =
    R"(Standard output shows, each with its time, every exchange with the secure side and every command
to the driver as they happen, then the status, the result log and the data file. On a terminal it
is coloured (not with NO_COLOR set). The library's own log lines go to standard error.

Exit status:
  0  the status is FP_OK, and all went as the scenario says
  1  the run ended with a failing status
  2  bad arguments, or the scenario is not meant for the script
  3  the scenario cannot be read
  4  the output folder cannot be written
  5  something unexpected was sent, or the scenario was not played to its end
  6, 7  with --inspect: as orva-fp image inspect)";

struct options {
  int32_t script = 0;
  std::string scenario;
  std::string out;
  bool simulate = false;
  bool verbose = false;
  bool inspect = false;
};

bool is_snr1(int32_t script) {
  return script == ORVA_SCRIPT_SNR1 || script == ORVA_SCRIPT_SNR1_VARIANT;
}

fs::path log_file(const options &o) {
  const bool normal_scan =
      o.script == ORVA_SCRIPT_NORMAL_SCAN || o.script == ORVA_SCRIPT_NORMAL_SCAN_VARIANT;
  return fs::path(o.out) / (normal_scan ? ORVA_FP_NORMAL_SCAN_LOG : ORVA_FP_SNR_LOG);
}

fs::path data_file(const options &o) { return fs::path(o.out) / ORVA_FP_DATA_FILE; }

std::string with_size(const fs::path &file) {
  std::error_code missing;
  const uintmax_t size = fs::file_size(file, missing);
  return missing ? "none" : file.string() + ", " + std::to_string(size) + " bytes";
}

void show_results(trace &show, const options &o) {
  show.note("result log", with_size(log_file(o)));
  std::ifstream log(log_file(o));
  for (std::string line; std::getline(log, line);) show.note("", "| " + line);
  show.note("data file", with_size(data_file(o)));
}

// The files that this run should have left but did not.
std::string missing_files(const options &o, const simulator::exchange_step *last) {
  if (last == nullptr || last->failure != 0 || is_snr1(o.script)) return "";
  if (last->result != ORVA_TEST_FINISH && last->result != ORVA_TEST_FINISH_ALT) return "";
  if (!fs::is_regular_file(log_file(o))) return log_file(o).string();
  const auto data_len = last->data_len.value_or(static_cast<int32_t>(last->data.size()));
  return data_len > 0 && !fs::is_regular_file(data_file(o)) ? data_file(o).string() : "";
}

// The frame that the last step of the scenario sends, which is what the data file then holds.
simulator::frame_shape last_frame(const simulator::scenario &scenario) {
  return scenario.steps.empty() ? simulator::frame_shape{} : scenario.steps.back().frame;
}

// Goes on to the contact sheet of the data file.
exit_status inspect_data(const options &o, [[maybe_unused]] simulator::frame_shape shape) {
  if (!o.inspect) return kPass;
#ifdef ORVA_FP_IMAGE_COMMAND
  fflush(stdout);
  inspect_job job;
  job.files = {data_file(o).string()};
  job.out = o.out;
  job.settings.layout = {.width = static_cast<int32_t>(shape.width),
                         .height = static_cast<int32_t>(shape.height),
                         .bits = 8};
  const exit_status status = inspect(job);
  if (status != kBadFrame) printf("contact sheet: %s.sheet.png\n", data_file(o).c_str());
  return status;
#else
  throw command_error(kBadUsage, "--inspect: this build has no image sub-command");
#endif
}

exit_status run(const options &o) {
  const simulator::scenario scenario = simulator::load_scenario(o.scenario);
  if (o.inspect && last_frame(scenario).width == 0) {
    throw command_error(kBadUsage,
                        "scenario " + scenario.name + " ends without a frame to inspect");
  }
  if (!scenario.is_meant_for(o.script)) {
    throw command_error(kBadUsage, "scenario " + scenario.name + " is not meant for script " +
                                       std::to_string(o.script));
  }
  if (o.out.size() > SENSOR_TEST_FOLDER_LENGTH) {
    refuse_output_folder(o.out, "the path is longer than " +
                                    std::to_string(SENSOR_TEST_FOLDER_LENGTH) + " characters");
  }
  prepare_output_folder(o.out);

  trace show(o.verbose);
  show.note("scenario", scenario.name + ": " + scenario.description);
  if (o.simulate) simulator::attach(scenario.sensor);
  simulator::observe([&](const simulator::command &c) { show.command(c); });
  simulator::secure_side secure_side(scenario.steps);
  secure_side.observe([&](const simulator::exchange &e) { show.exchange(e); });

  const int32_t status = orvaFpSensorTest(o.script, 0, 0, 0, simulator::secure_side::request,
                                          &secure_side, 0, 0, o.out.c_str());
  simulator::observe(nullptr);
  orvaFpDeviceClose(g_fp_device_handle);
  g_fp_device_handle = 0;

  std::vector<std::string> problems = secure_side.problems();
  if (o.simulate) {
    const auto &wrong_records = simulator::sensor().problems();
    problems.insert(problems.end(), wrong_records.begin(), wrong_records.end());
    if (status != scenario.status) problems.push_back("the scenario ends with another status");
  }
  if (status == FP_OK && !secure_side.finished()) {
    problems.push_back("the scenario has steps that were not asked for");
  }

  show.status("status", status);
  show_results(show, o);
  for (const std::string &problem : problems) show.unexpected(problem);
  show.note("total", std::to_string(show.exchanges()) + " exchanges, " +
                         std::to_string(show.commands()) + " commands");

  if (!problems.empty()) return kUnexpected;
  if (status != FP_OK) return kFailingStatus;
  const std::string missing =
      missing_files(o, scenario.steps.empty() ? nullptr : &scenario.steps.back());
  if (!missing.empty()) throw command_error(kBadOutput, missing + " was not written");
  return inspect_data(o, last_frame(scenario));
}

}  // namespace

void add_sensor_test_command(CLI::App &app, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *command = app.add_subcommand(
      "sensor-test", "Runs a sensor-test script against the secure side of a scenario");
  command->footer(kHelp);
  command
      ->add_option("--script", o->script,
                   "1000, 1003 normal scan; 1001, 1004 SNR1; 1002, 1005 SNR2")
      ->required()
      ->check(CLI::Range(ORVA_SCRIPT_NORMAL_SCAN, ORVA_SCRIPT_SNR2_VARIANT));
  command->add_option("--scenario", o->scenario, "Scenario file, see docs/scenarios.md")
      ->required();
  command->add_option("--out", o->out, "Folder of the result files; created if missing")
      ->required();
  command->add_flag("--simulate", o->simulate,
                    "Simulate the scenario's sensor instead of driving /dev/ovfp0");
  command->add_flag("--verbose", o->verbose, "Show the bytes of every request and command record");
  command->add_flag(
      "--inspect", o->inspect,
      "Then measure the frame in the data file and draw its contact sheet into --out");
  command->callback([o, &result] { result = run(*o); });
}

}  // namespace tools
