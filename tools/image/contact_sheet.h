// Pictures of all that was found in a frame.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/image/analysis.h"

namespace tools {

// Of the contact sheet's panels, in their order.
std::vector<std::string> panel_names();

// Writes all panels or, larger and alone, the named one as PNG; throws command_error.
void write_contact_sheet(const std::filesystem::path &file, const std::string &title,
                         const analysis &a, const std::string &panel = "");

}  // namespace tools
