#include "support/session_player.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <unistd.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "support/libc_stand_ins.h"
#include "support/log_capture.h"

namespace support {

namespace {

// The run in progress, for the callback and the stand-in for poll.
const run_plan *current = nullptr;
size_t requests = 0;
size_t waits = 0;
std::vector<std::string> journal;

int32_t answer(void *context, uint32_t command, const sensor_test_request *request,
               uint32_t request_size, sensor_test_reply *reply, uint32_t *reply_size) {
  journal.push_back("request " + std::to_string(request->script_id) + " " +
                    std::to_string(request->interrupt_triggered) + " " +
                    std::to_string(request->script_variant) + " command " +
                    std::to_string(command) + " sizes " + std::to_string(request_size) + " " +
                    std::to_string(*reply_size));
  if (context != &journal) journal.push_back("wrong context");
  if (requests == current->replies.size()) return -1;
  const reply_plan &plan = current->replies[requests++];
  if (plan.failure != 0 || plan.silent) return plan.failure;
  reply->result = plan.result;
  reply->data_len = plan.data_len;
  memcpy(reply->result_text, plan.text.c_str(),
         std::min(plan.text.size() + 1, sizeof reply->result_text));
  const auto data_size =
      static_cast<size_t>(std::clamp(plan.data_len, 0, int32_t{SENSOR_TEST_DATA_SIZE}));
  const std::string data = counting_bytes(plan.data_start, data_size);
  memcpy(reply->data, data.data(), data.size());
  if (plan.reply_size.has_value()) *reply_size = *plan.reply_size;
  return 0;
}

void note_command(const simulator::command &c) {
  std::string entry = "command " + std::to_string(c.opcode()) + " len " + std::to_string(c.len()) +
                      " hz " + std::to_string(c.speed_hz());
  for (const uint8_t param : c.param()) entry += " " + std::to_string(param);
  journal.push_back(entry + (c.error != 0 ? " fails" : ""));
}

constexpr const char *kFiles[] = {kNormalScanLog, kSnrLog, kDataFile};

// The result files of a folder.
std::map<std::string, std::string> files_of(const std::string &folder) {
  std::map<std::string, std::string> files;
  for (const char *name : kFiles) {
    const std::string path = folder + "/" + name;
    FILE *file = fopen64(path.c_str(), "rb");
    if (file == nullptr) continue;
    std::string contents(std::filesystem::file_size(path), '\0');
    contents.resize(fread(contents.data(), 1, contents.size(), file));
    fclose(file);
    files[name] = contents;
  }
  return files;
}

std::string describe(const run_outcome &outcome) {
  std::string text = "status " + std::to_string(outcome.status) + "\n";
  for (const std::string &entry : outcome.journal) text += "  " + entry + "\n";
  for (const auto &[name, contents] : outcome.files) {
    const size_t tail = contents.size() - std::min<size_t>(contents.size(), 40);
    text += "  " + name + " " + std::to_string(contents.size()) + " bytes, sum " +
            std::to_string(std::hash<std::string>()(contents)) + " ..." + contents.substr(tail) +
            "\n";
  }
  return text;
}

void close_driver() {
  orvaFpDeviceClose(g_fp_device_handle);
  g_fp_device_handle = 0;
}

// Gives the command record the contents that the library is loaded with.
void restore_record() {
  simulator::attach({});
  orvaFpDeviceOpen(&g_fp_device_handle);
  static constexpr uint8_t kNoParams[3] = {};
  orva_call_driver(g_fp_device_handle, 0, nullptr, 0, nullptr, kNoParams, 12500000);
  close_driver();
}

// Waits take no time: each ends at once as the run's plan says.
int answer_poll(pollfd *entries, nfds_t count, int limit_ms) {
  journal.push_back("poll " + std::to_string(limit_ms));
  if (count != 1 || entries->fd != g_fp_device_handle || entries->events != POLLIN) {
    journal.push_back("poll of something else");
  }
  const auto &plans = current->waits;
  const wait_plan plan = waits < plans.size() ? plans[waits] : wait_plan{};
  ++waits;
  entries->revents = 0;
  switch (plan.what) {
    case wait_plan::kind::kErrorEvent:
      entries->revents = POLLERR | POLLHUP;
      return 1;
    case wait_plan::kind::kPollFails:
      errno = EINTR;
      return -1;
    case wait_plan::kind::kInterrupt:
      break;
  }
  if (plan.delay_ms > limit_ms) return 0;
  entries->revents = POLLIN;
  return 1;
}

}  // namespace

session_player::session_player(std::string folder) : folder_(std::move(folder)), model_(folder_) {
  pause_log_capture(true);
  restore_record();
  for (const char *name : kFiles) unlink((folder_ + "/" + name).c_str());
  simulator::observe(note_command);
}

session_player::~session_player() {
  close_driver();
  simulator::observe(nullptr);
  simulator::detach();
  libc() = {};
  std::vector<std::string>().swap(journal);
  pause_log_capture(false);
}

std::string session_player::play(const session_plan &session, std::map<int32_t, int> *statuses) {
  close_driver();
  simulator::attach(session.sensor);
  model_.attach(session.sensor);
  for (const run_plan &plan : session.runs) {
    const run_outcome expected = model_.predict(plan);
    const run_outcome actual = run(plan);
    if (actual != expected) {
      return "expected " + describe(expected) + "actual " + describe(actual);
    }
    if (statuses != nullptr) ++(*statuses)[actual.status];
  }
  std::string problems;
  for (const std::string &problem : simulator::sensor().problems()) problems += problem + "\n";
  close_driver();
  return problems;
}

run_outcome session_player::run(const run_plan &plan) {
  const std::string folder = stretched(folder_, plan.folder_length);
  current = &plan;
  requests = waits = 0;
  journal.clear();
  libc() = {};
  libc().note = [](const std::string &what) { journal.push_back(what); };
  libc().now = kRunTime;
  libc().poll = answer_poll;
  libc().gmtime_fails = plan.no_date;
  if (!plan.not_openable.empty()) {
    libc().fopen_fails_for = folder + "/" + plan.not_openable;
    libc().fopen_error = EACCES;
  }
  const int32_t status =
      orvaFpSensorTest(plan.script_id, 0, 0, 0, plan.null_callback ? nullptr : answer, &journal, 0,
                       0, plan.null_folder ? nullptr : folder.c_str());
  libc() = {};
  current = nullptr;
  return {status, journal, files_of(folder_)};
}

}  // namespace support
