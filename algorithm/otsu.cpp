// Otsu's threshold without a histogram: the classes of a few candidate levels are counted in sweeps
// over the pixels, and the levels between them are excluded by what they could reach at best.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

// ---- Sweeps -------------------------------------------------------------------------------------

// Pixels are taken two by two as 16-bit words, so that every step of the inner loop works on lanes
// of one width.
constexpr size_t kLanes = 32;
constexpr size_t kStepBytes = 2 * kLanes;
// A 16-bit lane takes two values of at most 255 per step: 128 steps fit.
constexpr size_t kStepsPerFlush = 128;

struct pixel_set {
  const uint8_t *values;
  const uint8_t *mask;  // null, or one byte per value: only those with byte 0 take part
  size_t size;
};

template <size_t kLevels>
using levels = std::array<uint8_t, kLevels>;
template <size_t kLevels>
using sums = std::array<int64_t, kLevels>;

uint16_t load_pair(const uint8_t *bytes) {
  uint16_t pair;
  memcpy(&pair, bytes, sizeof pair);
  return pair;
}

// Adds max(value, level) over all values for every level, a value left out by the mask counting
// as 0. At most kStepsPerFlush steps.
template <bool kMasked, size_t kLevels>
void add_maxima(const uint8_t *values, const uint8_t *mask, size_t steps,
                const levels<kLevels> &candidates, sums<kLevels> &totals) {
  std::array<int16_t, kLevels> level;
  for (size_t k = 0; k < kLevels; ++k) level[k] = candidates[k];
  uint16_t lanes[kLevels][kLanes] = {};
  for (size_t step = 0; step < steps; ++step) {
    for (size_t lane = 0; lane < kLanes; ++lane) {
      const size_t at = step * kStepBytes + 2 * lane;
      const uint16_t pair = load_pair(values + at);
      int16_t first = static_cast<int16_t>(pair & 0xFF);
      int16_t second = static_cast<int16_t>(pair >> 8);
      // An AND vectorises where a conditional expression would become a branch.
      if constexpr (kMasked) {
        const uint16_t out = load_pair(mask + at);
        first = static_cast<int16_t>(first & -((out & 0xFF) == 0));
        second = static_cast<int16_t>(second & -((out >> 8) == 0));
      }
      for (size_t k = 0; k < kLevels; ++k) {
        lanes[k][lane] = static_cast<uint16_t>(lanes[k][lane] + std::max(first, level[k]) +
                                               std::max(second, level[k]));
      }
    }
  }
  for (size_t k = 0; k < kLevels; ++k) {
    uint32_t total = 0;
    for (size_t lane = 0; lane < kLanes; ++lane) total += lanes[k][lane];
    totals[k] += total;
  }
}

// Raises highest to the highest value that is not above limit, values left out by the mask apart.
template <bool kMasked>
void raise_to_highest(const uint8_t *values, const uint8_t *mask, size_t steps, uint8_t limit,
                      uint8_t &highest) {
  uint8_t lanes[kStepBytes] = {};
  for (size_t step = 0; step < steps; ++step) {
    for (size_t lane = 0; lane < kStepBytes; ++lane) {
      const size_t at = step * kStepBytes + lane;
      uint8_t value = values[at];
      if constexpr (kMasked) value = static_cast<uint8_t>(value & -(mask[at] == 0));
      value = static_cast<uint8_t>(value & -(value <= limit));
      lanes[lane] = std::max(lanes[lane], value);
    }
  }
  for (const uint8_t value : lanes) highest = std::max(highest, value);
}

// Calls visit with runs of at most kStepsPerFlush whole steps that make up the pixels. What is left
// at the end is padded with zeros, which are above no level. Returns the number of bytes visited.
template <typename Visitor>
size_t for_each_run(const pixel_set &pixels, Visitor visit) {
  const size_t whole_steps = pixels.size / kStepBytes;
  for (size_t step = 0; step < whole_steps; step += kStepsPerFlush) {
    const size_t at = step * kStepBytes;
    visit(pixels.values + at, pixels.mask == nullptr ? nullptr : pixels.mask + at,
          std::min(kStepsPerFlush, whole_steps - step));
  }
  const size_t done = whole_steps * kStepBytes;
  if (done == pixels.size) return done;

  uint8_t values[kStepBytes] = {};
  uint8_t mask[kStepBytes] = {};
  memcpy(values, pixels.values + done, pixels.size - done);
  if (pixels.mask != nullptr) memcpy(mask, pixels.mask + done, pixels.size - done);
  visit(values, pixels.mask == nullptr ? nullptr : mask, size_t{1});
  return done + kStepBytes;
}

// For every level t the sum of (value - t) over the participating values above t. From the excess
// over t and t + 1 follow the number of values above t (their difference) and their sum.
template <size_t kLevels>
sums<kLevels> excess(const pixel_set &pixels, const levels<kLevels> &candidates) {
  sums<kLevels> totals{};
  const size_t visited =
      for_each_run(pixels, [&](const uint8_t *values, const uint8_t *mask, size_t steps) {
        if (mask == nullptr) {
          add_maxima<false>(values, mask, steps, candidates, totals);
        } else {
          add_maxima<true>(values, mask, steps, candidates, totals);
        }
      });
  for (size_t k = 0; k < kLevels; ++k) {
    totals[k] -= static_cast<int64_t>(visited) * candidates[k];
  }
  return totals;
}

// The highest participating value that is not above limit.
uint8_t highest_up_to(const pixel_set &pixels, uint8_t limit) {
  uint8_t highest = 0;
  for_each_run(pixels, [&](const uint8_t *values, const uint8_t *mask, size_t steps) {
    if (mask == nullptr) {
      raise_to_highest<false>(values, mask, steps, limit, highest);
    } else {
      raise_to_highest<true>(values, mask, steps, limit, highest);
    }
  });
  return highest;
}

size_t participants(const pixel_set &pixels) {
  if (pixels.mask == nullptr) return pixels.size;
  const sums<2> over = excess<2>({pixels.mask, nullptr, pixels.size}, {0, 1});
  return pixels.size - static_cast<size_t>(over[0] - over[1]);
}

// ---- Small sets ---------------------------------------------------------------------------------

// So few pixels that 16 bits hold their sum, whatever the level: a widened copy, filled up with
// zeros, needs neither flushes nor ends.
class small_set {
 public:
  static constexpr size_t kMostPixels = 256;

  explicit small_set(const pixel_set &pixels) : size(pixels.size) {
    uint8_t bytes[kMostPixels] = {};
    memcpy(bytes, pixels.values, size);
    for (size_t i = 0; i < kMostPixels; ++i) values_[i] = bytes[i];
  }

  // The sum of max(value, level). Signed lanes, whose maximum every x86-64 processor has.
  uint16_t sum_of_maxima(int16_t level) const {
    uint16_t sum = 0;
    for (const int16_t value : values_) sum = static_cast<uint16_t>(sum + std::max(value, level));
    return sum;
  }
  uint8_t highest_up_to(int16_t limit) const {
    int16_t highest = 0;
    for (const int16_t value : values_) {
      highest = std::max(highest, static_cast<int16_t>(value & -(value <= limit)));
    }
    return static_cast<uint8_t>(highest);
  }

  const size_t size;

 private:
  int16_t values_[kMostPixels];
};

template <size_t kLevels>
sums<kLevels> excess(const small_set &pixels, const levels<kLevels> &candidates) {
  sums<kLevels> totals;
  for (size_t k = 0; k < kLevels; ++k) {
    totals[k] = pixels.sum_of_maxima(candidates[k]) -
                static_cast<int64_t>(small_set::kMostPixels) * candidates[k];
  }
  return totals;
}

uint8_t highest_up_to(const small_set &pixels, uint8_t limit) {
  return pixels.highest_up_to(limit);
}

size_t participants(const small_set &pixels) { return pixels.size; }

// ---- Search -------------------------------------------------------------------------------------

// The pixels above a level. The numbers are whole and far below 2^53; doubles save converting them.
struct high_class {
  double count;
  double sum;
};

struct otsu_result {
  uint8_t threshold;
  uint32_t low_count;
  uint32_t high_count;
  float low_mean;
  float high_mean;
};

template <typename Pixels>
class otsu_search {
 public:
  otsu_search(const Pixels &pixels, int32_t width, int32_t height)
      : pixels_(pixels),
        total_(static_cast<float>(width) * static_cast<float>(height)),
        total_squared_(static_cast<double>(pixels.size) * static_cast<double>(pixels.size)) {}

  otsu_result run() {
    all_.count = static_cast<double>(participants(pixels_));
    all_.sum = static_cast<double>(excess<1>(pixels_, {0})[0]);
    if (all_.count == 0) return {};

    above(kBelowAll) = all_;
    above(255) = {0, 0};
    open_gap(kBelowAll, 255);
    estimate_ = static_cast<int>(all_.sum / all_.count);
    while (drop_hopeless_gaps()) sweep(next_levels());

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

  // The mean of the pixels in the gap, or the level beside that.
  int middle(const gap &g) const {
    const high_class &low = above(g.below);
    const high_class &high = above(g.above);
    const int mean = static_cast<int>((low.sum - high.sum) / (low.count - high.count));
    return std::clamp(mean, g.below + 1, g.above - 1);
  }

  // Counts the classes of all levels whose successor is swept with them.
  void sweep(const levels<4> &candidates) {
    const sums<4> over = excess(pixels_, candidates);
    for (size_t k = 0; k + 1 < candidates.size(); ++k) {
      const uint8_t level = candidates[k];
      if (candidates[k + 1] != level + 1) continue;
      const int64_t count = over[k] - over[k + 1];
      above(level) = {static_cast<double>(count), static_cast<double>(over[k] + level * count)};
      split_gap(level);
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
    // less than 3 * 255 / 2^24 each, and the distance by less than 1e-4. A score is
    // low_share * high_share * distance^2. When the part p of all pixels takes part, the product of
    // the shares is at most (p / 2)^2: the root of a score is off by at most p / 2 * 1e-4, and the
    // root of the best score is at most p / 2 * its distance. So two scores, both off, may be
    // p^2 * 1e-4 * distance apart. The other roundings are relative, fewer than 16 of 2^-24 each.
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

    // The low class of a level in the gap has k of the gap's n pixels, 0 < k < n unless it splits
    // as one of the ends does. Their sum is at least k * lo, and at least what is left when all
    // others have the highest level. Along either line the score is a convex function of k (the
    // square of a linear one over a concave one), so it is greatest where a line ends.
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

  // Three levels around the estimate while it lies in a gap, else the middles of the two most
  // promising gaps, or three levels in the only one.
  levels<4> next_levels() const {
    const gap *first = &gaps_[0];
    const gap *second = nullptr;
    for (size_t i = 0; i < gap_count_; ++i) {
      const gap *candidate = &gaps_[i];
      if (candidate->holds(estimate_)) return levels_around(estimate_);
      if (i == 0) continue;
      if (first->bound < candidate->bound) std::swap(candidate, first);
      if (second == nullptr || second->bound < candidate->bound) second = candidate;
    }
    const int one = middle(*first);
    if (second == nullptr) return levels_around(one);
    const int other = middle(*second);
    return {byte(one), byte(one + 1), byte(other), byte(other + 1)};
  }

  static levels<4> levels_around(int level) {
    const int first = std::clamp(level - 1, 0, 252);
    return {byte(first), byte(first + 1), byte(first + 2), byte(first + 3)};
  }
  static uint8_t byte(int level) { return static_cast<uint8_t>(level); }

  const Pixels &pixels_;
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
  if (mask == nullptr && size <= small_set::kMostPixels) {
    return otsu_search(small_set(pixels), width, height).run();
  }
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
