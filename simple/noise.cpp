#include "simple/simple_forms.h"

namespace simple {

namespace {

bool is_spike(const uint8_t *image, int32_t width, int32_t x, int32_t y, int32_t margin) {
  const int32_t at = y * width + x;
  const int32_t neighbours[] = {image[at - width], image[at + width], image[at - 1], image[at + 1]};
  const int64_t upper = int64_t{image[at]} + margin;
  const int64_t lower = int64_t{image[at]} - margin;
  bool all_greater = true;
  bool all_less = true;
  for (int32_t neighbour : neighbours) {
    if (!(neighbour > upper)) all_greater = false;
    if (!(neighbour < lower)) all_less = false;
  }
  return all_greater || all_less;
}

}  // namespace

int32_t fr_has_noise(const uint8_t *image, int32_t width, int32_t height,
                     noise_check_param *param) {
  const bool empty = is_empty(width, height);
  uint32_t strong_count = 0;
  uint32_t delta_count = 0;
  for (int32_t y = 1; !empty && y <= height - 2; ++y) {
    for (int32_t x = 1; x <= width - 2; ++x) {
      const int32_t delta = static_cast<int32_t>(param->spike_delta);
      if ((param->noise_flags & NOISE_CHECK_DELTA) != 0 && is_spike(image, width, x, y, delta)) {
        ++delta_count;
      }
      if ((param->noise_flags & NOISE_CHECK_STRONG) != 0 &&
          is_spike(image, width, x, y, NOISE_STRONG_MARGIN)) {
        ++strong_count;
      }
    }
  }
  if (param != nullptr) {
    param->strong_spike_count = strong_count;
    param->delta_spike_count = delta_count;
  }
  int32_t result = 0;
  if (width > 0 && int64_t{strong_count} > 3 * (width / 48)) result |= NOISE_CHECK_STRONG;
  if (delta_count > NOISE_DELTA_LIMIT) result |= NOISE_CHECK_DELTA;
  return result;
}

int32_t remove_noise_use_median_filter(uint8_t *image, int32_t width, int32_t height,
                                       int32_t delta) {
  if (is_empty(width, height)) return 0;
  int32_t count = 0;
  for (int32_t y = 1; y <= height - 2; ++y) {
    for (int32_t x = 1; x <= width - 2; ++x) {
      if (!is_spike(image, width, x, y, delta)) continue;
      uint8_t window[9];
      int32_t n = 0;
      for (int32_t dy = -1; dy <= 1; ++dy) {
        for (int32_t dx = -1; dx <= 1; ++dx) window[n++] = image[(y + dy) * width + x + dx];
      }
      sort(window, 9);
      image[y * width + x] = window[4];
      ++count;
    }
  }
  return count;
}

}  // namespace simple
