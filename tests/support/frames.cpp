#include "support/frames.h"

namespace support {

uint64_t random_source::next() {
  uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

uint32_t random_source::below(uint32_t bound) {
  return static_cast<uint32_t>(((next() >> 32) * bound) >> 32);
}

const char *pattern_name(pattern kind) {
  switch (kind) {
    case pattern::kRandom:
      return "random";
    case pattern::kNarrow:
      return "narrow";
    case pattern::kTwoLevel:
      return "two-level";
    case pattern::kConstant:
      return "constant";
    case pattern::kCheckerboard:
      return "checkerboard";
    case pattern::kRamp:
      return "ramp";
    case pattern::kRidges:
      return "ridges";
    case pattern::kSaltPepper:
      return "salt-pepper";
    case pattern::kDarkBands:
      return "dark-bands";
  }
  return "?";
}

namespace {

// A triangle wave over a slanted phase: ridges without floating point.
uint8_t ridge(int32_t x, int32_t y, random_source &random) {
  const int32_t phase = (x * 7 + y * 3 + (x * y) / 64) % 64;
  const int32_t wave = phase < 32 ? phase * 5 : (63 - phase) * 5;
  return static_cast<uint8_t>(40 + wave + static_cast<int32_t>(random.below(9)));
}

}  // namespace

std::vector<uint8_t> make_frame(pattern kind, frame_size size, uint64_t seed) {
  random_source random(seed * 0x100 + static_cast<uint64_t>(kind));
  const uint8_t level = random.byte();
  std::vector<uint8_t> frame(size.pixels());
  size_t index = 0;
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x, ++index) {
      uint8_t value = 0;
      switch (kind) {
        case pattern::kRandom:
          value = random.byte();
          break;
        case pattern::kNarrow:
          value = static_cast<uint8_t>(level / 2 + random.below(6));
          break;
        case pattern::kTwoLevel:
          value = random.below(2) != 0 ? 200 : 30;
          break;
        case pattern::kConstant:
          value = level;
          break;
        case pattern::kCheckerboard:
          value = ((x + y) & 1) != 0 ? 255 : 0;
          break;
        case pattern::kRamp:
          value = static_cast<uint8_t>(x + y);
          break;
        case pattern::kRidges:
          value = ridge(x, y, random);
          break;
        case pattern::kSaltPepper: {
          value = ridge(x, y, random);
          const uint32_t dice = random.below(50);
          if (dice == 0) value = 0;
          if (dice == 1) value = 255;
          break;
        }
        case pattern::kDarkBands: {
          const bool in_rows = (y / 26) % 2 == 0 && x % 50 > 4;
          const bool in_columns = (x / 31) % 2 == 1 && y % 47 < 40;
          value = static_cast<uint8_t>((in_rows || in_columns ? 20 : 190) + random.below(12));
          break;
        }
      }
      frame[index] = value;
    }
  }
  return frame;
}

std::vector<uint8_t> make_mask(frame_size size, uint64_t seed) {
  static constexpr uint8_t kBytes[] = {0, 0, 0, 0, 0, 0, 1, 2, 255};
  random_source random(seed);
  std::vector<uint8_t> mask(size.pixels());
  for (uint8_t &byte : mask) byte = kBytes[random.below(sizeof kBytes)];
  return mask;
}

const std::vector<frame_size> &frame_sizes() {
  static const std::vector<frame_size> sizes = {
      {1, 1},    {2, 1},    {1, 2},   {2, 2},   {3, 3},   {7, 1},   {1, 9},
      {5, 4},    {15, 3},   {16, 16}, {17, 5},  {31, 33}, {32, 7},  {33, 32},
      {47, 11},  {48, 3},   {58, 76}, {63, 64}, {64, 65}, {65, 63}, {103, 31},
      {129, 40}, {160, 33}, {255, 9}, {257, 5}, {1, 200}, {300, 1}, {300, 200}};
  return sizes;
}

}  // namespace support
