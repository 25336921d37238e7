// Histogram equalisation, of the whole image or of all but its brightest pixels.
#include <array>
#include <cstddef>
#include <cstring>

#include "algorithm/block_walk.h"
#include "algorithm/bytes.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

using histogram = std::array<uint32_t, 256>;
using level_map = std::array<uint8_t, 256>;

// Pixels are taken so many at a time.
constexpr size_t kBlock = 16;
constexpr size_t kQuad = 4;

bool has_one_level(const uint8_t *image, size_t size) {
  const uint8_t level = *image;
  return orva::all_of_blocks<256>(size, [=](size_t offset, size_t count) ORVA_INLINE {
    orva::vector<uint8_t> differing = {};
    orva::for_each_vector<uint8_t>(count, [&](auto at) ORVA_INLINE {
      differing |= at(image + offset, level) ^ orva::splat(level);
    });
    return orva::largest_lane(differing) == 0;
  });
}

// Neighbouring pixels are mostly alike. They go into different tables, so that the second need not
// wait for the count that the first has just stored.
histogram count_levels(const uint8_t *image, size_t size) {
  histogram counts{};
  if (has_one_level(image, size)) {
    counts[*image] = static_cast<uint32_t>(size);
    return counts;
  }
  std::array<histogram, 2> tables{};
  const uint8_t *end = image + size;
  for (; end - image >= static_cast<ptrdiff_t>(kBlock); image += kBlock) {
    for (size_t k = 0; k < kBlock; ++k) ++tables[k % tables.size()][image[k]];
  }
  for (; image != end; ++image) ++tables[0][*image];
  for (size_t level = 0; level < counts.size(); ++level) {
    counts[level] = tables[0][level] + tables[1][level];
  }
  return counts;
}

// The new levels are stored together, four at a time.
void map_levels(uint8_t *image, size_t size, const level_map &map) {
  const uint8_t *end = image + size;
  for (; end - image >= static_cast<ptrdiff_t>(kBlock); image += kBlock) {
    for (size_t quad = 0; quad < kBlock; quad += kQuad) {
      uint8_t mapped[kQuad];
      for (size_t k = 0; k < kQuad; ++k) mapped[k] = map[image[quad + k]];
      memcpy(image + quad, mapped, sizeof mapped);
    }
  }
  for (; image != end; ++image) *image = map[*image];
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
  // An image of one level needs no look-ups.
  const uint8_t first = *image;
  if (counts[first] == size) {
    memset(image, map[first], size);
  } else {
    map_levels(image, size, map);
  }
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
