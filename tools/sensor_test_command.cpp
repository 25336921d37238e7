// orva-fp sensor-test: runs of a script, with the secure side that a scenario plays.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <sys/file.h>
#include <unistd.h>

#include <orva_fp/sensor_test.h>

#include "tools/commands.h"
#include "tools/output_file.h"
#include "tools/result_files.h"
#include "tools/sensor_at_work.h"
#include "tools/sensor_test_run.h"
#include "tools/simulation.h"
#ifdef ORVA_FP_IMAGE_COMMAND
#include "tools/image/inspect.h"
#endif

namespace tools {

namespace {

namespace fs = std::filesystem;

constexpr char kHelp[] =
    R"(Standard output shows, each with its time, every exchange with the secure side, every command to
the driver and every interrupt wait as they happen, then the status, the result log and the data
file, and last the result. On a terminal it is coloured (not with NO_COLOR set). The library's own
log lines, and all that is wrong, go to standard error.)";

constexpr char kUsualVerdict[] = "RESULT : PASS";

struct options {
  sensor_test_job job;
  std::string scenario;
  std::string against;
  std::string serial;
  std::string trace = "text";
  uint32_t repeat = 1;
  bool verdict = false;
  bool inspect = false;
};

// No other run uses the folder until this program ends.
void lock_folder(const std::string &folder) {
  const int handle = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle != -1 && flock(handle, LOCK_EX | LOCK_NB) == 0) return;
  refuse_output_folder(folder, errno == EWOULDBLOCK ? "another run uses it" : strerror(errno));
}

// The frame that the last step of the scenario sends, which is what the data file then holds.
simulator::frame_shape last_frame(const simulator::scenario &scenario) {
  return scenario.steps.empty() ? simulator::frame_shape{} : scenario.steps.back().frame;
}

// Goes on to the contact sheet of the data file.
exit_status inspect_data([[maybe_unused]] const sensor_test_job &job_done,
                         [[maybe_unused]] simulator::frame_shape shape) {
#ifdef ORVA_FP_IMAGE_COMMAND
  fflush(stdout);
  inspect_job job;
  job.files = {job_done.folder + "/" ORVA_FP_DATA_FILE};
  job.out = job_done.folder;
  job.settings.layout = {.width = static_cast<int32_t>(shape.width),
                         .height = static_cast<int32_t>(shape.height),
                         .bits = 8};
  const exit_status status = inspect(job);
  if (status != kBadFrame) printf("contact sheet: %s.sheet.png\n", job.files[0].c_str());
  return status;
#else
  throw command_error(kBadUsage, "--inspect: this build has no image sub-command");
#endif
}

void check(const options &o, const simulator::scenario &scenario) {
  const auto refuse = [](const std::string &why) { throw command_error(kBadUsage, why); };
  const int32_t script = o.job.script;
  if (o.inspect && last_frame(scenario).width == 0) {
    refuse(fmt::format("scenario {} ends without a frame to inspect", scenario.name));
  }
  if (o.inspect && o.job.shown.json) refuse("--inspect prints a table, which is no JSON");
  if (!scenario.is_meant_for(script)) {
    refuse(fmt::format("scenario {} is not meant for script {}", scenario.name, script));
  }
  if (!o.job.expected.empty() && !result_files(o.job.folder, script).has_log()) {
    refuse("SNR1 saves no result log that could hold the text of --expect or --verdict");
  }
}

std::string prepare_folder(const options &o) {
  prepare_output_folder(o.job.folder);
  if (o.serial.empty()) return o.job.folder;
  const std::string folder = o.job.folder + "/" + o.serial;
  prepare_output_folder(folder);
  return folder;
}

// Every run, with a line that sums them up when there are several. The status is the first that is
// not a pass.
exit_status run_all(const options &o, const sensor_test_job &job,
                    const simulator::scenario &scenario,
                    const std::vector<simulator::recorded> &against) {
  exit_status worst = kPass;
  uint32_t runs = 0, passed = 0;
  double fastest = 0, slowest = 0;
  while (runs < o.repeat && stop_signal() == 0) {
    double milliseconds = 0;
    const exit_status status = run_sensor_test(job, scenario, against, milliseconds);
    if (worst == kPass) worst = status;
    passed += status == kPass ? 1 : 0;
    fastest = runs++ == 0 ? milliseconds : std::min(fastest, milliseconds);
    slowest = std::max(slowest, milliseconds);
  }
  if (o.repeat > 1) {
    trace(job.shown).last_line(
        passed == runs ? look::kGood : look::kBad, "runs",
        fmt::format("{}, {} passed, {} failed, fastest {:.1f} ms, slowest {:.1f} ms", runs, passed,
                    runs - passed, fastest, slowest));
  }
  return worst;
}

exit_status run(const options &o) {
  const simulator::scenario scenario = simulator::load_scenario(o.scenario);
  const std::vector<simulator::recorded> against =
      o.against.empty() ? std::vector<simulator::recorded>() : simulator::read_recording(o.against);
  check(o, scenario);
  if (o.job.simulated) simulate(scenario.sensor);

  sensor_test_job job = o.job;
  job.folder = prepare_folder(o);
  if (job.folder.size() > SENSOR_TEST_FOLDER_LENGTH) {
    refuse_output_folder(job.folder, fmt::format("the path is longer than {} characters",
                                                 int{SENSOR_TEST_FOLDER_LENGTH}));
  }
  lock_folder(job.folder);
  catch_stop_signals();
  const exit_status status = run_all(o, job, scenario, against);
  return status == kPass && o.inspect ? inspect_data(job, last_frame(scenario)) : status;
}

std::string check_serial(const std::string &name) {
  const bool plain =
      !name.empty() && name[0] != '.' && name.find('/') == std::string::npos &&
      std::none_of(name.begin(), name.end(), [](unsigned char c) { return c < ' '; });
  return plain ? "" : "must be a plain file name that does not begin with a dot";
}

}  // namespace

void add_sensor_test_command(CLI::App &app, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *command = app.add_subcommand(
      "sensor-test", "Runs a sensor-test script against the secure side of a scenario");
  command->footer(std::string(kHelp) + "\n\n" + kExitStatuses);
  command
      ->add_option("--script", o->job.script,
                   "1000, 1003 normal scan; 1001, 1004 SNR1; 1002, 1005 SNR2")
      ->required()
      ->check(CLI::Range(ORVA_SCRIPT_NORMAL_SCAN, ORVA_SCRIPT_SNR2_VARIANT));
  command
      ->add_option("--scenario", o->scenario,
                   "Scenario (docs/scenarios.md) or, named *.jsonl, recording (docs/recordings.md)")
      ->required();
  command->add_option("--out", o->job.folder, "Folder of the result files; created if missing")
      ->required();
  command->add_option("--serial", o->serial, "Put the files into a folder of this name under --out")
      ->check(CLI::Validator(check_serial, "NAME"));
  command->add_flag("--simulate", o->job.simulated,
                    "Simulate the scenario's sensor instead of driving /dev/ovfp0");
  auto *expect = command->add_option(
      "--expect", o->job.expected,
      "Line that the result log must hold, blanks not counted; else the exit status is 7");
  command->add_flag("--verdict", o->verdict, "As --expect \"" + std::string(kUsualVerdict) + "\"")
      ->excludes(expect);
  auto *repeat = command->add_option("--repeat", o->repeat, "Run so many times")
                     ->check(CLI::Range(uint32_t{1}, uint32_t{1000000}));
  command
      ->add_option("--record", o->job.recording,
                   "Record every event into this file, best named *.jsonl")
      ->excludes(repeat);
  command->add_option("--against", o->against,
                      "Compare the run with this recording; exit status 9 when an event differs");
  command->add_option("--trace", o->trace, "text, or json for the lines of a recording")
      ->check(CLI::IsMember({"text", "json"}));
  command->add_flag("--verbose", o->job.shown.verbose,
                    "Show the bytes of every request and command record");
  command->add_flag("-q,--quiet", o->job.shown.quiet, "Show the last line alone");
  command->add_flag(
      "--inspect", o->inspect,
      "Then measure the frame in the data file and draw its contact sheet into the folder");
  command->callback([o, &result] {
    if (o->verdict) o->job.expected = kUsualVerdict;
    o->job.shown.json = o->trace == "json";
    result = run(*o);
  });
}

}  // namespace tools
