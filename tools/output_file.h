// How orva-fp writes a file: the whole of it or nothing.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <span>
#include <string>
#include <string_view>

namespace tools {

// The bytes go to a temporary name in the same folder, and commit gives them the file's name once
// all of them are on the disk. Without commit, or when something fails, the folder stays as it was.
// A path that is there and no regular file, such as a pipe, is written to as it is; "-" is standard
// output. Every failure throws a command_error with the path and the system's reason.
class output_file {
 public:
  explicit output_file(const std::string &path);
  output_file(const output_file &) = delete;
  output_file &operator=(const output_file &) = delete;
  ~output_file();

  void write(std::string_view bytes);
  void commit();

 private:
  const std::string name_;           // for messages
  std::filesystem::path final_;      // with its links followed
  std::filesystem::path temporary_;  // empty where the path is written to directly
  int handle_ = -1;
};

void write_output_file(const std::string &path, std::span<const uint8_t> bytes);

// Makes the folder when it is missing. Throws command_error when it cannot be made or written.
void prepare_output_folder(const std::string &folder);

// fmt::print throws when a stream fails; standard output is checked at the end.
template <typename... Parts>
void print(FILE *to, fmt::format_string<Parts...> pattern, Parts &&...parts) {
  fputs(fmt::format(pattern, std::forward<Parts>(parts)...).c_str(), to);
}

// A line on standard error.
inline void complain(const std::string &what) { print(stderr, "orva-fp: {}\n", what); }

// Standard output step by step, for a reader who follows it.
void flush_standard_output();

// Throws when something that was printed to standard output did not get there.
void check_standard_output();

}  // namespace tools
