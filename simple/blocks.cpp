// Block means and block dynamic ranges, one block after the other.
#include "simple/simple_forms.h"

namespace simple {

namespace {

uint8_t mean_of(const uint8_t *image, const uint8_t *mask, int32_t left, int32_t top, int32_t right,
                int32_t bottom) {
  const int32_t width = g_img_alg_sd.width;
  int32_t sum = 0, count = 0;
  for (int32_t y = top; y < bottom; ++y) {
    for (int32_t x = left; x < right; ++x) {
      const int32_t i = y * width + x;
      if (mask != nullptr && mask[i] != 0) continue;
      sum += image[i];
      ++count;
    }
  }
  if (count == 0) return 0;
  return static_cast<uint8_t>(sum / count);
}

}  // namespace

void vCalculateBlockDRCS1(const uint8_t *image, uint32_t *block_count, uint8_t *block_values,
                          const uint8_t *mask, uint8_t slice_window_size) {
  const bool empty = is_empty(g_img_alg_sd.width, g_img_alg_sd.height);
  const int32_t w = empty ? 0 : g_img_alg_sd.width, h = empty ? 0 : g_img_alg_sd.height;
  const int32_t s = slice_window_size;
  if (*block_count == 4) {
    block_values[0] = mean_of(image, mask, 0, 0, w / 2, h / 2);
    block_values[1] = mean_of(image, mask, w / 2, 0, w, h / 2);
    block_values[2] = mean_of(image, mask, 0, h / 2, w / 2, h);
    block_values[3] = mean_of(image, mask, w / 2, h / 2, w, h);
    return;
  }
  *block_count = 0;
  if (s == 0 || w < s || h < s) return;
  for (int32_t by = 0; by < h / s; ++by) {
    for (int32_t bx = 0; bx < w / s; ++bx) {
      const int32_t left = (w % s) / 2 + bx * s, top = (h % s) / 2 + by * s;
      block_values[by * (w / s) + bx] = mean_of(image, mask, left, top, left + s, top + s);
    }
  }
  *block_count = static_cast<uint32_t>((w / s) * (h / s));
}

void vCalculateBlockDROtsuCS1(const uint8_t *image, const void *, uint32_t *block_count,
                              uint8_t *block_values, const uint8_t *mask,
                              uint8_t slice_window_size) {
  const int32_t w = g_img_alg_sd.width, h = g_img_alg_sd.height, s = slice_window_size;
  *block_count = 0;
  if (is_empty(w, h) || s == 0 || w < s || h < s) return;
  uint8_t work[255 * 255];
  for (int32_t by = 0; by < h / s; ++by) {
    for (int32_t bx = 0; bx < w / s; ++bx) {
      const int32_t left = (w % s) / 2 + bx * s, top = (h % s) / 2 + by * s;
      int32_t m = 0;
      for (int32_t x = left; x < left + s; ++x) {
        for (int32_t y = top; y < top + s; ++y) {
          const int32_t i = y * w + x;
          if (mask == nullptr || mask[i] == 0) work[m++] = image[i];
        }
      }
      uint32_t low_count, high_count;
      double low_mean, high_mean;
      ucFindOtsuThCS1(work, m, 1, &low_count, &high_count, &low_mean, &high_mean, nullptr);
      block_values[by * (w / s) + bx] =
          static_cast<uint8_t>(static_cast<uint32_t>(high_mean - low_mean));
    }
  }
  *block_count = static_cast<uint32_t>((w / s) * (h / s));
}

}  // namespace simple
