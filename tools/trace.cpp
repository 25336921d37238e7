#include "tools/trace.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <unistd.h>

#include <orva_fp/status.h>

#include "simulator/names.h"
#include "tools/output_file.h"

namespace tools {

namespace {

bool wants_colour() {
  const char *terminal = getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         strcmp(terminal, "dumb") != 0;
}

std::string hex(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    char digits[4];
    snprintf(digits, sizeof digits, "%02x ", byte);
    text += digits;
  }
  if (!text.empty()) text.pop_back();
  return text;
}

std::string describe(const simulator::exchange_step &answer) {
  if (answer.failure != 0) return "callback fails with " + std::to_string(answer.failure);
  std::string text = simulator::action_name(answer.result);
  if (answer.text.has_value()) text += ", text " + std::to_string(answer.text->size()) + " bytes";
  const auto data_len = answer.data_len.value_or(static_cast<int32_t>(answer.data.size()));
  if (data_len != 0) text += ", data_len " + std::to_string(data_len);
  if (answer.reply_size.has_value()) {
    text += ", reply_size " + std::to_string(*answer.reply_size);
  }
  return text;
}

}  // namespace

trace::trace(bool verbose) : verbose_(verbose), coloured_(wants_colour()) {}

void trace::print(look l, const std::string &time, const std::string &label,
                  const std::string &text) {
  constexpr const char *kStart[] = {"", "\033[1m", "\033[32m", "\033[1;31m"};
  const char *start = coloured_ ? kStart[static_cast<size_t>(l)] : "";
  printf("%11s  %s%-14s  %s%s\n", time.c_str(), start, label.c_str(), text.c_str(),
         *start != '\0' ? "\033[0m" : "");
  // In step with the log lines on standard error, and with a reader at the end of a pipe.
  flush_standard_output();
}

void trace::event(look l, const std::string &label, const std::string &text) {
  const std::chrono::duration<double, std::milli> passed =
      std::chrono::steady_clock::now() - start_;
  char time[32];
  snprintf(time, sizeof time, "%.1f ms", passed.count());
  print(l, time, label, text);
}

void trace::exchange(const simulator::exchange &e) {
  const sensor_test_request &request = e.request;
  event(e.answer.failure != 0 ? look::kBad : look::kStrong,
        "exchange " + std::to_string(++exchanges_),
        "script=" + std::to_string(request.script_id) +
            " variant=" + std::to_string(request.script_variant) + " interrupt=" +
            std::to_string(request.interrupt_triggered) + " -> " + describe(e.answer));
  if (!verbose_) return;
  const auto *bytes = reinterpret_cast<const uint8_t *>(&request);
  note("request", hex({bytes, sizeof request}));
}

void trace::command(const simulator::command &c) {
  ++commands_;
  const std::string reason = c.error != 0 ? std::string(": ") + strerror(c.error) : "";
  event(c.error != 0 ? look::kBad : look::kPlain, "command", simulator::describe(c) + reason);
  if (verbose_) note("record", hex(c.record));
}

bool trace::status(const std::string &what, int32_t status) {
  event(status == FP_OK ? look::kGood : look::kBad, what,
        std::string(orva_fp_status_name(status)) + " (" + std::to_string(status) + ")");
  return status == FP_OK;
}

void trace::unexpected(const std::string &what) { event(look::kBad, "unexpected", what); }

void trace::note(const std::string &label, const std::string &text) {
  print(look::kPlain, "", label, text);
}

}  // namespace tools
