#include <algorithm>

#include "simple/simple_forms.h"

namespace simple {

void sort(uint8_t *values, int32_t count) {
  if (values == nullptr || count < 2) return;
  for (int32_t m = count - 1; m >= 1; --m) {
    for (int32_t j = 0; j < m; ++j) {
      if (values[j] > values[j + 1]) std::swap(values[j], values[j + 1]);
    }
  }
}

void median_filter(uint8_t *image, uint8_t *work, int32_t width, int32_t height) {
  if (width < 2 || height < 2 || is_empty(width, height)) return;
  for (int32_t i = 0; i < width * height; ++i) work[i] = image[i];
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      uint8_t window[9];
      int32_t n = 0;
      for (int32_t dy = -1; dy <= 1; ++dy) {
        for (int32_t dx = -1; dx <= 1; ++dx) {
          const int32_t row = std::clamp(y + dy, 0, height - 1);
          const int32_t column = std::clamp(x + dx, 0, width - 1);
          window[n++] = work[row * width + column];
        }
      }
      sort(window, 9);
      image[y * width + x] = window[4];
    }
  }
}

}  // namespace simple
