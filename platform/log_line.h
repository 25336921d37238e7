// What every log call of the library passes: its tag and its level. Its line number is a constant
// too, and not __LINE__: the number stays when the call moves, and tells lines of one text apart.
#pragma once

#include <cstdint>

namespace orva {

inline constexpr char kLogTag[] = "(FPLOG)";

// Android log priorities. output_log does not write debug lines.
inline constexpr uint32_t kLogDebug = 3;
inline constexpr uint32_t kLogInfo = 4;
inline constexpr uint32_t kLogError = 6;

}  // namespace orva
