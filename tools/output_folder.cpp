#include "tools/output_folder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/exit_status.h"

namespace tools {

void refuse_output_folder(const std::string &folder, const std::string &why) {
  throw command_error(kBadOutput, "output folder " + folder + ": " + why);
}

void prepare_output_folder(const std::string &folder) {
  const auto refuse = [&](int error) { refuse_output_folder(folder, strerror(error)); };
  if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) refuse(errno);
  if (!std::filesystem::is_directory(folder)) refuse(ENOTDIR);
  if (access(folder.c_str(), W_OK | X_OK) != 0) refuse(errno);
}

}  // namespace tools
