// What a command shows: a line for each event as it happens, and a last line that sums up. Colours
// only on a terminal.
#ifndef ORVA_TOOLS_TRACE_H
#define ORVA_TOOLS_TRACE_H

#include <chrono>
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
  explicit trace(const trace_options &options);

  void event(const simulator::event &e);
  bool shows_lines() const { return options_.json; }
  void line_of_recording(const std::string &line);

  // What an operation ended with; returns whether it is FP_OK.
  bool status(const std::string &what, int32_t status);
  // The first that was not FP_OK, with its operation.
  std::string worst() const;

  // A line with or without a time.
  void event(look l, const std::string &label, const std::string &text);
  void note(const std::string &label, const std::string &text);

  void last_line(look l, const std::string &label, const std::string &text);

  double milliseconds() const;
  size_t exchanges() const { return exchanges_; }
  size_t commands() const { return commands_; }

 private:
  void show(const simulator::run_start &) {}
  void show(const simulator::run_end &) {}
  void show(const simulator::exchange &e);
  void show(const simulator::command &c);
  void show(const simulator::wait &w);
  void print(look l, const std::string &time, const std::string &label, const std::string &text);

  const trace_options options_;
  const bool coloured_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::string worst_;
  size_t exchanges_ = 0;
  size_t commands_ = 0;
};

// A line on standard error, in step with standard output.
void complain(const std::string &what);

}  // namespace tools

#endif
