// A synthetic fingerprint: something to look at in a scenario's data block.
#pragma once

#include <cstdint>
#include <vector>

namespace simulator {

// 8-bit grey frame, row-major: dark ridges bent around a core, within the outline of a finger.
// Integer arithmetic throughout, so that a seed gives the same bytes on every machine.
std::vector<uint8_t> ridge_frame(uint32_t width, uint32_t height, uint32_t seed);

}  // namespace simulator
