#include "support/frames.h"

#include <utility>

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

namespace {

// A triangle wave over a slanted phase: ridges without floating point.
uint32_t ridge(uint32_t x, uint32_t y, random_source &random) {
  const uint32_t phase = (x * 7 + y * 3 + (x * y) / 64) % 64;
  return 40 + (phase < 32 ? phase : 63 - phase) * 5 + random.below(9);
}

uint32_t pixel(pattern kind, uint32_t x, uint32_t y, uint8_t level, random_source &random) {
  switch (kind) {
    case pattern::kRandom:
      return random.byte();
    case pattern::kNarrow:
      return level / 2 + random.below(6);
    case pattern::kTwoLevel:
      return random.below(2) != 0 ? 200 : 30;
    case pattern::kCheckerboard:
      return (x + y) % 2 != 0 ? 255 : 0;
    case pattern::kRamp:
      return x + y;
    case pattern::kRidges:
      return ridge(x, y, random);
    case pattern::kSaltPepper: {
      const uint32_t plain = ridge(x, y, random);
      const uint32_t dice = random.below(50);
      return dice == 0 ? 0 : dice == 1 ? 255 : plain;
    }
    case pattern::kBands:
      return 190 + random.below(8);
    case pattern::kFewLevels:
    case pattern::kMirrored:
      return 127;
    case pattern::kConstant:
      break;
  }
  return level;
}

void mirror_half(std::vector<uint8_t> &frame, random_source &random) {
  for (size_t i = 0; i + 1 < frame.size() / 2; i += 2) {
    frame[i] = static_cast<uint8_t>(random.below(random.below(2) == 0 ? 100 : 20));
    frame[i + 1] = static_cast<uint8_t>(255 - frame[i]);
  }
}

void add_bands(std::vector<uint8_t> &frame, frame_size size, random_source &random) {
  if (frame.empty()) return;
  for (uint32_t bands = 1 + random.below(3); bands > 0; --bands) {
    uint32_t along = 30 + random.below(10);
    uint32_t across = 19 + random.below(5);
    if (random.below(2) == 0) std::swap(along, across);
    const int32_t left = static_cast<int32_t>(random.below(static_cast<uint32_t>(size.width))) - 3;
    const int32_t top = static_cast<int32_t>(random.below(static_cast<uint32_t>(size.height))) - 3;
    const uint8_t level =
        static_cast<uint8_t>(random.below(2) != 0 ? random.below(190) : 150 + random.below(40));
    for (size_t i = 0; i < frame.size(); ++i) {
      const auto x = static_cast<uint32_t>(static_cast<int32_t>(i) % size.width - left);
      const auto y = static_cast<uint32_t>(static_cast<int32_t>(i) / size.width - top);
      if (x < along && y < across) frame[i] = level;
    }
  }
  for (uint32_t specks = random.below(3); specks > 0; --specks) {
    frame[random.below(static_cast<uint32_t>(frame.size()))] = 255;
  }
}

}  // namespace

std::vector<uint8_t> make_frame(pattern kind, frame_size size, uint64_t seed) {
  random_source random(seed * 0x100 + static_cast<uint64_t>(kind));
  const uint8_t level = random.byte();
  std::vector<uint8_t> frame(size.pixels());
  const auto width = static_cast<uint32_t>(size.width);
  for (uint32_t i = 0; i < frame.size(); ++i) {
    frame[i] = static_cast<uint8_t>(pixel(kind, i % width, i / width, level, random));
  }
  if (kind == pattern::kFewLevels) {
    const std::vector<uint8_t> part = few_levels(random);
    for (size_t i = 0; i < frame.size(); ++i) frame[i] = part[i % part.size()];
  }
  if (kind == pattern::kMirrored) mirror_half(frame, random);
  if (kind == pattern::kBands) add_bands(frame, size, random);
  return frame;
}

std::vector<uint8_t> few_levels(random_source &random) {
  const uint32_t spread = 1 + random.below(random.below(3) == 0 ? 255 : 12);
  const uint32_t base = random.below(256 - spread);
  std::vector<uint8_t> pixels;
  for (uint32_t levels = 2 + random.below(5); levels > 0; --levels) {
    const size_t count = 1 + random.below(random.below(4) == 0 ? 40 : 3);
    const uint32_t offset = random.below(spread + 1);
    pixels.insert(pixels.end(), count, static_cast<uint8_t>(base + offset));
    if (random.below(2) == 0) {
      pixels.insert(pixels.end(), count, static_cast<uint8_t>(base + spread - offset));
    }
  }
  return pixels;
}

std::vector<uint8_t> make_mask(frame_size size, uint64_t seed) {
  static constexpr uint8_t kBytes[] = {0, 0, 0, 0, 0, 0, 1, 2, 255};
  random_source random(seed);
  std::vector<uint8_t> mask(size.pixels());
  for (uint8_t &byte : mask) byte = kBytes[random.below(sizeof kBytes)];
  return mask;
}

}  // namespace support
