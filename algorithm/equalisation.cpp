// Histogram equalisation, of the whole image or of all but its brightest pixels.
#include <array>
#include <cstddef>
#include <cstring>

#include "orva_fp/image.h"

namespace {

using histogram = std::array<uint32_t, 256>;
using level_map = std::array<uint8_t, 256>;

constexpr size_t kWord = sizeof(uint64_t);

uint64_t load_word(const uint8_t *bytes) {
  uint64_t word;
  memcpy(&word, bytes, sizeof word);
  return word;
}

// Neighbouring pixels are mostly alike. They go into different tables, so that the second need not
// wait for the count that the first has just stored.
histogram count_levels(const uint8_t *image, size_t size) {
  histogram even{};
  histogram odd{};
  size_t i = 0;
  for (; i + kWord <= size; i += kWord) {
    uint64_t word = load_word(image + i);
    for (size_t k = 0; k < kWord; k += 2, word >>= 16) {
      ++even[word & 0xFF];
      ++odd[(word >> 8) & 0xFF];
    }
  }
  for (; i < size; ++i) ++even[image[i]];
  for (size_t level = 0; level < even.size(); ++level) even[level] += odd[level];
  return even;
}

void map_levels(uint8_t *image, size_t size, const level_map &map) {
  std::array<uint16_t, 256> shifted;
  for (size_t level = 0; level < map.size(); ++level) {
    shifted[level] = static_cast<uint16_t>(map[level] << 8);
  }
  size_t i = 0;
  for (; i + kWord <= size; i += kWord) {
    const uint64_t word = load_word(image + i);
    uint64_t mapped = 0;
    for (size_t k = 0; k < 64; k += 16) {
      const uint64_t pair =
          static_cast<uint64_t>(map[(word >> k) & 0xFF]) | shifted[(word >> (k + 8)) & 0xFF];
      mapped |= pair << k;
    }
    memcpy(image + i, &mapped, sizeof mapped);
  }
  for (; i < size; ++i) image[i] = map[image[i]];
}

// Spreads the levels below the cut, which hold at most spread pixels, over 0 to 255.
void equalise_below(uint8_t *image, size_t size, const histogram &counts, size_t cut,
                    int64_t spread) {
  level_map map;
  int64_t cumulative = 0;
  for (size_t level = 0; level < map.size(); ++level) {
    cumulative += counts[level];
    map[level] = static_cast<uint8_t>(level < cut ? (255 * cumulative + spread / 2) / spread
                                                  : static_cast<int64_t>(level));
  }
  map_levels(image, size, map);
}

}  // namespace

void histeq(uint8_t *image, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height);
  equalise_below(image, size, count_levels(image, size), 256, static_cast<int64_t>(size));
}

void histeq_white(uint8_t *image, int32_t width, int32_t height, int32_t white_percent) {
  if (width <= 0 || height <= 0) return;
  const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height);
  const int64_t pixels = static_cast<int64_t>(size);
  const int64_t white = pixels * white_percent / 100;
  // Above 100 percent there are not enough pixels for any cut.
  if (white >= pixels) return;
  const histogram counts = count_levels(image, size);
  // The highest level that at least white pixels reach or exceed keeps its value, like all above.
  size_t cut = 255;
  for (int64_t left = white - counts[cut]; left > 0; left -= counts[cut]) --cut;
  equalise_below(image, size, counts, cut, pixels - white);
}

void OVHistEqW(uint8_t *image, int32_t width, int32_t height, int32_t white_percent) {
  histeq_white(image, width, height, white_percent);
}
