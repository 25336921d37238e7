#include "simulator/ridge_frame.h"

#include <algorithm>
#include <cstdlib>

namespace simulator {

namespace {

// Lengths are in 1/16 pixel.
constexpr int64_t kUnit = 16;
constexpr int64_t kRidgePeriod = 9 * kUnit;
constexpr int64_t kBend = 11 * kUnit;  // how far the ridges leave their ellipses
constexpr int64_t kLattice = 24;       // pixels between the points that bend them

constexpr int64_t kRidgeGrey = 50;
constexpr int64_t kValleyGrey = 200;
constexpr int64_t kBackgroundGrey = 228;
constexpr int64_t kGrain = 4;

// The finger's outline in squared radii of the frame, and the width of its soft edge.
constexpr int64_t kOutline = 1000;
constexpr int64_t kSoftEdge = 160;

// 0 to 65535, evenly spread.
int64_t hash(uint32_t seed, int64_t x, int64_t y) {
  uint32_t h = seed * 0x9E3779B1u + static_cast<uint32_t>(x) * 0x85EBCA77u +
               static_cast<uint32_t>(y) * 0xC2B2AE3Du;
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return (h ^ (h >> 15)) & 0xFFFF;
}

int64_t blend(int64_t from, int64_t to, int64_t part, int64_t whole) {
  return from + (to - from) * part / whole;
}

// Without creases at the lattice points; -kBend to kBend.
int64_t bend(uint32_t seed, int64_t x, int64_t y) {
  constexpr int64_t kWhole = kLattice * kLattice * kLattice;
  const auto ease = [](int64_t t) { return t * t * (3 * kLattice - 2 * t); };
  const int64_t column = x / kLattice, row = y / kLattice;
  const auto along = [&](int64_t r) {
    return blend(hash(seed, column, r), hash(seed, column + 1, r), ease(x % kLattice), kWhole);
  };
  return (blend(along(row), along(row + 1), ease(y % kLattice), kWhole) - 0x8000) * kBend / 0x8000;
}

int64_t square_root(int64_t value) {
  int64_t root = 0;
  for (int64_t bit = int64_t{1} << 30; bit != 0; bit >>= 1) {
    if ((root + bit) * (root + bit) <= value) root += bit;
  }
  return root;
}

}  // namespace

std::vector<uint8_t> ridge_frame(uint32_t width, uint32_t height, uint32_t seed) {
  const int64_t w = width, h = height;
  const int64_t core_x = w / 2 + w * (hash(seed, -1, 0) - 0x8000) / 0x80000;
  const int64_t core_y = h * 5 / 8 + h * (hash(seed, 0, -1) - 0x8000) / 0x80000;
  std::vector<uint8_t> frame;
  frame.reserve(static_cast<size_t>(w * h));
  for (int64_t y = 0; y < h; ++y) {
    for (int64_t x = 0; x < w; ++x) {
      const int64_t dx = x - core_x, dy = y - core_y;
      const int64_t distance = square_root((dx * dx * 3 / 2 + dy * dy) * kUnit * kUnit);
      const int64_t phase = (distance + bend(seed, x, y) + kRidgePeriod * 2) % kRidgePeriod;
      const int64_t wave = std::abs(phase * 2 - kRidgePeriod);  // 0 on a ridge
      int64_t grey = blend(kRidgeGrey, kValleyGrey, wave, kRidgePeriod);

      const int64_t from_left = 2 * x + 1 - w, from_top = 2 * y + 1 - h;
      const int64_t radius =
          kOutline * from_left * from_left / (w * w) + kOutline * from_top * from_top / (h * h);
      const int64_t outside = std::clamp<int64_t>(radius - kOutline + kSoftEdge, 0, kSoftEdge);
      grey = blend(grey, kBackgroundGrey, outside, kSoftEdge);

      grey += hash(seed + 1, x, y) % (2 * kGrain + 1) - kGrain;
      frame.push_back(static_cast<uint8_t>(std::clamp<int64_t>(grey, 0, 255)));
    }
  }
  return frame;
}

}  // namespace simulator
