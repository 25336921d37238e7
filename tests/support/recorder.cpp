#include "support/recorder.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <list>
#include <map>
#include <sstream>
#include <utility>

#include <orva_fp/device.h>
#include <orva_fp/log.h>

#include "simulator/libc_front.h"
#include "support/libc_stand_ins.h"

namespace support {

namespace {

struct {
  std::string entries;
  short_forms forms;
  bool detailed = false;
  bool running = false;
  std::list<std::string> polls;  // answers still to be given
  std::list<bool> failures;      // of the coming calls of usleep and fopen
} journal;

std::string format_text(const char *format, va_list args) {
  char text[4096];
  vsnprintf(text, sizeof text, format, args);
  return text;
}

void note_command(const simulator::command &c) {
  std::string entry = text("%s %u", simulator::opcode_name(c.opcode()).c_str(), c.len());
  if (journal.detailed) {
    entry += text(" %u %u.%u.%u", c.speed_hz(), c.param()[0], c.param()[1], c.param()[2]);
    if (c.tx_buf() != 0) entry += " buffers";
  }
  note(entry + (c.error != 0 ? "!" : ""));
}

template <typename T>
T next(std::list<T> &values, T otherwise) {
  if (values.empty()) return otherwise;
  const T value = values.front();
  values.pop_front();
  return value;
}

void let_time_pass(int64_t us) {
  timespec &now = *libc().monotonic;
  const int64_t ns = now.tv_nsec + us * 1000;
  now = {now.tv_sec + ns / 1000000000, ns % 1000000000};
}

std::optional<int> note_call(const std::string &what) {
  const bool pause = what.starts_with("usleep ");
  const bool fails = !what.starts_with("remove ") && next(journal.failures, false);
  note(what + (fails ? "!" : ""));
  if (pause) let_time_pass(fails ? 2000 : std::stoll(what.substr(7)));
  if (fails) return pause ? EINTR : ENOSPC;
  return std::nullopt;
}

int answer_poll(pollfd *entry, nfds_t count, int limit_ms) {
  const std::string how = next(journal.polls, std::string("none"));
  const bool right = count == 1 && entry->fd == g_fp_device_handle && entry->events == POLLIN;
  note(text("poll %d %s", limit_ms, how.c_str()) + (right ? "" : " of something else"));
  static const std::map<std::string, short> events = {
      {"in", POLLIN}, {"both", POLLIN | POLLERR}, {"error", POLLERR | POLLHUP}};
  entry->revents = events.contains(how) ? events.at(how) : 0;
  if (how == "none") let_time_pass(int64_t{limit_ms} * 1000);
  if (how == "fails") let_time_pass(4000);
  errno = EINTR;
  return how == "fails" ? -1 : how != "none";
}

}  // namespace

std::string text(const char *format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = format_text(format, args);
  va_end(args);
  return text;
}

std::string lines(std::string entries) {
  for (size_t at; (at = entries.find(" | ")) != std::string::npos;) entries.replace(at, 3, "\n");
  return entries.empty() ? "" : entries + "\n";
}

void start_journal(const std::string &expected, bool detailed, short_forms forms) {
  journal = {.forms = std::move(forms), .detailed = detailed, .running = true};
  simulator::sensor_config sensor;
  std::map<uint8_t, uint32_t> commands;
  std::istringstream entries(expected);
  for (std::string entry; getline(entries, entry);) {
    const std::string name = entry.substr(0, entry.find(' '));
    const bool fails = entry.ends_with('!');
    if (const auto opcode = simulator::find_opcode(name)) {
      const uint32_t nth = ++commands[*opcode];
      // An interrupted command is not tried again either.
      if (fails) sensor.faults.push_back({*opcode, nth, EINTR});
    } else if (name == "poll") {
      journal.polls.push_back(entry.substr(entry.rfind(' ') + 1));
    } else if (name == "usleep" || name == "fopen") {
      journal.failures.push_back(fails);
    }
  }
  simulator::attach(sensor);
  simulator::observe(note_command);
  libc() = {};
  libc().note = note_call;
  libc().poll = answer_poll;
  libc().monotonic = timespec{1, 999000000};
}

std::string take_journal() { return std::exchange(journal.entries, ""); }

void note(const std::string &entry) {
  if (!journal.running) return;
  std::string shown = entry;
  for (const auto &[word, form] : journal.forms) {
    for (size_t at; (at = shown.find(word)) != std::string::npos;)
      shown.replace(at, word.size(), form);
  }
  journal.entries += shown + "\n";
}

void stop_journal() {
  journal = {};
  simulator::observe(nullptr);
  libc() = {};
}

}  // namespace support

void output_log(uint32_t level, const char *tag, const char *file, const char *function,
    int32_t line, const char *format, ...) {
  using support::journal;
  if (!journal.running) return;
  std::string entry = std::to_string(level) + ":";
  if (strcmp(tag, "(FPLOG)") != 0) entry += std::string(tag) + " ";
  if (strcmp(file, "orva_fp_normal_sensor_test") != 0) entry += std::string(file) + " ";
  if (strcmp(function, "orvaFpSensorTest") != 0) entry += std::string(function) + ":";
  va_list args;
  va_start(args, format);
  support::note(entry + std::to_string(line) + " " + support::format_text(format, args));
  va_end(args);
  errno = ENOTTY;  // as a log call may
}

void output_nw_orva_log(
    const char *file, const char *function, int32_t line, const char *format, ...) {
  if (!support::journal.detailed) return;
  std::string entry = strcmp(file, "orva_fp_normal") != 0 ? std::string(file) + " " : "";
  va_list args;
  va_start(args, format);
  support::note(
      entry + function + ":" + std::to_string(line) + " " + support::format_text(format, args));
  va_end(args);
}
