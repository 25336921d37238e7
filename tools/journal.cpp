#include "tools/journal.h"

#include <ctime>
#include <fmt/chrono.h>

namespace tools {

namespace {

int64_t microseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

std::string wall_clock() {
  const int64_t now_us = microseconds(CLOCK_REALTIME);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(now_us / 1000000),
                     now_us % 1000000);
}

}  // namespace

journal::journal(trace &show, const std::string &recording)
    : show_(show), start_us_(microseconds(CLOCK_MONOTONIC)) {
  if (!recording.empty()) recording_ = std::make_unique<output_file>(recording);
}

void journal::add(const simulator::event &what) {
  events_.push_back(
      {.at_us = microseconds(CLOCK_MONOTONIC) - start_us_, .time = wall_clock(), .what = what});
  show_.event(what);
  if (recording_ || show_.shows_lines()) write(simulator::line_of(events_.back()));

  const auto *c = std::get_if<simulator::command>(&what);
  if (c != nullptr) armed_ = simulator::armed_after(*c, armed_);
}

void journal::write(const std::string &line) {
  show_.line_of_recording(line);
  try {
    if (recording_ && !failure_) recording_->write(line + "\n");
  } catch (const command_error &error) {
    failure_ = error;
  }
}

void journal::close() {
  if (failure_) throw *failure_;
  if (recording_) recording_->commit();
  recording_.reset();
}

}  // namespace tools
