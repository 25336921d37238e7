// The sub-commands of orva-fp and what they have in common.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/exit_status.h"

namespace tools {

// The program's own arguments, with a null at the end.
char **command_line();

// Makes the lack of a sub-command an error; an unknown one is then reported by its name.
void need_subcommand(CLI::App *app);

// Each adds a sub-command that stores its outcome in result when it has run.
void add_sensor_test_command(CLI::App &app, exit_status &result);
void add_device_command(CLI::App &app, exit_status &result);
void add_image_command(CLI::App &app, exit_status &result);

// orva-fp image inspect of the data file in a folder, with a contact sheet beside it.
exit_status inspect_data_file(const std::string &folder, int32_t width, int32_t height);

}  // namespace tools
