// Detection and removal of isolated outlier pixels.
//
// Let low and high be the smallest and the largest of a pixel's four direct neighbours. The pixel c
// is a spike with margin m when low - c > m or c - high > m. Pixels get a score, from which the
// answer follows for every margin of the same sign.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "algorithm/block_walk.h"
#include "algorithm/bytes.h"
#include "algorithm/median_of_nine.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"

static_assert(offsetof(noise_check_param, noise_flags) == 0);
static_assert(offsetof(noise_check_param, strong_spike_count) == 4);
static_assert(offsetof(noise_check_param, delta_spike_count) == 8);
static_assert(offsetof(noise_check_param, spike_delta) == 12);
static_assert(sizeof(noise_check_param) == 16);

namespace {

using orva::load;
using orva::maximum;
using orva::minimum;
using orva::plane;
using orva::saturating_subtract;

template <typename V>
struct neighbours {
  V low;
  V high;
};

// V is a pixel or a vector of adjacent pixels.
template <typename V>
ORVA_INLINE inline neighbours<V> neighbours_of(V above, V left, V right, V below) {
  return {minimum(minimum(above, below), minimum(left, right)),
          maximum(maximum(above, below), maximum(left, right))};
}
template <typename V>
ORVA_INLINE inline neighbours<V> direct_neighbours(const uint8_t *pixel, size_t width) {
  return neighbours_of(load<V>(pixel - width), load<V>(pixel - 1), load<V>(pixel + 1),
                       load<V>(pixel + width));
}

bool is_spike(const uint8_t *pixel, size_t width, int32_t margin) {
  const auto n = direct_neighbours<uint8_t>(pixel, width);
  return n.low - *pixel > margin || *pixel - n.high > margin;
}

// For margins from 0 on: how far a pixel lies outside the range of its neighbours. For margins
// below 0: how far it lies inside the range, from the nearer end.
template <bool kInside, typename V>
ORVA_INLINE inline V score(V pixel, neighbours<V> n) {
  if constexpr (kInside) {
    return minimum(saturating_subtract(pixel, n.low), saturating_subtract(n.high, pixel));
  } else {
    return maximum(saturating_subtract(n.low, pixel), saturating_subtract(pixel, n.high));
  }
}

// A margin as a limit of the score. With a margin from 0 on, a pixel is a spike when its score
// reaches the limit; with a margin below 0, when it does not.
struct spike_test {
  explicit spike_test(int32_t m)
      : margin(m),
        possible(m < 255),
        inside(m < 0),
        limit(static_cast<uint8_t>(inside ? -std::max(m, -255) : std::min(m, 254) + 1)) {}
  int32_t margin;
  bool possible;
  bool inside;
  uint8_t limit;  // never 0
};

struct score_counts {
  uint32_t first = 0;
  uint32_t second = 0;
};

// Counts the inner pixels that reach the first and the second limit.
template <bool kInside>
score_counts count_scores(const plane<const uint8_t> &image, uint8_t first, uint8_t second) {
  constexpr size_t kMostVectors = 255;  // that a lane counts
  score_counts counts;
  orva::lane_count reach_first;
  orva::lane_count reach_second;
  size_t room = kMostVectors;
  const auto flush = [&]() ORVA_INLINE {
    counts.first += reach_first.total();
    counts.second += reach_second.total();
    reach_first = {};
    reach_second = {};
    room = kMostVectors;
  };
  for (size_t y = 1; y < image.height - 1; ++y) {
    constexpr size_t kBlock = (kMostVectors - 1) * orva::kVectorBytes;
    orva::for_each_block<kBlock>(image.width - 2, [&](size_t x, size_t count) ORVA_INLINE {
      const size_t vectors = count / orva::kVectorBytes + 1;
      if (vectors > room) flush();
      room -= vectors;
      const uint8_t *pixels = image.row(y) + 1 + x;
      // The lanes beyond the end are 0 everywhere, and so is their score.
      orva::for_each_vector<uint8_t, 4>(count, [&](auto at) ORVA_INLINE {
        const auto scores =
            score<kInside>(at(pixels), neighbours_of(at(pixels - image.width), at(pixels - 1),
                                                     at(pixels + 1), at(pixels + image.width)));
        reach_first.add(orva::at_least(scores, orva::splat(first)));
        reach_second.add(orva::at_least(scores, orva::splat(second)));
      });
    });
  }
  flush();
  return counts;
}

// The spikes of a tile of a row are marked first. Then the marks are looked through in groups of as
// many as a word has bits.
constexpr size_t kTile = 1024;
constexpr size_t kGroup = 64;
static_assert(kTile % kGroup == 0);

// Writes 1 for the spikes among count neighbouring pixels of a row, 0 for the others; true when
// there is one. Not inlined, so that its loops have the registers to themselves.
template <bool kInside>
[[gnu::noinline]] bool mark_spikes(const uint8_t *pixels, size_t width, size_t count, uint8_t limit,
                                   uint8_t *__restrict marks) {
  orva::vector<uint8_t> some = {};
  uint8_t some_single = 0;
  orva::for_each_overlapping_vector<uint8_t>(count, [&](size_t i, auto lanes) ORVA_INLINE {
    using V = orva::vector<uint8_t, lanes>;
    const V scores = score<kInside>(load<V>(pixels + i), direct_neighbours<V>(pixels + i, width));
    const V reach = orva::at_least(scores, V{} + limit);
    const V spikes = (kInside ? ~reach : reach) & uint8_t{1};
    orva::store(marks + i, spikes);
    if constexpr (lanes == 1) {
      some_single |= spikes[0];
    } else {
      some |= spikes;
    }
  });
  return (orva::largest_lane(some) | some_single) != 0;
}

template <typename V>
ORVA_INLINE inline V neighbourhood_median(const uint8_t *pixel, size_t width) {
  const auto row = [](const uint8_t *p) ORVA_INLINE {
    return orva::sort_triple(load<V>(p - 1), load<V>(p), load<V>(p + 1));
  };
  return orva::median_of_nine(row(pixel - width), row(pixel), row(pixel + width));
}

// The median around pixel i of count neighbouring ones. A vector of medians takes fewer
// instructions than a single one.
uint8_t median_around(const uint8_t *pixels, size_t i, size_t count, size_t width) {
  using V = orva::vector<uint8_t>;
  if (count < sizeof(V)) return neighbourhood_median<uint8_t>(pixels + i, width);
  const size_t first = std::min(i, count - sizeof(V));
  const orva::lane_array<uint8_t> medians(neighbourhood_median<V>(pixels + first, width));
  return medians.samples[i - first];
}

// Replaces the marked spikes among count (at most kTile) neighbouring pixels of a row. The row
// above is final by then. So of all the marks made in advance, a replacement can upset only that of
// the pixel to its right.
uint32_t replace_spikes(uint8_t *pixels, size_t width, size_t count, int32_t margin,
                        uint8_t (&marks)[kTile]) {
  memset(marks + count, 0, (kTile - count) % kGroup);
  uint32_t replaced = 0;
  size_t next = 0;  // the pixels before this one are done
  for (size_t first = 0; first < count; first += kGroup) {
    for (uint64_t bits = orva::bits_of(marks + first); bits != 0; bits &= bits - 1) {
      size_t i = first + static_cast<size_t>(std::countr_zero(bits));
      if (i < next) continue;
      do {
        pixels[i] = median_around(pixels, i, count, width);
        ++replaced;
        ++i;
      } while (i < count && is_spike(pixels + i, width, margin));
      next = i + 1;
    }
  }
  return replaced;
}

template <bool kInside>
uint32_t replace_spikes_in_image(const plane<uint8_t> &image, spike_test test) {
  uint8_t marks[kTile];
  uint32_t replaced = 0;
  for (size_t y = 1; y < image.height - 1; ++y) {
    for (size_t x = 1; x < image.width - 1; x += kTile) {
      uint8_t *pixels = image.row(y) + x;
      const size_t count = std::min(kTile, image.width - 1 - x);
      if (!mark_spikes<kInside>(pixels, image.width, count, test.limit, marks)) continue;
      replaced += replace_spikes(pixels, image.width, count, test.margin, marks);
    }
  }
  return replaced;
}

}  // namespace

int32_t fr_has_noise(const uint8_t *image, int32_t width, int32_t height,
                     noise_check_param *param) {
  if (param == nullptr) return 0;
  uint32_t strong_spikes = 0;
  uint32_t delta_spikes = 0;
  const plane pixels(image, width, height);
  if (pixels.width >= 3 && pixels.height >= 3) {
    const bool counts_strong = (param->noise_flags & NOISE_CHECK_STRONG) != 0;
    const spike_test strong(NOISE_STRONG_MARGIN);
    const spike_test delta(static_cast<int32_t>(param->spike_delta));
    const bool counts_delta = (param->noise_flags & NOISE_CHECK_DELTA) != 0 && delta.possible;
    if (counts_strong || (counts_delta && !delta.inside)) {
      const score_counts outside = count_scores<false>(pixels, strong.limit, delta.limit);
      if (counts_strong) strong_spikes = outside.first;
      if (counts_delta) delta_spikes = outside.second;
    }
    if (counts_delta && delta.inside) {
      const size_t inner = (pixels.width - 2) * (pixels.height - 2);
      const score_counts inside = count_scores<true>(pixels, delta.limit, delta.limit);
      delta_spikes = static_cast<uint32_t>(inner) - inside.first;
    }
  }
  param->strong_spike_count = strong_spikes;
  param->delta_spike_count = delta_spikes;
  const uint32_t strong_limit =
      NOISE_STRONG_LIMIT * (static_cast<uint32_t>(std::max(width, 0)) / NOISE_STRONG_COLUMNS);
  int32_t result = 0;
  if (strong_spikes > strong_limit) result |= NOISE_CHECK_STRONG;
  if (delta_spikes > NOISE_DELTA_LIMIT) result |= NOISE_CHECK_DELTA;
  return result;
}

int32_t remove_noise_use_median_filter(uint8_t *image, int32_t width, int32_t height,
                                       int32_t delta) {
  const plane pixels(image, width, height);
  const spike_test test(delta);
  if (pixels.width < 3 || pixels.height < 3 || !test.possible) return 0;
  const auto replace = test.inside ? replace_spikes_in_image<true> : replace_spikes_in_image<false>;
  return static_cast<int32_t>(replace(pixels, test));
}
