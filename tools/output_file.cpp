#include "tools/output_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/exit_status.h"

namespace tools {

namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFileMode = 0666;

int standard_output_error = 0;  // of the first flush that failed

std::string temporary_name(const std::string &path) {
  static std::atomic<unsigned> count;
  const std::string name =
      ".orva-fp-" + std::to_string(getpid()) + "-" + std::to_string(++count) + ".part";
  return (fs::path(path).parent_path() / name).string();
}

[[noreturn]] void refuse(const std::string &name, int error) {
  throw command_error(kBadOutput, name + ": " + strerror(error));
}

}  // namespace

output_file::output_file(const std::string &path) : path_(path), final_(path) {
  if (path == "-") {
    fflush(stdout);
    handle_ = dup(STDOUT_FILENO);
    if (handle_ == -1) fail(errno);
    return;
  }
  std::error_code none;
  const fs::path target = fs::canonical(path, none);
  if (!none) final_ = target.string();

  struct stat old {};
  const bool replaces = stat(final_.c_str(), &old) == 0;
  if (replaces && access(final_.c_str(), W_OK) != 0) fail(errno);
  if (replaces && !S_ISREG(old.st_mode)) {
    handle_ = open(final_.c_str(), O_WRONLY | O_CLOEXEC);
  } else {
    temporary_ = temporary_name(final_);
    handle_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode);
  }
  if (handle_ == -1) {
    const int error = errno;
    temporary_.clear();
    fail(error);
  }
  if (replaces && !temporary_.empty()) fchmod(handle_, old.st_mode & 07777);
}

output_file::~output_file() {
  if (handle_ != -1) close(handle_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void output_file::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(handle_, bytes.data(), bytes.size());
    if (written == -1 && errno == EINTR) continue;
    if (written == -1) fail(errno);
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

void output_file::commit() {
  if (!temporary_.empty() && fsync(handle_) != 0) fail(errno);
  const int closed = close(handle_);
  handle_ = -1;
  if (closed != 0) fail(errno);
  if (temporary_.empty()) return;
  if (rename(temporary_.c_str(), final_.c_str()) != 0) fail(errno);
  temporary_.clear();
}

void output_file::fail(int error) const { refuse(path_ == "-" ? "standard output" : path_, error); }

void write_output_file(const std::string &path, std::span<const uint8_t> bytes) {
  output_file file(path);
  file.write({reinterpret_cast<const char *>(bytes.data()), bytes.size()});
  file.commit();
}

void refuse_output_folder(const std::string &folder, const std::string &why) {
  throw command_error(kBadOutput, "output folder " + folder + ": " + why);
}

void prepare_output_folder(const std::string &folder) {
  const auto refuse_for = [&](int error) { refuse_output_folder(folder, strerror(error)); };
  std::error_code none;
  if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) refuse_for(errno);
  if (!fs::is_directory(folder, none)) refuse_for(ENOTDIR);
  if (access(folder.c_str(), W_OK | X_OK) != 0) refuse_for(errno);
}

void flush_standard_output() {
  if (fflush(stdout) != 0 && standard_output_error == 0) standard_output_error = errno;
}

void check_standard_output() {
  flush_standard_output();
  if (standard_output_error == 0 && ferror(stdout) != 0) standard_output_error = EIO;
  if (standard_output_error != 0) refuse("standard output", standard_output_error);
}

}  // namespace tools
