// Histogram equalisation, of the whole image or of all but its brightest pixels.
#include <array>
#include <cstddef>
#include <cstring>

#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

using histogram = std::array<uint32_t, 256>;
using level_map = std::array<uint8_t, 256>;

// Pixels are taken four at a time.
constexpr size_t kQuad = 4;

// Neighbouring pixels are mostly alike. They go into different tables, so that the second need not
// wait for the count that the first has just stored.
histogram count_levels(const uint8_t *image, size_t size) {
  histogram even{};
  histogram odd{};
  size_t i = 0;
  for (; i + kQuad <= size; i += kQuad) {
    uint32_t quad;
    memcpy(&quad, image + i, sizeof quad);
    ++even[quad & 0xFF];
    ++odd[quad >> 8 & 0xFF];
    ++even[quad >> 16 & 0xFF];
    ++odd[quad >> 24];
  }
  for (; i < size; ++i) ++even[image[i]];
  for (size_t level = 0; level < even.size(); ++level) even[level] += odd[level];
  return even;
}

// All four are looked up before the first is stored: a store might change the table for all that
// the compiler knows.
void map_levels(uint8_t *image, size_t size, const level_map &map) {
  size_t i = 0;
  for (; i + kQuad <= size; i += kQuad) {
    const uint8_t first = map[image[i]];
    const uint8_t second = map[image[i + 1]];
    const uint8_t third = map[image[i + 2]];
    const uint8_t fourth = map[image[i + 3]];
    image[i] = first;
    image[i + 1] = second;
    image[i + 2] = third;
    image[i + 3] = fourth;
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
  const size_t size = orva::plane(image, width, height).size();
  if (size == 0) return;
  equalise_below(image, size, count_levels(image, size), 256, static_cast<int64_t>(size));
}

void histeq_white(uint8_t *image, int32_t width, int32_t height, int32_t white_percent) {
  const size_t size = orva::plane(image, width, height).size();
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
