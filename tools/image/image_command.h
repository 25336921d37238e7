// The sub-commands of orva-fp image.
#ifndef ORVA_TOOLS_IMAGE_IMAGE_COMMAND_H
#define ORVA_TOOLS_IMAGE_IMAGE_COMMAND_H

#include "tools/commands.h"
#include "tools/image/analysis.h"

namespace tools {

// What raw files do not say themselves.
void add_layout_options(CLI::App *command, raw_layout &layout);

// These and what the measures depend on.
void add_frame_options(CLI::App *command, inspect_settings &settings);

// Each adds a sub-command that stores its outcome in result when it has run.
void add_inspect_command(CLI::App *image, exit_status &result);
void add_diff_command(CLI::App *image, exit_status &result);
void add_apply_command(CLI::App *image, exit_status &result);
void add_synth_command(CLI::App *image, exit_status &result);

}  // namespace tools

#endif
