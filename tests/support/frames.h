// Generated frames for tests, fuzzers and benchmarks. Everything is a function of its arguments
// alone: the same frame on every machine.
#ifndef ORVA_TESTS_FRAMES_H
#define ORVA_TESTS_FRAMES_H

#include <array>
#include <cstddef>
#include <cstdint>
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
  size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
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
  kDarkBands,     // bright with wide dark bands in rows and columns
};
inline constexpr std::array kPatterns = {
    pattern::kRandom,   pattern::kNarrow,       pattern::kTwoLevel,
    pattern::kConstant, pattern::kCheckerboard, pattern::kRamp,
    pattern::kRidges,   pattern::kSaltPepper,   pattern::kDarkBands};
const char *pattern_name(pattern kind);

std::vector<uint8_t> make_frame(pattern kind, frame_size size, uint64_t seed);

// Mask bytes 0, 1, 2 and 255, about two thirds of them 0.
std::vector<uint8_t> make_mask(frame_size size, uint64_t seed);

// Sizes from 1 x 1 to 300 x 200: single rows and columns, odd sizes, and widths around the lane
// counts of vector registers.
const std::vector<frame_size> &frame_sizes();

}  // namespace support

#endif
