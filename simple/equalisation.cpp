#include "simple/simple_forms.h"

namespace simple {

void histeq(uint8_t *image, int32_t width, int32_t height) {
  if (is_empty(width, height)) return;
  const int32_t n = width * height;
  int32_t hist[256] = {};
  for (int32_t i = 0; i < n; ++i) ++hist[image[i]];
  int32_t table[256];
  int32_t cdf = 0;
  for (int32_t k = 0; k < 256; ++k) {
    cdf += hist[k];
    table[k] = (255 * cdf + n / 2) / n;
  }
  for (int32_t i = 0; i < n; ++i) image[i] = static_cast<uint8_t>(table[image[i]]);
}

void histeq_white(uint8_t *image, int32_t width, int32_t height, int32_t white_percent) {
  if (is_empty(width, height)) return;
  const int32_t n = width * height;
  const int32_t t = n * white_percent / 100;
  const int32_t d = n - t;
  if (d == 0) return;
  int32_t hist[256] = {};
  for (int32_t i = 0; i < n; ++i) ++hist[image[i]];
  int32_t cut = 255;
  for (int32_t r = t; cut >= 0; --cut) {
    r -= hist[cut];
    if (r <= 0) break;
  }
  if (cut < 0) return;
  int32_t table[256] = {};
  int32_t cdf = 0;
  for (int32_t k = 0; k < cut; ++k) {
    cdf += hist[k];
    table[k] = (255 * cdf + d / 2) / d;
  }
  for (int32_t i = 0; i < n; ++i) {
    if (image[i] < cut) image[i] = static_cast<uint8_t>(table[image[i]]);
  }
}

}  // namespace simple
