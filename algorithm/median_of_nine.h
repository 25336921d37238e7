// The median of nine pixels by minimum and maximum alone: each column of three is sorted, and the
// median of all nine is the median of three values, the largest of the lows, the median of the
// middles and the smallest of the highs. Written for single bytes, so that loops over them take one
// byte lane per pixel, and neighbouring windows can share their sorted columns.
#ifndef ORVA_ALGORITHM_MEDIAN_OF_NINE_H
#define ORVA_ALGORITHM_MEDIAN_OF_NINE_H

#include <algorithm>
#include <cstdint>

namespace orva {

// Three pixels one above another, sorted.
struct sorted_column {
  uint8_t low;
  uint8_t middle;
  uint8_t high;
};

inline sorted_column sort_column(uint8_t a, uint8_t b, uint8_t c) {
  const uint8_t low_ab = std::min(a, b);
  const uint8_t high_ab = std::max(a, b);
  const uint8_t high_low = std::min(high_ab, c);
  return {std::min(low_ab, high_low), std::max(low_ab, high_low), std::max(high_ab, c)};
}

inline uint8_t median_of_three(uint8_t a, uint8_t b, uint8_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

inline uint8_t median_of_nine(sorted_column left, sorted_column centre, sorted_column right) {
  return median_of_three(std::max(left.low, std::max(centre.low, right.low)),
                         median_of_three(left.middle, centre.middle, right.middle),
                         std::min(left.high, std::min(centre.high, right.high)));
}

}  // namespace orva

#endif
