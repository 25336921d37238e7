// Takes the place of the system log in a test program: defines __android_log_print and keeps every
// line.
#pragma once

#include <string>
#include <vector>

namespace support {

struct log_line {
  int priority;
  std::string tag;
  std::string text;  // as it would stand in the log, with the blank and line feed where there are
  bool operator==(const log_line &) const = default;
};

// The lines since the start or the latest clear_log.
std::vector<log_line> log_lines();
void clear_log();

}  // namespace support
