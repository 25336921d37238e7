// Text for people: lines on the standard streams, and names in them.
#pragma once

#include <fmt/format.h>
#include <string>

#include "tools/output_file.h"

namespace tools {

// The name for standard input and output.
inline constexpr char kStandardStream[] = "-";

// Where lines go beside an output: not between its bytes.
inline FILE *lines_beside(const std::string &output) {
  return output == kStandardStream ? stderr : stdout;
}

// Control characters and bytes that are no UTF-8 are escaped.
inline std::string printable(const std::string &name) {
  if (name == kStandardStream) return "standard input";
  const std::string quoted = fmt::format("{:?}", name);
  return quoted.substr(1, quoted.size() - 2);
}

}  // namespace tools
