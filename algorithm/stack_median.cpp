// Median estimate over a stack of rows, a vector of positions at a time. No branch depends on a
// sample.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "algorithm/bytes.h"
#include "algorithm/vectors.h"
#include "orva_fp/image.h"

namespace {

constexpr size_t kLanes = orva::kLanes<uint8_t>;
using bytes = orva::vector<uint8_t>;
using orva::maximum;
using orva::minimum;

// Truncated. 64-bit ARM has an instruction for the widened form; elsewhere it is cheaper to stay
// within the bytes: what the two have in common, and half of the rest.
ORVA_INLINE inline bytes average(bytes a, bytes b) {
#ifdef __aarch64__
  using wide = orva::vector<uint16_t, kLanes>;
  return __builtin_convertvector(
      (__builtin_convertvector(a, wide) + __builtin_convertvector(b, wide)) >> 1, bytes);
#else
  return (a & b) + ((a ^ b) >> 1);
#endif
}

// The samples are paired from both ends inwards, which leaves the middle one of an odd number.
template <size_t N>
ORVA_INLINE inline bytes estimate(const bytes (&s)[N]) {
  const bytes outer_low = minimum(s[0], s[N - 1]);
  const bytes outer_high = maximum(s[0], s[N - 1]);
  bytes low = outer_low;
  bytes high = outer_high;
  for (size_t k = 1; k < N / 2; ++k) {
    low = maximum(low, minimum(s[k], s[N - 1 - k]));
    high = minimum(high, maximum(s[k], s[N - 1 - k]));
  }
  if constexpr (N % 2 == 0) return average(low, high);

  const bytes middle = s[N / 2];
  const bytes raised = maximum(low, middle);
  const bytes centre = minimum(raised, high);
  if constexpr (N == 7) return centre;

  const bytes lower = maximum(minimum(low, middle), outer_low);
  const bytes upper = minimum(maximum(raised, high), outer_high);
  // centre - lower > upper - centre without leaving the bytes: the left side of
  // 2 * centre > lower + upper is even, so that truncating the half of the right side is harmless.
  const bytes closer = centre > average(lower, upper) ? upper : lower;
  return average(closer, centre);
}

// dst is row 0 of the stack.
template <size_t N>
struct row_stack {
  uint8_t *dst;
  const uint8_t *src;
  size_t length;

  // The last vector overlaps the one before: it begins with first samples from before that.
  void combine_vectors() const {
    constexpr size_t kGroup = 8 * kLanes;
    const bytes last = orva::load<bytes>(dst + length - kLanes);
    size_t at = 0;
    for (; at + kGroup <= length; at += kGroup) {
      for (size_t k = 0; k < kGroup; k += kLanes) combine_vector(at + k);
    }
    for (; at + kLanes <= length; at += kLanes) combine_vector(at);
    if (at != length) combine_vector(length - kLanes, last);
  }

  ORVA_INLINE void combine_vector(size_t at) const {
    combine_vector(at, orva::load<bytes>(dst + at));
  }
  ORVA_INLINE void combine_vector(size_t at, bytes first) const {
    bytes samples[N];
    samples[0] = first;
    for (size_t k = 1; k < N; ++k) samples[k] = orva::load<bytes>(src + k * length + at);
    orva::store(dst + at, estimate(samples));
  }

  // By way of copies, which serve rows and steps of fewer positions than a vector holds.
  void combine_copies(size_t step) const {
    for (size_t at = 0; at < length; at += step) {
      const size_t count = std::min(kLanes, length - at);
      bytes samples[N] = {};
      memcpy(&samples[0], dst + at, count);
      for (size_t k = 1; k < N; ++k) memcpy(&samples[k], src + k * length + at, count);
      const bytes result = estimate(samples);
      memcpy(dst + at, &result, std::min(step, count));
    }
  }
};

// dst may overlap the rows, and a position must see the results of those before it.
template <size_t N>
void combine(uint8_t *dst, const uint8_t *src, size_t length) {
  const row_stack<N> rows = {dst, src, length};
  const uintptr_t to = reinterpret_cast<uintptr_t>(dst);
  const uintptr_t from = reinterpret_cast<uintptr_t>(src);
  // The places less than a vector before or behind the beginning of another row lie from here on.
  // Mostly dst is before or behind them all.
  const uintptr_t near = from + length - (kLanes - 1);
  if (length >= kLanes && to - near >= (N - 2) * length + 2 * kLanes - 1) {
    rows.combine_vectors();
    return;
  }
  size_t step = kLanes;
  for (size_t k = 1; k < N; ++k) {
    const uintptr_t behind = to - (from + k * length);
    if (behind != 0) step = std::min(step, size_t{behind});
  }
  rows.combine_copies(step);
}

}  // namespace

int32_t get_median(uint8_t *dst, const uint8_t *src, int32_t length, int32_t n) {
  if (n < 4 || n > 7) return 0;
  const size_t positions = length > 0 ? static_cast<size_t>(length) : 0;
  switch (n) {
    case 4:
      combine<4>(dst, src, positions);
      break;
    case 5:
      combine<5>(dst, src, positions);
      break;
    case 6:
      combine<6>(dst, src, positions);
      break;
    default:
      combine<7>(dst, src, positions);
  }
  return 1;
}
