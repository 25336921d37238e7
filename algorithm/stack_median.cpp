// Median estimate over a stack of rows. Everything stays in unsigned bytes, so that each position
// takes one byte lane of a vector register.
#include <algorithm>
#include <cstddef>

#include "orva_fp/image.h"

namespace {

// Truncated; the widened sum is what compilers turn into a halving add.
uint8_t average(uint8_t a, uint8_t b) { return static_cast<uint8_t>((a + b) >> 1); }

// The samples are paired from both ends inwards, which leaves the middle one of an odd number.
template <size_t N>
uint8_t estimate(const uint8_t (&s)[N]) {
  uint8_t low = 0;
  uint8_t high = 255;
  for (size_t k = 0; k < N / 2; ++k) {
    low = std::max(low, std::min(s[k], s[N - 1 - k]));
    high = std::min(high, std::max(s[k], s[N - 1 - k]));
  }
  if constexpr (N % 2 == 0) return average(low, high);

  const uint8_t middle = s[N / 2];
  const uint8_t centre = std::min(high, std::max(low, middle));
  if constexpr (N == 7) return centre;

  const uint8_t lower = std::max(std::min(low, middle), std::min(s[0], s[N - 1]));
  const uint8_t upper = std::min(std::max({low, middle, high}), std::max(s[0], s[N - 1]));
  // centre - lower > upper - centre without leaving the bytes: the left side of
  // 2 * centre > lower + upper is even, so that truncating the half of the right side is harmless.
  const uint8_t closer = centre > average(lower, upper) ? upper : lower;
  return average(closer, centre);
}

// dst may overlap the rows, and a position must see the results of those before it. So there is
// no promise to the compiler about overlap: it tests for it and keeps the order where it matters.
template <size_t N>
void combine(uint8_t *dst, const uint8_t *src, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    uint8_t samples[N] = {dst[i]};
    for (size_t k = 1; k < N; ++k) samples[k] = src[k * length + i];
    dst[i] = estimate(samples);
  }
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
