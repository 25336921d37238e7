#include <algorithm>

#include "simple/simple_forms.h"

namespace simple {

namespace {

int32_t estimate(const int32_t *s, int32_t n) {
  int32_t low = 0;
  int32_t high = 255;
  for (int32_t k = 0; k < n / 2; ++k) {
    low = std::max(low, std::min(s[k], s[n - 1 - k]));
    high = std::min(high, std::max(s[k], s[n - 1 - k]));
  }
  if (n == 4 || n == 6) return (low + high) / 2;
  const int32_t middle = s[n / 2];
  if (n == 7) return std::min(high, std::max(low, middle));
  const int32_t outer_low = std::min(s[0], s[4]);
  const int32_t outer_high = std::max(s[0], s[4]);
  const int32_t centre = std::min(std::max(low, middle), high);
  const int32_t lower = std::max(std::min(low, middle), outer_low);
  const int32_t upper = std::min(std::max({low, middle, high}), outer_high);
  return centre - lower > upper - centre ? (upper + centre) / 2 : (lower + centre) / 2;
}

}  // namespace

int32_t get_median(uint8_t *dst, const uint8_t *src, int32_t length, int32_t n) {
  if (n < 4 || n > 7) return 0;
  for (int32_t i = 0; i < length; ++i) {
    int32_t samples[7] = {dst[i]};
    for (int32_t k = 1; k < n; ++k) samples[k] = src[k * length + i];
    dst[i] = static_cast<uint8_t>(estimate(samples, n));
  }
  return 1;
}

}  // namespace simple
