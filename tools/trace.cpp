#include "tools/trace.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/chrono.h>
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

std::string wall_clock() {
  using namespace std::chrono;
  const auto now = floor<microseconds>(system_clock::now());
  return fmt::format("{:%FT%T}.{:06}Z", floor<seconds>(now), (now - floor<seconds>(now)).count());
}

// fmt's own print throws when a stream cannot be written.
void put(FILE *stream, const std::string &text) { fwrite(text.data(), 1, text.size(), stream); }

std::string describe(const simulator::exchange_step &answer) {
  if (answer.failure != 0) return fmt::format("callback fails with {}", answer.failure);
  std::string text = simulator::action_name(answer.result);
  if (answer.text.has_value()) text += fmt::format(", text {} bytes", answer.text->size());
  const auto data_len = answer.data_len.value_or(static_cast<int32_t>(answer.data.size()));
  if (data_len != 0) text += fmt::format(", data_len {}", data_len);
  if (answer.reply_size.has_value()) text += fmt::format(", reply_size {}", *answer.reply_size);
  return text;
}

std::string reason(int32_t error) { return error != 0 ? std::string(": ") + strerror(error) : ""; }

std::string describe(const simulator::wait &w) {
  constexpr const char *kOutcomes[] = {"interrupt", "time-out", "error event", "fails"};
  const bool event = w.outcome == simulator::wait_outcome::kErrorEvent;
  return kOutcomes[static_cast<size_t>(w.outcome)] + reason(w.error) +
         (event ? fmt::format(" {:#x}, no interrupt", w.events) : "");
}

}  // namespace

std::string named(int32_t status) {
  return fmt::format("{} ({})", orva_fp_status_name(status), status);
}

double trace::milliseconds() const {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_)
      .count();
}

void trace::print(look l, const std::string &time, const std::string &label,
                  const std::string &text) {
  constexpr const char *kStart[] = {"", "\033[1m", "\033[32m", "\033[1;31m"};
  static const bool coloured = wants_colour();
  const std::string start = coloured ? kStart[static_cast<size_t>(l)] : "";
  put(stdout, fmt::format("{:>11}  {}{:<14}  {}{}\n", time, start, label, text,
                          start.empty() ? "" : "\033[0m"));
  // In step with the log lines on standard error, and with a reader at the end of a pipe.
  flush_standard_output();
}

void trace::event(look l, const std::string &label, const std::string &text) {
  if (options_.quiet || options_.json) return;
  print(l, fmt::format("{:.1f} ms", milliseconds()), label, text);
}

void trace::note(const std::string &label, const std::string &text) {
  if (!options_.quiet && !options_.json) print(look::kPlain, "", label, text);
}

void trace::bytes(const std::string &label, std::span<const uint8_t> shown) {
  if (options_.verbose && !shown.empty()) note(label, fmt::format("{:02x}", fmt::join(shown, " ")));
}

void trace::last_line(bool good, const std::string &label, const std::string &text) {
  if (options_.json) return complain(label + ": " + text);
  print(good ? look::kGood : look::kBad, "", label, text);
}

void trace::event(const simulator::event &what) {
  const auto at_us = static_cast<int64_t>(1000 * milliseconds());
  events_.push_back({.at_us = at_us, .time = wall_clock(), .what = what});
  std::visit([this](const auto &e) { show(e); }, what);
  if (!options_.json) return;
  put(stdout, simulator::line_of(events_.back()) + "\n");
  flush_standard_output();
}

void trace::show(const simulator::exchange &e) {
  const sensor_test_request &request = e.request;
  event(e.answer.failure != 0 ? look::kBad : look::kStrong,
        fmt::format("exchange {}", count<simulator::exchange>()),
        fmt::format("script={} variant={} interrupt={} -> {}", request.script_id,
                    request.script_variant, request.interrupt_triggered, describe(e.answer)));
  bytes("request", {reinterpret_cast<const uint8_t *>(&request), sizeof request});
}

void trace::show(const simulator::command &c) {
  armed_ = simulator::armed_after(c, armed_);
  event(c.error != 0 ? look::kBad : look::kPlain, "command",
        simulator::describe(c) + reason(c.error));
  bytes("record", c.record);
  bytes("sent", c.sent);
  bytes("received", c.received);
}

void trace::show(const simulator::wait &w) {
  const std::string limit = w.limit_ms < 0 ? "none" : fmt::format("{} ms", w.limit_ms);
  event(w.error != 0 ? look::kBad : look::kPlain, "wait",
        fmt::format("limit={} -> {}", limit, describe(w)));
}

void trace::status(const std::string &what, int32_t status) {
  event(status == FP_OK ? look::kGood : look::kBad, what, named(status));
}

void complain(const std::string &what) { put(stderr, "orva-fp: " + what + "\n"); }

}  // namespace tools
