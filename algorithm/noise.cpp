// Detection and removal of isolated outlier pixels.
//
// With low and high the smallest and the largest of its four direct neighbours, a pixel c is a
// spike with margin m when low - c > m or c - high > m. Rows are scored in byte lanes: one score per
// pixel answers the question for every margin of the same sign.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "algorithm/lane_blocks.h"
#include "algorithm/median_of_nine.h"
#include "orva_fp/image.h"

namespace {

using orva::maximum;
using orva::minimum;

// max(a - b, 0), in the form that compiles to a saturating subtraction of bytes.
uint8_t excess(uint8_t a, uint8_t b) { return static_cast<uint8_t>(maximum(a, b) - b); }

struct neighbours {
  uint8_t low;
  uint8_t high;
};

neighbours direct_neighbours(const uint8_t *pixel, size_t width) {
  const uint8_t above = *(pixel - width);
  const uint8_t below = *(pixel + width);
  const uint8_t left = *(pixel - 1);
  const uint8_t right = *(pixel + 1);
  return {minimum(minimum(above, below), minimum(left, right)),
          maximum(maximum(above, below), maximum(left, right))};
}

bool is_spike(const uint8_t *pixel, size_t width, int32_t margin) {
  const neighbours n = direct_neighbours(pixel, width);
  return n.low - *pixel > margin || *pixel - n.high > margin;
}

// How far the pixel lies outside the range of its neighbours, for margins from 0 on.
struct outside_score {
  static uint8_t of(uint8_t pixel, neighbours n) {
    return maximum(excess(n.low, pixel), excess(pixel, n.high));
  }
};

// How close the pixel lies to an end of that range, or 128 on and outside its ends, for margins
// below 0. Half the range, and so any distance to the nearer end, is at most 127.
struct inside_score {
  static uint8_t of(uint8_t pixel, neighbours n) {
    return static_cast<uint8_t>(128 - minimum(excess(pixel, n.low), excess(n.high, pixel)));
  }
};

// A margin as the least score of a spike. It is never 0, and a margin of 255 or more has none.
struct spike_test {
  explicit spike_test(int32_t margin)
      : possible(margin < 255),
        inside(margin < 0),
        least(static_cast<uint8_t>(inside ? std::max(margin, -128) + 129
                                          : std::min(margin, 254) + 1)) {}
  bool possible;
  bool inside;
  uint8_t least;
};

template <typename Score>
void score_pixels(const uint8_t *pixels, size_t width, size_t count, uint8_t *__restrict scores) {
  orva::for_lane_blocks(count, [=](size_t offset, auto block) {
    for (size_t i = offset; i < offset + block; ++i) {
      scores[i] = Score::of(pixels[i], direct_neighbours(pixels + i, width));
    }
  });
}

}  // namespace
