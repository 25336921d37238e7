#include "tools/sensor_test_run.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "tools/result_files.h"
#include "tools/sensor_at_work.h"
#include "tools/simulation.h"

namespace tools {

namespace {

namespace fs = std::filesystem;

// What the callback returns to end a run that is to stop.
constexpr int32_t kStopRequested = -EINTR;

class sensor_test_run {
 public:
  sensor_test_run(const sensor_test_job &job, const simulator::scenario &scenario)
      : job_(job),
        scenario_(scenario),
        secure_side_(scenario.steps),
        files_(job.folder, job.script),
        show_(job.shown, job.recording) {}

  void play();
  double show_results();
  exit_status judge(const std::vector<simulator::recorded> &against);

 private:
  static int32_t request(void *context, uint32_t command, const sensor_test_request *request,
                         uint32_t request_size, sensor_test_reply *reply, uint32_t *reply_size);
  std::vector<std::string> problems() const;

  const sensor_test_job &job_;
  const simulator::scenario &scenario_;
  simulator::secure_side secure_side_;
  result_files files_;
  trace show_;
  int32_t status_ = FP_OK;
  int node_error_ = 0;
};

int32_t sensor_test_run::request(void *context, uint32_t command,
                                 const sensor_test_request *request, uint32_t request_size,
                                 sensor_test_reply *reply, uint32_t *reply_size) {
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

void sensor_test_run::play() {
  show_.note("scenario", scenario_.name + ": " + scenario_.description);
  files_.remove_old();
  if (job_.simulated) simulate(scenario_.sensor);
  simulator::observe([this](const simulator::command &c) { show_.event(c); });
  simulator::observe_waits([this](const simulator::wait &w) { show_.event(w); });
  secure_side_.observe([this](const simulator::exchange &e) { show_.event(e); });

  show_.event(simulator::run_start{job_.script, job_.simulated, scenario_.name});
  status_ = orvaFpSensorTest(job_.script, 0, 0, 0, request, this, 0, 0, job_.folder.c_str());
  simulator::observe(nullptr);
  simulator::observe_waits(nullptr);
  orvaFpDeviceClose(g_fp_device_handle);
  g_fp_device_handle = 0;
  if (status_ == FP_ERR_NO_DEVICE) node_error_ = why_node_does_not_open();
  show_.event(simulator::run_end{status_, node_error_});
}

// What was not as the scenario says.
std::vector<std::string> sensor_test_run::problems() const {
  std::vector<std::string> found = secure_side_.problems();
  if (job_.simulated) {
    const std::vector<std::string> wrong = simulation_problems();
    found.insert(found.end(), wrong.begin(), wrong.end());
    if (status_ != scenario_.status) {
      found.push_back(fmt::format("the run ended with {}, the scenario with {}", named(status_),
                                  named(scenario_.status)));
    }
  }
  if (status_ == FP_OK && !secure_side_.finished()) {
    found.push_back(fmt::format("the run made {} requests, the scenario has {} steps",
                                secure_side_.requests().size(), scenario_.steps.size()));
  }
  return found;
}

std::string with_size(const fs::path &file) {
  std::error_code missing;
  const uintmax_t size = fs::file_size(file, missing);
  return missing ? "none" : fmt::format("{}, {} bytes", file.string(), size);
}

// Returns how long the run took, in milliseconds.
double sensor_test_run::show_results() {
  const double milliseconds = show_.milliseconds();
  show_.status("status", status_);
  show_.note("result log", with_size(files_.log()));
  std::ifstream log(files_.log());
  for (std::string line; std::getline(log, line);) show_.note("", "| " + line);
  show_.note("data file", with_size(files_.data()));
  show_.note("total", fmt::format("{} exchanges, {} commands", show_.count<simulator::exchange>(),
                                  show_.count<simulator::command>()));
  show_.close_recording();
  return milliseconds;
}

// Tells all that is wrong; the status is that of the worst.
exit_status sensor_test_run::judge(const std::vector<simulator::recorded> &against) {
  exit_status status = kPass;
  const auto tell = [&](exit_status what, const std::string &text) {
    complain(text);
    if (status == kPass) status = what;
  };
  if (stop_signal() != 0) tell(kStopped, describe_stop(show_.interrupt_armed()));
  if (node_error_ != 0) complain(describe_node_error(node_error_));
  for (const std::string &problem : files_.problems()) tell(kBadOutput, problem);
  if (status != kStopped) {
    for (const std::string &problem : problems()) tell(kUnexpected, "unexpected: " + problem);
  }
  if (status == kPass && status_ != FP_OK) status = kFailingStatus;
  const std::string difference =
      against.empty() ? "" : simulator::first_difference(against, show_.events());
  if (!difference.empty()) tell(kDiffers, "differs from the recording: " + difference);

  const std::string verdict = files_.verdict();
  std::string told = named(status_);
  if (!verdict.empty()) told += ", " + verdict;
  const bool as_expected = job_.expected.empty() || files_.log_has_line(job_.expected);
  if (!as_expected) {
    told += fmt::format(", where \"{}\" was expected", job_.expected);
    if (status == kPass) status = kOtherVerdict;
  }
  const bool failed = status != kPass || verdict.find("FAIL") != std::string::npos;
  show_.last_line(failed ? look::kBad : look::kGood, "result", told);
  return status;
}

}  // namespace

exit_status run_sensor_test(const sensor_test_job &job, const simulator::scenario &scenario,
                            const std::vector<simulator::recorded> &against, double &milliseconds) {
  sensor_test_run run(job, scenario);
  run.play();
  milliseconds = run.show_results();
  return run.judge(against);
}

}  // namespace tools
