// The sub-commands of orva-fp image.
#pragma once

#include "tools/commands.h"
#include "tools/image/analysis.h"

namespace tools {

// A number whose default the help tells.
CLI::Option *add_number(CLI::App *command, const char *name, int32_t &to, const char *text,
                        int32_t low = INT32_MIN, int32_t high = INT32_MAX);

// --as, for output_format.
void add_format_option(CLI::App *command, std::string &format, const char *text);

// What raw files and 16-bit samples do not say themselves.
void add_layout_options(CLI::App *command, raw_layout &layout);

// These and what the measures depend on.
void add_frame_options(CLI::App *command, inspect_settings &settings);

// Each adds a sub-command that stores its outcome in result when it has run.
void add_inspect_command(CLI::App *image, exit_status &result);
void add_diff_command(CLI::App *image, exit_status &result);
void add_apply_command(CLI::App *image, exit_status &result);
void add_synth_command(CLI::App *image, exit_status &result);

}  // namespace tools
