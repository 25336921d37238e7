// Generated frames for tests, fuzzers and benchmarks. Everything is a function of its arguments
// alone: the same frame on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

namespace support {

// A small, fast generator whose sequence is part of the tests (splitmix64).
class random_source {
 public:
  explicit random_source(uint64_t seed) : state_(seed) {}
  uint64_t next();
  uint32_t below(uint32_t bound);
  uint8_t byte() { return static_cast<uint8_t>(next()); }

 private:
  uint64_t state_;
};

struct frame_size {
  int32_t width;
  int32_t height;
  // None where a side is 0 or less or where there would be more than 2^31 - 1.
  size_t pixels() const {
    if (width <= 0 || height <= 0 || int64_t{width} * height > INT32_MAX) return 0;
    return static_cast<size_t>(width) * static_cast<size_t>(height);
  }
};

enum class pattern {
  kRandom,        // every level equally likely
  kNarrow,        // a few neighbouring levels
  kTwoLevel,      // 30 and 200 at random
  kConstant,      // one level
  kCheckerboard,  // 0 and 255
  kRamp,          // left to right through all levels
  kRidges,        // a fingerprint's ridges with a little noise
  kSaltPepper,    // ridges with isolated 0 and 255
  kFewLevels,     // few_levels again and again
  kMirrored,      // pairs of levels mirrored about the middle of the range, then that middle
  kBands,         // bright with one to three dark bands, about as long and wide as water's limits
};
inline constexpr const char *kPatternNames[] = {"random", "narrow", "two-level", "constant",
    "checkerboard", "ramp", "ridges", "salt-pepper", "few-levels", "mirrored", "bands"};
inline constexpr uint32_t kPatterns = std::size(kPatternNames);
inline const char *pattern_name(pattern kind) { return kPatternNames[static_cast<int>(kind)]; }

std::vector<uint8_t> make_frame(pattern kind, frame_size size, uint64_t seed);

// Runs of a few levels, many of them paired about a middle level: with as many pixels in either,
// scores of thresholds tie, or tie but for their rounding.
std::vector<uint8_t> few_levels(random_source &random);

// Mask bytes 0, 1, 2 and 255, about two thirds of them 0.
std::vector<uint8_t> make_mask(frame_size size, uint64_t seed);

}  // namespace support
