// What a command shows and records: a line for each event as it happens, and a last line that sums
// up. Colours only on a terminal.
#pragma once

#include <algorithm>
#include <chrono>
#include <span>
#include <string>

#include "simulator/recording.h"

namespace tools {

enum class look : uint8_t { kPlain, kStrong, kGood, kBad };

struct trace_options {
  bool verbose = false;  // the records' bytes as well
  bool quiet = false;    // the last line alone
  bool json = false;     // the lines of a recording; all else goes to standard error
};

// "FP_OK (0)"
std::string named(int32_t status);

class trace {
 public:
  // The options must outlive it.
  explicit trace(const trace_options &options) : options_(options) {}

  void event(const simulator::event &what);

  // What an operation ended with.
  void status(const std::string &what, int32_t status);

  // A line with or without a time.
  void event(look l, const std::string &label, const std::string &text);
  void note(const std::string &label, const std::string &text);
  void last_line(bool good, const std::string &label, const std::string &text);

  double milliseconds() const;
  const std::vector<simulator::recorded> &events() const { return events_; }
  template <typename T>
  auto count() const {
    const auto is_one = [](const simulator::event &e) { return std::holds_alternative<T>(e); };
    return std::ranges::count_if(events_, is_one, &simulator::recorded::what);
  }
  bool interrupt_armed() const { return armed_; }

 private:
  void show(const auto &) {}  // a start or an end
  void show(const simulator::exchange &e);
  void show(const simulator::command &c);
  void show(const simulator::wait &w);
  void bytes(const std::string &label, std::span<const uint8_t> shown);
  void print(look l, const std::string &time, const std::string &label, const std::string &text);

  const trace_options &options_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::vector<simulator::recorded> events_;
  bool armed_ = false;
};

}  // namespace tools
