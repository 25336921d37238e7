// The events of one sensor test: shown as they happen, and recorded or kept when asked for.
#ifndef ORVA_TOOLS_JOURNAL_H
#define ORVA_TOOLS_JOURNAL_H

#include <memory>
#include <optional>

#include "simulator/recording.h"
#include "tools/exit_status.h"
#include "tools/output_file.h"
#include "tools/trace.h"

namespace tools {

class journal {
 public:
  // Records into a file; none for an empty name.
  journal(trace &show, const std::string &recording);

  void add(const simulator::event &what);

  // Ends the recording. Throws when any of it could not be written: never before, as add is called
  // from within the library.
  void close();

  const std::vector<simulator::recorded> &events() const { return events_; }
  bool interrupt_armed() const { return armed_; }

 private:
  void write(const std::string &line);

  trace &show_;
  std::unique_ptr<output_file> recording_;
  std::optional<command_error> failure_;
  std::vector<simulator::recorded> events_;
  int64_t start_us_;
  bool armed_ = false;
};

}  // namespace tools

#endif
