// The median of nine pixels by minimum and maximum alone. Each column of three is sorted into low,
// middle and high. The median of the nine is the median of three values: the largest low, the
// median of the middles, the smallest high. Neighbouring windows can share their sorted columns.
#pragma once

#include "algorithm/bytes.h"

namespace orva {

// Three neighbouring pixels, sorted; V is a pixel or a vector of adjacent ones.
template <typename V>
struct triple {
  V low;
  V middle;
  V high;
};

template <typename V>
ORVA_INLINE inline triple<V> sort_triple(V a, V b, V c) {
  const V low_ab = minimum(a, b);
  const V high_ab = maximum(a, b);
  const V high_low = minimum(high_ab, c);
  return {minimum(low_ab, high_low), maximum(low_ab, high_low), maximum(high_ab, c)};
}

template <typename V>
ORVA_INLINE inline V median_of_three(V a, V b, V c) {
  return maximum(minimum(a, b), minimum(maximum(a, b), c));
}

template <typename V>
ORVA_INLINE inline V median_of_nine(triple<V> left, triple<V> centre, triple<V> right) {
  return median_of_three(maximum(left.low, maximum(centre.low, right.low)),
                         median_of_three(left.middle, centre.middle, right.middle),
                         minimum(left.high, minimum(centre.high, right.high)));
}

}  // namespace orva
