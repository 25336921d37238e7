// How orva-fp ends.
#ifndef ORVA_TOOLS_EXIT_STATUS_H
#define ORVA_TOOLS_EXIT_STATUS_H

#include <stdexcept>
#include <string>

namespace tools {

enum exit_status {
  kPass = 0,
  kFailingStatus = 1,
  kBadUsage = 2,
  kBadScenario = 3,
  kBadOutput = 4,
  kUnexpected = 5,
  kBadFrame = 6,
  kNotEvaluated = 7,
};

// Ends the program with one line on standard error and an exit status.
class command_error : public std::runtime_error {
 public:
  command_error(exit_status status, const std::string &what)
      : std::runtime_error(what), status_(status) {}
  exit_status status() const { return status_; }

 private:
  exit_status status_;
};

}  // namespace tools

#endif
