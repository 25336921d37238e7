// How orva-fp ends.
#pragma once

#include <fmt/format.h>
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
  kOtherVerdict = 7,
  kStopped = 8,
  kDiffers = 9,
};

// The table of them all, for the help texts.
inline constexpr char kExitStatuses[] = R"(Exit status:
  0  all went well
  1  the run or an operation ended with a failing status
  2  bad arguments, or a scenario that is not meant for the script
  3  a scenario or recording cannot be read
  4  an output cannot be written or is not whole, or another run uses the folder
  5  the run was not as its scenario says
  6  a frame cannot be read
  7  the result log does not hold the text of --expect or --verdict
  8  stopped by SIGINT or SIGTERM
  9  the run differs from the recording of --against)";

// Ends the program with one line on standard error and an exit status.
struct command_error : std::runtime_error {
  command_error(exit_status s, const std::string &what) : std::runtime_error(what), status(s) {}
  const exit_status status;
};

// Ends the program with a reason unless it holds.
template <typename... Parts>
void need(bool holds, exit_status status, fmt::format_string<Parts...> reason, Parts &&...parts) {
  if (!holds) throw command_error(status, fmt::format(reason, std::forward<Parts>(parts)...));
}

}  // namespace tools
