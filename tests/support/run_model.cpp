#include "support/run_model.h"

#include <algorithm>

namespace support {

namespace {

// Script families: (script - 1000) % 3.
constexpr int32_t kNormalScan = 0;
constexpr int32_t kSnr1 = 1;
constexpr int32_t kSnr2 = 2;

constexpr size_t kLongestPath = 255;
constexpr size_t kLongestLog = 1023;
constexpr size_t kTextSize = 2048;
constexpr int32_t kDataSize = 512000;

bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }
bool begins_long_character(char byte) { return static_cast<unsigned char>(byte) >= 0xC0; }

// The longest beginning of at most room bytes that cuts no character of several bytes.
std::string cut(const std::string &text, size_t room) {
  if (text.size() <= room) return text;
  size_t start = room;
  while (start > 0 && room - start < 3 && continues_character(text[start])) --start;
  return text.substr(0, begins_long_character(text[start]) ? start : room);
}

bool fits(const std::string &folder, const char *name) {
  return (folder + "/" + name).size() <= kLongestPath;
}

}  // namespace

// The reply record as the callbacks so far have left it.
struct run_model::reply_state {
  uint32_t result = 37;
  std::string text;
  int32_t data_len = 0;
  uint8_t data_start = 0;
  uint32_t size = 514056;
};

void run_model::attach(const simulator::sensor_config &sensor) {
  sensor_ = sensor;
  sent_.clear();
  open_ = false;
}

run_outcome run_model::predict(const run_plan &run) {
  journal_.clear();
  waits_ = 0;
  const int32_t status = play(run);
  return {status, journal_, files_};
}

int32_t run_model::play(const run_plan &run) {
  if (run.null_folder) return 1;
  const std::string folder = stretched(folder_, run.folder_length);
  const bool known = run.script_id >= 1000 && run.script_id <= 1005;
  const int32_t family = (run.script_id - (known ? 1000 : run.script_id)) % 3;
  if (known) remove(folder, family == kNormalScan ? kNormalScanLog : kSnrLog);
  remove(folder, kDataFile);

  const int32_t opened = open_ ? 0 : open_driver();
  if (opened != 0 || !known) return opened;
  return exchange(run, family, folder);
}

int32_t run_model::open_driver() {
  if (sensor_.node != simulator::node_state::kPresent) return 210;
  open_ = true;
  if (!command(5, 1)) return 209;
  clock_hz_ = 12500000;
  return command(6, 0) ? 0 : 209;
}

int32_t run_model::exchange(const run_plan &run, int32_t family, const std::string &folder) {
  if (run.null_callback) return 35;
  int32_t triggered = 0;
  reply_state reply;
  for (size_t n = 0;; ++n) {
    journal_.push_back("request " + std::to_string(run.script_id) + " " +
                       std::to_string(triggered) + (run.script_id >= 1003 ? " 1" : " 0") +
                       " command 19 sizes 12 " + std::to_string(reply.size));
    if (n == run.replies.size()) return 35;
    const reply_plan &plan = run.replies[n];
    if (plan.failure != 0) return 35;
    if (!plan.silent) {
      reply.result = plan.result;
      reply.data_len = plan.data_len;
      reply.data_start = plan.data_start;
      reply.text = plan.text.substr(0, std::min(plan.text.find('\0'), kTextSize));
      reply.size = plan.reply_size.value_or(reply.size);
    }
    switch (reply.result) {
      case 0:
      case 35:
        if (family == kNormalScan) save(run, reply, kNormalScanLog, folder);
        if (family == kSnr2) save(run, reply, kSnrLog, folder);
        return 0;
      case 37:
        return 0;
      case 12:
        if (family == kNormalScan) break;
        if (const int32_t status = wait(run, family == kSnr1 ? 100 : 1000, &triggered)) {
          return status;
        }
        break;
      case 21:
        if (family == kNormalScan) reset();
        break;
      case 23:
        info_memory(true);
        break;
      case 24:
        if (family != kSnr1) info_memory(false);
        if (family != kSnr2) reset();
        break;
      case 41:
        if (family != kNormalScan) break;
        for (const uint32_t power : {0u, 1u}) {
          command(5, power);
          journal_.push_back("usleep 10000");
        }
        break;
      default:
        break;
    }
  }
}

bool run_model::command(uint8_t opcode, uint32_t len) {
  const uint32_t nth = ++sent_[opcode];
  const bool fails =
      std::any_of(sensor_.faults.begin(), sensor_.faults.end(), [&](const auto &fault) {
        return fault.opcode == opcode && (fault.nth == 0 || fault.nth == nth);
      });
  std::string entry = "command " + std::to_string(opcode) + " len " + std::to_string(len) + " hz " +
                      std::to_string(clock_hz_);
  for (const int param : params_) entry += " " + std::to_string(param);
  journal_.push_back(entry + (fails ? " fails" : ""));
  return !fails;
}

void run_model::info_memory(bool on) {
  clock_hz_ = on ? 3300000 : 12500000;
  if (command(6, 0)) command(7, on ? 0 : 1);
}

void run_model::reset() {
  if (command(4, 0)) journal_.push_back("usleep 15000");
}

int32_t run_model::wait(const run_plan &run, int32_t limit_ms, int32_t *triggered) {
  params_ = {4, 10, 1};
  if (!command(164, 1)) return 209;
  journal_.push_back("poll " + std::to_string(limit_ms));
  const wait_plan plan = waits_ < run.waits.size() ? run.waits[waits_] : wait_plan{};
  ++waits_;
  const bool came = plan.what == wait_plan::kind::kInterrupt && plan.delay_ms <= limit_ms;
  if (!command(165, 1)) return 209;
  *triggered = came ? 1 : 0;
  return 0;
}

void run_model::save(const run_plan &run, const reply_state &reply, const char *log,
                     const std::string &folder) {
  if (reply.data_len > 0) {
    const auto size = static_cast<size_t>(std::min(reply.data_len, kDataSize));
    write(run, folder, kDataFile, counting_bytes(reply.data_start, size));
  }
  const std::string date = run.no_date ? "Date: " : kRunDate;
  write(run, folder, log, date + cut(reply.text, kLongestLog - date.size()));
}

void run_model::remove(const std::string &folder, const char *name) {
  if (!fits(folder, name)) return;
  journal_.push_back("remove " + folder + "/" + name);
  files_.erase(name);
}

void run_model::write(const run_plan &run, const std::string &folder, const char *name,
                      std::string contents) {
  if (!fits(folder, name)) return;
  journal_.push_back("fopen " + folder + "/" + name + " wb");
  if (run.not_openable != name) files_[name] = std::move(contents);
}

}  // namespace support
