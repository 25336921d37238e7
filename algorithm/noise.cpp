// Detection and removal of isolated outlier pixels.
//
// With low and high the smallest and the largest of its four direct neighbours, a pixel c is a
// spike with margin m when low - c > m or c - high > m. Rows are scored in byte lanes: one score
// per pixel answers the question for every margin of the same sign.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <span>

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
using orva::saturating_subtract;

template <typename V>
struct neighbours {
  V low;
  V high;
};

// Of a pixel, or of a vector of adjacent pixels.
template <typename V>
ORVA_INLINE inline neighbours<V> direct_neighbours(const uint8_t *pixel, size_t width) {
  const V above = load<V>(pixel - width);
  const V below = load<V>(pixel + width);
  const V left = load<V>(pixel - 1);
  const V right = load<V>(pixel + 1);
  return {minimum(minimum(above, below), minimum(left, right)),
          maximum(maximum(above, below), maximum(left, right))};
}

bool is_spike(const uint8_t *pixel, size_t width, int32_t margin) {
  const auto n = direct_neighbours<uint8_t>(pixel, width);
  return n.low - *pixel > margin || *pixel - n.high > margin;
}

// Pixels scored before the scores are used.
constexpr size_t kTile = 1024;

// How far the pixel lies outside the range of its neighbours, for margins from 0 on.
struct outside_score {
  template <typename V>
  ORVA_INLINE static V of(V pixel, neighbours<V> n) {
    return maximum(saturating_subtract(n.low, pixel), saturating_subtract(pixel, n.high));
  }
};

// How close the pixel lies to an end of that range, or 128 on and outside its ends, for margins
// below 0. Half the range, and so any distance to the nearer end, is at most 127.
struct inside_score {
  template <typename V>
  ORVA_INLINE static V of(V pixel, neighbours<V> n) {
    return uint8_t{128} -
           minimum(saturating_subtract(pixel, n.low), saturating_subtract(n.high, pixel));
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

// Calls store(i, scores) for vectors of the pixels of a row from 0 to count - 1; some may come
// twice.
template <typename Score, typename Store>
ORVA_INLINE inline void score_pixels(const uint8_t *pixels, size_t width, size_t count,
                                     Store store) {
  orva::for_each_overlapping_vector<uint8_t>(count, [=](size_t i, auto lanes) ORVA_INLINE {
    using V = orva::vector<uint8_t, lanes>;
    store(i, Score::of(load<V>(pixels + i), direct_neighbours<V>(pixels + i, width)));
  });
}

struct tally {
  uint8_t least;
  uint32_t *count;
};

// Adds the scores of at least t.least to *t.count, for every tally t.
class score_counter {
 public:
  explicit score_counter(std::span<const tally> tallies) : tallies_(tallies) {}

  // Room for the scores of one tile.
  uint8_t *next_tile() {
    if (used_ > kCapacity - kTile) flush();
    return scores_ + used_;
  }
  void add(size_t count) { used_ += count; }

  void flush() {
    for (const tally &t : tallies_) {
      const auto least = orva::splat(t.least);
      orva::lane_count hits;
      orva::for_each_vector<uint8_t>(
          used_, [&](auto at) ORVA_INLINE { hits.add(orva::at_least(at(scores_), least)); });
      *t.count += hits.total();
    }
    used_ = 0;
  }

 private:
  static constexpr size_t kCapacity = 3 * kTile;
  static_assert(kCapacity < 255 * orva::kVectorBytes);

  std::span<const tally> tallies_;
  size_t used_ = 0;
  uint8_t scores_[kCapacity];
};

template <typename Score>
void count_spikes(const orva::plane<const uint8_t> &pixels, std::span<const tally> tallies) {
  if (tallies.empty()) return;
  score_counter counter(tallies);
  const size_t width = pixels.width;
  for (size_t y = 1; y < pixels.height - 1; ++y) {
    for (size_t x = 1; x < width - 1; x += kTile) {
      const size_t count = std::min(kTile, width - 1 - x);
      uint8_t *__restrict scores = counter.next_tile();
      score_pixels<Score>(pixels.row(y) + x, width, count, [=](size_t i, auto score) ORVA_INLINE {
        orva::store(scores + i, score);
      });
      counter.add(count);
    }
  }
  counter.flush();
}

uint8_t neighbourhood_median(const uint8_t *pixel, size_t width) {
  const auto row = [](const uint8_t *p) { return orva::sort_triple(*(p - 1), *p, *(p + 1)); };
  return orva::median_of_nine(row(pixel - width), row(pixel), row(pixel + width));
}

// The marks are looked through in groups of as many as a word has bits.
constexpr size_t kGroup = 64;
static_assert(kTile % kGroup == 0);

// Replaces the spikes among count (at most kTile) neighbouring pixels of a row. The row above is
// final, so of all the tests made in advance a replacement upsets only that of the pixel to its
// right.
template <typename Score>
uint32_t replace_spikes(uint8_t *pixels, size_t width, size_t count, int32_t margin,
                        uint8_t least) {
  uint8_t marks[kTile];
  score_pixels<Score>(pixels, width, count, [&](size_t i, auto score) ORVA_INLINE {
    const auto threshold = decltype(score){} + least;
    orva::store(marks + i, orva::at_least(score, threshold) & uint8_t{1});
  });
  memset(marks + count, 0, (kTile - count) % kGroup);
  uint32_t replaced = 0;
  size_t next = 0;  // the pixels before this one are done
  for (size_t first = 0; first < count; first += kGroup) {
    for (uint64_t bits = orva::bits_of(marks + first); bits != 0; bits &= bits - 1) {
      size_t i = first + static_cast<size_t>(std::countr_zero(bits));
      if (i < next) continue;
      do {
        pixels[i] = neighbourhood_median(pixels + i, width);
        ++replaced;
        ++i;
      } while (i < count && is_spike(pixels + i, width, margin));
      next = i + 1;
    }
  }
  return replaced;
}

template <typename Score>
uint32_t replace_spikes_in_image(const orva::plane<uint8_t> &pixels, int32_t margin,
                                 uint8_t least) {
  uint32_t replaced = 0;
  const size_t width = pixels.width;
  for (size_t y = 1; y < pixels.height - 1; ++y) {
    for (size_t x = 1; x < width - 1; x += kTile) {
      const size_t count = std::min(kTile, width - 1 - x);
      replaced += replace_spikes<Score>(pixels.row(y) + x, width, count, margin, least);
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
  const orva::plane pixels(image, width, height);
  if (pixels.width >= 3 && pixels.height >= 3) {
    const spike_test strong(NOISE_STRONG_MARGIN);
    const spike_test delta(static_cast<int32_t>(param->spike_delta));
    tally outside[2];
    size_t tests = 0;
    if ((param->noise_flags & NOISE_CHECK_STRONG) != 0) {
      outside[tests++] = {strong.least, &strong_spikes};
    }
    if ((param->noise_flags & NOISE_CHECK_DELTA) != 0 && delta.possible) {
      const tally t = {delta.least, &delta_spikes};
      if (delta.inside) {
        count_spikes<inside_score>(pixels, {&t, 1});
      } else {
        outside[tests++] = t;
      }
    }
    count_spikes<outside_score>(pixels, {outside, tests});
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
  const spike_test test(delta);
  const orva::plane pixels(image, width, height);
  if (pixels.width < 3 || pixels.height < 3 || !test.possible) return 0;
  const auto replace =
      test.inside ? replace_spikes_in_image<inside_score> : replace_spikes_in_image<outside_score>;
  return static_cast<int32_t>(replace(pixels, delta, test.least));
}
