// The sub-commands of orva-fp image.
#ifndef ORVA_TOOLS_IMAGE_IMAGE_COMMAND_H
#define ORVA_TOOLS_IMAGE_IMAGE_COMMAND_H

#include "tools/commands.h"
#include "tools/image/frame_file.h"

namespace tools {

// --width, --height and --bits of raw files.
void add_layout_options(CLI::App *command, raw_layout &layout);

// Each adds a sub-command that stores its outcome in result when it has run.
void add_inspect_command(CLI::App *image, exit_status &result);
void add_apply_command(CLI::App *image, exit_status &result);
void add_synth_command(CLI::App *image, exit_status &result);

}  // namespace tools

#endif
