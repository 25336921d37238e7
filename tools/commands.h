// The sub-commands of orva-fp and what they have in common.
#ifndef ORVA_TOOLS_COMMANDS_H
#define ORVA_TOOLS_COMMANDS_H

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>

#include "simulator/scenario.h"

namespace tools {

// What the program ends with.
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

// Makes the lack of a sub-command an error; an unknown one is then reported by its name.
void need_subcommand(CLI::App *app);

// Each adds a sub-command that stores its outcome in result when it has run.
void add_sensor_test_command(CLI::App &app, exit_status &result);
void add_device_command(CLI::App &app, exit_status &result);
void add_image_command(CLI::App &app, exit_status &result);

}  // namespace tools

#endif
