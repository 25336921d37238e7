// The live trace on standard output: a line for each event, as it happens. Colours only on a
// terminal.
#ifndef ORVA_TOOLS_TRACE_H
#define ORVA_TOOLS_TRACE_H

#include <chrono>
#include <string>

#include "simulator/secure_side.h"
#include "simulator/sensor_model.h"

namespace tools {

class trace {
 public:
  explicit trace(bool verbose);

  // What the secure side was asked and answers.
  void exchange(const simulator::exchange &e);

  // What the driver was sent and answers. With verbose, the record's bytes too.
  void command(const simulator::command &c);

  // What an operation or the run ended with; returns whether it is FP_OK.
  bool status(const std::string &what, int32_t status);

  // Something that should not have been.
  void unexpected(const std::string &what);

  // A line without a time.
  void note(const std::string &label, const std::string &text);

  size_t exchanges() const { return exchanges_; }
  size_t commands() const { return commands_; }

 private:
  enum class look : uint8_t { kPlain, kStrong, kGood, kBad };
  void event(look l, const std::string &label, const std::string &text);
  void print(look l, const std::string &time, const std::string &label, const std::string &text);

  const bool verbose_;
  const bool coloured_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  size_t exchanges_ = 0;
  size_t commands_ = 0;
};

}  // namespace tools

#endif
