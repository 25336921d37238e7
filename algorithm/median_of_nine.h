// The median of nine pixels by minimum and maximum alone: each column of three is sorted, and the
// median of all nine is the median of three values, the largest of the lows, the median of the
// middles and the smallest of the highs. Written for single bytes, so that loops over them take one
// byte lane per pixel, and neighbouring windows can share their sorted columns.
#ifndef ORVA_ALGORITHM_MEDIAN_OF_NINE_H
#define ORVA_ALGORITHM_MEDIAN_OF_NINE_H

#include "algorithm/bytes.h"

namespace orva {

// Three neighbouring pixels, sorted.
struct triple {
  uint8_t low;
  uint8_t middle;
  uint8_t high;
};

inline triple sort_triple(uint8_t a, uint8_t b, uint8_t c) {
  const uint8_t low_ab = minimum(a, b);
  const uint8_t high_ab = maximum(a, b);
  const uint8_t high_low = minimum(high_ab, c);
  return {minimum(low_ab, high_low), maximum(low_ab, high_low), maximum(high_ab, c)};
}

inline uint8_t median_of_three(uint8_t a, uint8_t b, uint8_t c) {
  return maximum(minimum(a, b), minimum(maximum(a, b), c));
}

inline uint8_t median_of_nine(triple left, triple centre, triple right) {
  return median_of_three(maximum(left.low, maximum(centre.low, right.low)),
                         median_of_three(left.middle, centre.middle, right.middle),
                         minimum(left.high, minimum(centre.high, right.high)));
}

}  // namespace orva

#endif
