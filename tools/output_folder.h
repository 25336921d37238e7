// The folder that a sub-command writes into.
#ifndef ORVA_TOOLS_OUTPUT_FOLDER_H
#define ORVA_TOOLS_OUTPUT_FOLDER_H

#include <string>

namespace tools {

// Makes the folder when it is missing. Throws command_error when it cannot be made or written.
void prepare_output_folder(const std::string &folder);

[[noreturn]] void refuse_output_folder(const std::string &folder, const std::string &why);

}  // namespace tools

#endif
