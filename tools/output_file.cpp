#include "tools/output_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "tools/exit_status.h"

namespace tools {

namespace {

namespace fs = std::filesystem;

int standard_output_error = 0;  // of the first flush that failed

fs::path temporary_beside(const fs::path &file) {
  static std::atomic<unsigned> count;
  const std::string unique = std::to_string(getpid()) + "-" + std::to_string(++count);
  return file.parent_path() / (".orva-fp-" + unique + ".part");
}

[[noreturn]] void refuse(const std::string &name, int error = errno) {
  throw command_error(kBadOutput, name + ": " + strerror(error));
}

}  // namespace

output_file::output_file(const std::string &path) : name_(path == "-" ? "standard output" : path) {
  std::error_code none;
  final_ = fs::exists(path, none) ? fs::canonical(path, none) : fs::path(path);
  const fs::file_status old = fs::status(final_, none);
  const bool replaces = path != "-" && fs::exists(old);
  if (replaces && access(final_.c_str(), W_OK) != 0) refuse(name_);
  if (path == "-") {
    fflush(stdout);
    handle_ = dup(STDOUT_FILENO);
  } else if (replaces && !fs::is_regular_file(old)) {
    handle_ = open(final_.c_str(), O_WRONLY | O_CLOEXEC);
  } else {
    temporary_ = temporary_beside(final_);
    handle_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  }
  if (handle_ == -1) refuse(name_);
  if (replaces && !temporary_.empty()) fchmod(handle_, static_cast<mode_t>(old.permissions()));
}

output_file::~output_file() {
  if (handle_ != -1) close(handle_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void output_file::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(handle_, bytes.data(), bytes.size());
    if (written == -1 && errno == EINTR) continue;
    if (written == -1) refuse(name_);
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

void output_file::commit() {
  if (!temporary_.empty() && fsync(handle_) != 0) refuse(name_);
  if (close(std::exchange(handle_, -1)) != 0) refuse(name_);
  if (temporary_.empty()) return;
  if (rename(temporary_.c_str(), final_.c_str()) != 0) refuse(name_);
  temporary_.clear();
}

void write_output_file(const std::string &path, std::span<const uint8_t> bytes) {
  output_file file(path);
  file.write({reinterpret_cast<const char *>(bytes.data()), bytes.size()});
  file.commit();
}

void prepare_output_folder(const std::string &folder) {
  const bool there = mkdir(folder.c_str(), 0777) == 0 || errno == EEXIST;
  // With the slash only a folder is found.
  const bool usable = there && access((folder + "/").c_str(), W_OK | X_OK) == 0;
  need(usable, kBadOutput, "output folder {}: {}", folder, strerror(errno));
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
