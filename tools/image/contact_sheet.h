// One picture of all that was found in a frame.
#ifndef ORVA_TOOLS_IMAGE_CONTACT_SHEET_H
#define ORVA_TOOLS_IMAGE_CONTACT_SHEET_H

#include <filesystem>
#include <string>

#include "tools/image/analysis.h"

namespace tools {

// Writes the sheet as PNG; throws frame_error.
void write_contact_sheet(const std::filesystem::path &file, const std::string &title,
                         const analysis &a, const inspect_settings &settings);

}  // namespace tools

#endif
