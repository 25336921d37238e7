// orva-fp sensor-test: runs of a script, with the secure side that a scenario plays, watched and
// judged.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <sys/file.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/scenario.h"
#include "tools/commands.h"
#include "tools/output_file.h"
#include "tools/result_files.h"
#include "tools/sensor_at_work.h"
#include "tools/simulation.h"
#include "tools/trace.h"

namespace tools {

namespace {

constexpr char kHelp[] =
    R"(Standard output shows, each with its time, every exchange with the secure side, every command to
the driver and every interrupt wait as they happen, then the status, the result log and the data
file, and last the result. On a terminal it is coloured (not with NO_COLOR set). The library's own
log lines, and all that is wrong, go to standard error.)";

constexpr char kUsualVerdict[] = "RESULT : PASS";

// What the callback returns to end a run that is to stop.
constexpr int32_t kStopRequested = -EINTR;

struct options {
  int32_t script = 0;
  std::string scenario_file, against_file;
  simulator::scenario scenario;
  std::string folder;  // of the result files
  std::string serial;
  bool simulated = false;
  trace_options shown;
  std::string record;                        // recording to write, none when empty
  std::vector<simulator::recorded> against;  // to compare with, unless empty
  std::string expected;                      // line of the result log, any when empty
  uint32_t repeat = 1;
  bool inspect = false;
};

std::string with_size(const std::filesystem::path &file) {
  std::error_code missing;
  const uintmax_t size = std::filesystem::file_size(file, missing);
  return missing ? "none" : fmt::format("{}, {} bytes", file.string(), size);
}

class sensor_test_run {
 public:
  explicit sensor_test_run(const options &o)
      : options_(o), secure_side_(o.scenario.steps), files_(o.folder, o.script), show_(o.shown) {
    if (!o.record.empty()) recording_.emplace(o.record);
  }

  // Returns how long it took, in milliseconds.
  double play() {
    const simulator::scenario &scenario = options_.scenario;
    show_.note("scenario", scenario.name + ": " + scenario.description);
    files_.remove_old();
    if (options_.simulated) sensor_ = &simulate(scenario.sensor);
    const auto show = [this](const auto &event) { show_.event(event); };
    simulator::observe(show, show);
    secure_side_.observe(show);

    show_.event(simulator::run_start{options_.script, options_.simulated, scenario.name});
    status_ =
        orvaFpSensorTest(options_.script, 0, 0, 0, request, this, 0, 0, options_.folder.c_str());
    simulator::observe(nullptr);
    orvaFpDeviceClose(std::exchange(g_fp_device_handle, 0));
    if (status_ == FP_ERR_NO_DEVICE) node_error_ = why_node_does_not_open();
    show_.event(simulator::run_end{status_, node_error_});
    const double milliseconds = show_.milliseconds();
    show_.status("status", status_);
    show_.note("result log", with_size(files_.log()));
    for (const std::string &line : files_.log_lines()) show_.note("", "| " + line);
    show_.note("data file", with_size(files_.data()));
    show_.note("total", fmt::format("{} exchanges, {} commands", show_.count<simulator::exchange>(),
                                    show_.count<simulator::command>()));
    return milliseconds;
  }

  // Tells all that is wrong; the status is that of the worst.
  exit_status judge() {
    exit_status status = kPass;
    const auto tell = [&](exit_status what, const std::string &text) {
      complain(text);
      if (status == kPass) status = what;
    };
    if (stop_signal() != 0) tell(kStopped, describe_stop(show_.interrupt_armed()));
    if (node_error_ != 0) complain(describe_node_error(node_error_));
    for (const std::string &problem : files_.problems()) tell(kBadOutput, problem);
    if (recording_) {
      // Not as it happens: the run would wait for the disk.
      try {
        for (const auto &e : show_.events()) recording_->write(simulator::line_of(e) + "\n");
        recording_->commit();
      } catch (const command_error &not_written) {
        tell(not_written.status, not_written.what());
      }
    }
    if (status != kStopped) {
      look_for_unexpected(
          [&](const std::string &what) { tell(kUnexpected, "unexpected: " + what); });
    }
    if (status == kPass && status_ != FP_OK) status = kFailingStatus;
    const auto &against = options_.against;
    const std::string difference =
        against.empty() ? "" : simulator::first_difference(against, show_.events());
    if (!difference.empty()) tell(kDiffers, "differs from the recording: " + difference);

    const std::string verdict = files_.verdict();
    std::string told = named(status_);
    if (!verdict.empty()) told += ", " + verdict;
    if (!options_.expected.empty() && !files_.log_has_line(options_.expected)) {
      told += fmt::format(", where \"{}\" was expected", options_.expected);
      if (status == kPass) status = kOtherVerdict;
    }
    const bool good = status == kPass && verdict.find("FAIL") == std::string::npos;
    show_.last_line(good, "result", told);
    return status;
  }

 private:
  static int32_t request(void *context, uint32_t command, const sensor_test_request *request,
                         uint32_t request_size, sensor_test_reply *reply, uint32_t *reply_size) {
    auto *self = static_cast<sensor_test_run *>(context);
    if (stop_signal() != 0) {
      self->show_.event(simulator::exchange{*request, {.failure = kStopRequested}});
      return kStopRequested;
    }
    const int32_t status = simulator::secure_side::request(&self->secure_side_, command, request,
                                                           request_size, reply, reply_size);
    if (status == 0) self->files_.expect(*reply);
    return status;
  }

  // Hands on what was not as the scenario says.
  void look_for_unexpected(const std::function<void(const std::string &)> &tell) const {
    const simulator::scenario &scenario = options_.scenario;
    std::ranges::for_each(secure_side_.problems(), tell);
    if (sensor_ != nullptr) {
      std::ranges::for_each(sensor_->problems(), tell);
      std::ranges::for_each(sensor_->unmet_faults(), tell);
      if (status_ != scenario.status) {
        tell(fmt::format("the run ended with {}, the scenario with {}", named(status_),
                         named(scenario.status)));
      }
    }
    if (status_ == FP_OK && !secure_side_.finished()) {
      tell(fmt::format("the run made {} requests, the scenario has {} steps",
                       secure_side_.requests().size(), scenario.steps.size()));
    }
  }

  const options &options_;
  const simulator::sensor_model *sensor_ = nullptr;  // the simulated one
  simulator::secure_side secure_side_;
  result_files files_;
  trace show_;
  std::optional<output_file> recording_;
  int32_t status_ = FP_OK;
  int node_error_ = 0;
};

// No other run uses the folder until this program ends.
void lock_folder(const std::string &folder) {
  const int handle = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool locked = handle != -1 && flock(handle, LOCK_EX | LOCK_NB) == 0;
  need(locked, kBadOutput, "output folder {}: {}", folder,
       errno == EWOULDBLOCK ? "another run uses it" : strerror(errno));
}

// The frame that the last step of the scenario sends, which is what the data file then holds.
simulator::frame_shape last_frame(const simulator::scenario &scenario) {
  return scenario.steps.empty() ? simulator::frame_shape{} : scenario.steps.back().frame;
}

void check(const options &o) {
  need(!o.inspect || last_frame(o.scenario).width != 0, kBadUsage,
       "scenario {} ends without a frame to inspect", o.scenario.name);
  need(!o.inspect || !o.shown.json, kBadUsage, "--inspect prints a table, which is no JSON");
  need(o.scenario.is_meant_for(o.script), kBadUsage, "scenario {} is not meant for script {}",
       o.scenario.name, o.script);
  need(o.expected.empty() || result_files(o.folder, o.script).has_log(), kBadUsage,
       "SNR1 saves no result log that could hold the text of --expect or --verdict");
}

// Every run, with a line that sums them up when there are several. The status is the first that is
// not a pass.
exit_status run_all(const options &o) {
  exit_status worst = kPass;
  std::vector<double> milliseconds;
  uint32_t passed = 0;
  while (milliseconds.size() < o.repeat && stop_signal() == 0) {
    sensor_test_run run(o);
    milliseconds.push_back(run.play());
    const exit_status status = run.judge();
    if (worst == kPass) worst = status;
    passed += status == kPass ? 1 : 0;
  }
  if (o.repeat == 1) return worst;
  const size_t runs = milliseconds.size();
  const auto [fastest, slowest] = std::minmax_element(milliseconds.begin(), milliseconds.end());
  trace(o.shown).last_line(
      passed == runs, "runs",
      fmt::format("{}, {} passed, {} failed, fastest {:.1f} ms, slowest {:.1f} ms", runs, passed,
                  runs - passed, *fastest, *slowest));
  return worst;
}

exit_status inspect_data([[maybe_unused]] const options &o) {
#ifdef ORVA_FP_IMAGE_COMMAND
  const auto [width, height] = last_frame(o.scenario);
  return inspect_data_file(o.folder, static_cast<int32_t>(width), static_cast<int32_t>(height));
#else
  throw command_error(kBadUsage, "--inspect: this build has no image sub-command");
#endif
}

exit_status run(options o) {
  o.scenario = simulator::load_scenario(o.scenario_file);
  if (!o.against_file.empty()) o.against = simulator::read_recording(o.against_file);
  check(o);
  if (o.simulated) simulate(o.scenario.sensor);

  prepare_output_folder(o.folder);
  if (!o.serial.empty()) prepare_output_folder(o.folder += "/" + o.serial);
  need(o.folder.size() <= SENSOR_TEST_FOLDER_LENGTH, kBadOutput,
       "output folder {}: the path is longer than {} characters", o.folder,
       int{SENSOR_TEST_FOLDER_LENGTH});
  lock_folder(o.folder);
  catch_stop_signals();
  const exit_status status = run_all(o);
  return status == kPass && o.inspect ? inspect_data(o) : status;
}

std::string check_serial(const std::string &name) {
  const bool plain = !name.empty() && name[0] != '.' &&
                     std::ranges::none_of(name, [](uint8_t c) { return c < ' ' || c == '/'; });
  return plain ? "" : "must be a plain file name that does not begin with a dot";
}

}  // namespace

void add_sensor_test_command(CLI::App &app, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *command = app.add_subcommand(
      "sensor-test", "Runs a sensor-test script against the secure side of a scenario");
  command->footer(std::string(kHelp) + "\n\n" + kExitStatuses);
  command
      ->add_option("--script", o->script,
                   "1000, 1003 normal scan; 1001, 1004 SNR1; 1002, 1005 SNR2")
      ->required()
      ->check(CLI::Range(ORVA_SCRIPT_NORMAL_SCAN, ORVA_SCRIPT_SNR2_VARIANT));
  command
      ->add_option("--scenario", o->scenario_file,
                   "Scenario (docs/scenarios.md) or, named *.jsonl, recording (docs/recordings.md)")
      ->required();
  command->add_option("--out", o->folder, "Folder of the result files; created if missing")
      ->required();
  command->add_option("--serial", o->serial, "Put the files into a folder of this name under --out")
      ->check(CLI::Validator(check_serial, "NAME"));
  command->add_flag("--simulate", o->simulated,
                    "Simulate the scenario's sensor instead of driving /dev/ovfp0");
  command->add_option(
      "--expect", o->expected,
      "Line that the result log must hold, blanks not counted; else the exit status is 7");
  command
      ->add_flag_callback(
          "--verdict", [o] { o->expected = kUsualVerdict; },
          "As --expect \"" + std::string(kUsualVerdict) + "\"")
      ->excludes("--expect");
  command->add_option("--repeat", o->repeat, "Run so many times")
      ->check(CLI::Range(uint32_t{1}, uint32_t{1000000}));
  command
      ->add_option("--record", o->record, "Record every event into this file, best named *.jsonl")
      ->excludes("--repeat");
  command->add_option("--against", o->against_file,
                      "Compare the run with this recording; exit status 9 when an event differs");
  command->add_option("--trace", o->shown.json, "text, or json for the lines of a recording")
      ->transform(CLI::Transformer(std::map<std::string, bool>{{"text", false}, {"json", true}}));
  command->add_flag("--verbose", o->shown.verbose,
                    "Show the bytes of every request and command record");
  command->add_flag("-q,--quiet", o->shown.quiet, "Show the last line alone");
  command->add_flag(
      "--inspect", o->inspect,
      "Then measure the frame in the data file and draw its contact sheet into the folder");
  command->callback([o, &result] { result = run(*o); });
}

}  // namespace tools
