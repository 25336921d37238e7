// Otsu's threshold without a histogram: the classes of a few candidate levels are counted in sweeps
// over the pixels, and the levels between them are excluded by what they could reach at best.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>

#include "algorithm/bytes.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

// ---- Sweeps -------------------------------------------------------------------------------------

using bytes = orva::vector<uint8_t>;

struct pixel_set {
  const uint8_t *values;
  const uint8_t *mask;  // null, or one byte per value: only those with byte 0 take part
  size_t size;
};

// The pixels above a level. The numbers are whole and far below 2^53; doubles save converting them.
struct high_class {
  double count;
  double sum;
};

// Calls block(walk) for runs of pixels that are short enough for the sums of bytes. walk(visit)
// calls visit(values) for vectors of the run's pixels; the pixels that are left out and the lanes
// beyond the end are 0.
template <typename Block>
ORVA_INLINE inline void for_each_run(const pixel_set &pixels, Block block) {
  constexpr size_t kRun = 255 * orva::kVectorBytes;
  constexpr size_t kTogether = 6;  // vectors a turn: the fastest with both compilers
  orva::for_each_block<kRun>(pixels.size, [&](size_t offset, size_t count) ORVA_INLINE {
    const uint8_t *values = pixels.values + offset;
    if (pixels.mask == nullptr) {
      block([=](auto visit) ORVA_INLINE {
        orva::for_each_vector<uint8_t, kTogether>(count,
                                                  [&](auto at) ORVA_INLINE { visit(at(values)); });
      });
    } else {
      const uint8_t *mask = pixels.mask + offset;
      block([=](auto visit) ORVA_INLINE {
        orva::for_each_vector<uint8_t, kTogether>(count, [&](auto at) ORVA_INLINE {
          visit(at(values) & orva::at_least(bytes{}, at(mask)));
        });
      });
    }
  });
}

// The pixels that take part.
high_class all_of(const pixel_set &pixels) {
  size_t left_out = 0;
  if (pixels.mask != nullptr) {
    const pixel_set mask = {pixels.mask, nullptr, pixels.size};
    for_each_run(mask, [&](auto walk) ORVA_INLINE {
      orva::lane_count set;
      walk([&](bytes mask_bytes)
               ORVA_INLINE { set.add(orva::at_least(mask_bytes, orva::splat<uint8_t>(1))); });
      left_out += set.total();
    });
  }
  uint64_t sum = 0;
  for_each_run(pixels, [&](auto walk) ORVA_INLINE {
    orva::byte_sum values;
    walk([&](bytes v) ORVA_INLINE { values.add(v); });
    sum += values.total();
  });
  return {static_cast<double>(pixels.size - left_out), static_cast<double>(sum)};
}

// A level, at most 254, and what is above it.
struct counted_level {
  uint8_t level;
  high_class above;
};
// The levels counted in one sweep over the pixels: as many as there are registers for their sums.
using sweep_levels = std::array<counted_level, 4>;

void count_above(const pixel_set &pixels, sweep_levels &levels) {
  // A pixel that is not above a level adds the level to its maxima and 1 to its up_to.
  std::array<uint64_t, std::tuple_size_v<sweep_levels>> maxima = {};
  auto up_to = maxima;
  for_each_run(pixels, [&](auto walk) ORVA_INLINE {
    bytes level[maxima.size()];
    orva::byte_sum run_maxima[maxima.size()];
    orva::lane_count run_up_to[maxima.size()];
    for (size_t k = 0; k < maxima.size(); ++k) level[k] = orva::splat(levels[k].level);
    walk([&](bytes v) ORVA_INLINE {
      for (size_t k = 0; k < maxima.size(); ++k) {
        run_maxima[k].add(orva::maximum(v, level[k]));
        run_up_to[k].add(orva::at_least(level[k], v));
      }
    });
    for (size_t k = 0; k < maxima.size(); ++k) {
      maxima[k] += run_maxima[k].total();
      up_to[k] += run_up_to[k].total();
    }
  });
  const uint64_t visited =
      (pixels.size + orva::kVectorBytes - 1) / orva::kVectorBytes * orva::kVectorBytes;
  for (size_t k = 0; k < maxima.size(); ++k) {
    levels[k].above = {static_cast<double>(visited - up_to[k]),
                       static_cast<double>(maxima[k] - levels[k].level * up_to[k])};
  }
}

// The highest participating value that is not above limit.
uint8_t highest_up_to(const pixel_set &pixels, uint8_t limit) {
  bytes highest = {};
  for_each_run(pixels, [&](auto walk) ORVA_INLINE {
    walk([&](bytes v) ORVA_INLINE {
      highest = orva::maximum(highest, v & orva::at_least(orva::splat(limit), v));
    });
  });
  return orva::largest_lane(highest);
}

// ---- Search -------------------------------------------------------------------------------------

struct otsu_result {
  uint8_t threshold;
  uint32_t low_count;
  uint32_t high_count;
  float low_mean;
  float high_mean;
};

class otsu_search {
 public:
  otsu_search(const pixel_set &pixels, int32_t width, int32_t height)
      : pixels_(pixels),
        total_(static_cast<float>(width) * static_cast<float>(height)),
        total_squared_(static_cast<double>(pixels.size) * static_cast<double>(pixels.size)) {}

  otsu_result run() {
    all_ = all_of(pixels_);
    if (all_.count == 0) return {};

    above(kBelowAll) = all_;
    above(255) = {0, 0};
    open_gap(kBelowAll, 255);
    estimate_ = static_cast<int>(all_.sum / all_.count);
    while (drop_hopeless_gaps()) sweep();

    if (best_score_ > 0) best_.threshold = highest_up_to(pixels_, best_.threshold);
    return best_;
  }

 private:
  static constexpr int kBelowAll = -1;

  // Levels between two counted ones, of which none has been counted. They differ in how many of
  // the pixels in (below, above] they leave in the low class.
  struct gap {
    int below;
    int above;
    double bound;  // no level in the gap scores higher

    bool holds(int level) const { return below < level && level < above; }
  };
  // Gaps are disjoint and hold a level each.
  static constexpr size_t kMostGaps = 128;

  high_class &above(int level) { return above_[static_cast<size_t>(level - kBelowAll)]; }
  const high_class &above(int level) const {
    return above_[static_cast<size_t>(level - kBelowAll)];
  }

  void sweep() {
    sweep_levels levels = next_levels();
    count_above(pixels_, levels);
    for (const counted_level &counted : levels) {
      above(counted.level) = counted.above;
      split_gap(counted.level);
    }
  }

  void split_gap(int level) {
    for (size_t i = 0; i < gap_count_; ++i) {
      if (!gaps_[i].holds(level)) continue;
      const gap split = gaps_[i];
      gaps_[i] = gaps_[--gap_count_];
      rate(level);
      open_gap(split.below, level);
      open_gap(level, split.above);
      return;
    }
  }

  // The score of one level. Single precision in exactly this order: it decides near ties.
  void rate(int level) {
    const high_class &high = above(level);
    const double low_count = all_.count - high.count;
    if (low_count == 0 || high.count == 0 || exact_score(high, 0, 0) < limit_) return;
    const float low_size = static_cast<float>(low_count);
    const float high_size = static_cast<float>(high.count);
    const float low_mean = static_cast<float>(all_.sum - high.sum) / low_size;
    const float high_mean = static_cast<float>(high.sum) / high_size;
    const float low_share = low_size / total_;
    const float high_share = high_size / total_;
    const float distance = low_mean - high_mean;
    const float score = distance * ((low_share * high_share) * distance);
    if (score < best_score_ || (score == best_score_ && level >= best_.threshold)) return;

    best_score_ = score;
    best_ = {static_cast<uint8_t>(level), static_cast<uint32_t>(static_cast<int64_t>(low_count)),
             static_cast<uint32_t>(static_cast<int64_t>(high.count)), low_mean, high_mean};
    // The best threshold of all lies half-way between the means of its classes.
    estimate_ = static_cast<int>((low_mean + high_mean) / 2);
    // What a level must reach in exact arithmetic to have a chance. The rounded means are off by
    // less than 3 * 255 / 2^24 each, the distance by less than 1e-4. When the part p of the pixels
    // takes part, low_share * high_share is at most (p / 2)^2. So the root of a score is off by at
    // most p / 2 * 1e-4, and the root of the best score is at most p / 2 * distance. Twice the
    // product of the two is how far a score may be off; the margin is twice that. The other
    // roundings are relative, fewer than 16 of 2^-24 each.
    const double margin = 1e-4 * static_cast<double>(-distance) * all_.count * all_.count;
    limit_ = (static_cast<double>(score) * total_squared_ - margin) * (1 - 4e-6);
  }

  void open_gap(int lower, int upper) {
    if (upper - lower < 2) return;
    const high_class &low = above(lower);
    const double n = low.count - above(upper).count;
    const double s = low.sum - above(upper).sum;
    const double lo = lower + 1;
    const double hi = upper;
    // One pixel, or all at one end: every level in the gap splits as one of its ends does.
    if (n < 2 || s == n * lo || s == n * hi) return;

    // A level in the gap leaves k of the gap's n pixels in the low class; unless it splits as one
    // of the ends does, 0 < k < n. The sum of these k pixels is at least k * lo. It is also at
    // least s - (n - k) * hi, which is left when all others are of the highest level. Along either
    // of these two lines the score is a convex function of k (the square of a linear one over a
    // concave one). So it is greatest where a line ends.
    const double crossing = n * hi - s;  // in units of 1 / (hi - lo)
    const double bound = std::max({exact_score(low, crossing, crossing * lo, hi - lo),
                                   exact_score(low, 1, std::max(lo, s - (n - 1) * hi)),
                                   exact_score(low, n - 1, std::max((n - 1) * lo, s - hi))});
    if (bound >= limit_) gaps_[gap_count_++] = {lower, upper, bound};
  }

  // The score when count / units pixels of the sum sum / units join the low class.
  double exact_score(const high_class &high, double count, double sum, double units = 1) const {
    const double low_count = (all_.count - high.count) * units + count;
    const double low_sum = (all_.sum - high.sum) * units + sum;
    const double moment = low_sum * all_.count - all_.sum * low_count;
    const double high_count = all_.count * units - low_count;
    return moment * moment / (low_count * high_count);
  }

  // False when no gap is left.
  bool drop_hopeless_gaps() {
    size_t kept = 0;
    for (size_t i = 0; i < gap_count_; ++i) {
      if (gaps_[i].bound >= limit_) gaps_[kept++] = gaps_[i];
    }
    gap_count_ = kept;
    return kept != 0;
  }

  // The levels to be counted next: around the estimate while it lies in a gap, else in the two most
  // promising gaps, or in the only one. The nearer a gap is to the best level, the narrower it must
  // be to be hopeless. So the levels lie closer together there.
  sweep_levels next_levels() const {
    const gap *first = &gaps_[0];
    const gap *second = nullptr;
    for (size_t i = 0; i < gap_count_; ++i) {
      const gap *candidate = &gaps_[i];
      if (candidate->holds(estimate_)) {
        return {at(estimate_ - 6), at(estimate_), at(estimate_ + 1), at(estimate_ + 7)};
      }
      if (i == 0) continue;
      if (first->bound < candidate->bound) std::swap(candidate, first);
      if (second == nullptr || second->bound < candidate->bound) second = candidate;
    }
    if (second == nullptr) {
      return {within(*first, 1), within(*first, 2), within(*first, 4), within(*first, 6)};
    }
    return {within(*first, 1), within(*first, 3), within(*second, 1), within(*second, 3)};
  }

  // The level that lies so many eighths of the gap away from the end nearer the best level.
  counted_level within(const gap &g, int eighths) const {
    const int distance = std::max((g.above - g.below) * eighths / 8, 1);
    return at(g.below < best_.threshold ? g.above - distance : g.below + distance);
  }
  static counted_level at(int level) {
    return {static_cast<uint8_t>(std::clamp(level, 0, 254)), {}};
  }

  const pixel_set &pixels_;
  const float total_;           // over all pixels, whatever the mask
  const double total_squared_;  // of the same number, unrounded
  high_class all_ = {};         // the participating pixels
  int estimate_ = 0;

  otsu_result best_ = {};
  float best_score_ = 0;
  double limit_ = 0;

  std::array<high_class, 257> above_;  // of the counted levels, from kBelowAll on
  std::array<gap, kMostGaps> gaps_;
  size_t gap_count_ = 0;
};

otsu_result find_otsu(const uint8_t *image, int32_t width, int32_t height, const uint8_t *mask) {
  const size_t size = orva::plane(image, width, height).size();
  if (size == 0) return {};
  const pixel_set pixels = {image, mask, size};
  return otsu_search(pixels, width, height).run();
}

}  // namespace

int32_t find_otsu_th(const uint8_t *image, int32_t width, int32_t height, uint32_t *low_count,
                     uint32_t *high_count, uint8_t *low_mean, uint8_t *high_mean,
                     const uint8_t *mask) {
  const otsu_result result = find_otsu(image, width, height, mask);
  *low_count = result.low_count;
  *high_count = result.high_count;
  *low_mean = static_cast<uint8_t>(result.low_mean);
  *high_mean = static_cast<uint8_t>(result.high_mean);
  return result.threshold;
}

uint8_t ucFindOtsuThCS1(const uint8_t *image, int32_t width, int32_t height, uint32_t *low_count,
                        uint32_t *high_count, double *low_mean, double *high_mean,
                        const uint8_t *mask) {
  const otsu_result result = find_otsu(image, width, height, mask);
  *low_count = result.low_count;
  *high_count = result.high_count;
  *low_mean = static_cast<double>(result.low_mean);
  *high_mean = static_cast<double>(result.high_mean);
  return result.threshold;
}
