#include "simple/simple_forms.h"

namespace simple {

int32_t is_mq4xx_white_noise(const uint16_t *frame, uint32_t width, uint32_t height) {
  if (is_empty(width, height)) return 0;
  uint32_t k = 0;
  uint32_t max = 0;
  uint32_t min = 65535;
  for (uint32_t col = 1; col + 1 < width; ++col) {
    for (uint32_t row = 0; row < height; ++row) {
      const uint32_t v = frame[row * width + col];
      if (v == 65535) ++k;
      if (v > max) max = v;
      if (v < min) min = v;
    }
  }
  // Only a log line that is never written shows them. The empty statement keeps the compiler from
  // leaving them out.
  asm volatile("" : : "r"(max), "r"(min));
  return k < 100 ? 0 : 1;
}

int32_t image_center_mean(const uint8_t *image, int32_t width, int32_t height, int32_t size) {
  if (size > height || size > width || image == nullptr) return -1;
  if (size <= 0) return 0;
  if (is_empty(width, height)) return -1;
  const int32_t first_row = (height - size) / 2;
  const int32_t first_column = (width - size) / 2;
  uint32_t sum = 0;
  for (int32_t r = 0; r < size; ++r) {
    for (int32_t c = 0; c < size; ++c) sum += image[(first_row + r) * width + first_column + c];
  }
  return static_cast<int32_t>(sum) / (size * size);
}

int32_t offset_min(uint8_t *image, const uint8_t *mask, int32_t width, int32_t height) {
  if (is_empty(width, height)) return 255;
  const int32_t n = width * height;
  int32_t min = 255;
  for (int32_t i = 0; i < n; ++i) {
    if (mask[i] != 1 && image[i] < min) min = image[i];
  }
  for (int32_t i = 0; i < n; ++i) image[i] = static_cast<uint8_t>(image[i] - min);
  return min;
}

}  // namespace simple
