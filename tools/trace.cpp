#include "tools/trace.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/chrono.h>
#include <unistd.h>

#include <orva_fp/status.h>

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
  tools::print(stdout, "{:>11}  {}{:<14}  {}{}\n", time, start, label, text,
               start.empty() ? "" : "\033[0m");
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
  tools::print(stdout, "{}\n", simulator::line_of(events_.back()));
  flush_standard_output();
}

void trace::show(const simulator::exchange &e) {
  event(e.answer.failure != 0 ? look::kBad : look::kStrong,
        fmt::format("exchange {}", count<simulator::exchange>()), simulator::describe(e));
  bytes("request", {reinterpret_cast<const uint8_t *>(&e.request), sizeof e.request});
}

void trace::show(const simulator::command &c) {
  armed_ = simulator::armed_after(c, armed_);
  event(c.error != 0 ? look::kBad : look::kPlain, "command", simulator::describe(c));
  bytes("record", c.record);
  bytes("sent", c.sent);
  bytes("received", c.received);
}

void trace::show(const simulator::wait &w) {
  event(w.error != 0 ? look::kBad : look::kPlain, "wait", simulator::describe(w));
}

void trace::status(const std::string &what, int32_t status) {
  event(status == FP_OK ? look::kGood : look::kBad, what, named(status));
}

}  // namespace tools
