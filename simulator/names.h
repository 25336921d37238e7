// Names that scenarios write: action codes, and statuses as the headers name them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

// "finish", "wait-interrupt", ... ; "code N" for a code that has no name.
std::string action_name(uint32_t code);
std::optional<uint32_t> find_action(std::string_view name);

// The status of a name such as "FP_ERR_DRIVER_IO".
std::optional<int32_t> find_status(std::string_view name);

}  // namespace simulator
