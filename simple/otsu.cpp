// Otsu's threshold, one pass over the pixels for every candidate.
#include "simple/simple_forms.h"

namespace simple {

namespace {

struct otsu {
  int32_t threshold = 0;
  int32_t low_count = 0;
  int32_t high_count = 0;
  float low_mean = 0;
  float high_mean = 0;
};

otsu search(const uint8_t *image, int32_t width, int32_t height, const uint8_t *mask) {
  if (is_empty(width, height)) return {};
  const int32_t pixels = width * height;
  const float total = static_cast<float>(width) * static_cast<float>(height);
  otsu best;
  float best_score = 0;
  for (int32_t t = 0; t < 256; ++t) {
    int32_t low_count = 0, low_sum = 0, high_count = 0, high_sum = 0;
    for (int32_t i = 0; i < pixels; ++i) {
      if (mask != nullptr && mask[i] != 0) continue;
      if (image[i] > t) {
        ++high_count;
        high_sum += image[i];
      } else {
        ++low_count;
        low_sum += image[i];
      }
    }
    if (low_count == 0 || high_count == 0) continue;
    const float low_mean = static_cast<float>(low_sum) / static_cast<float>(low_count);
    const float high_mean = static_cast<float>(high_sum) / static_cast<float>(high_count);
    const float low_share = static_cast<float>(low_count) / total;
    const float high_share = static_cast<float>(high_count) / total;
    const float d = low_mean - high_mean;
    const float score = d * ((low_share * high_share) * d);
    if (score > best_score) {
      best_score = score;
      best = {t, low_count, high_count, low_mean, high_mean};
    }
  }
  return best;
}

}  // namespace

int32_t find_otsu_th(const uint8_t *image, int32_t width, int32_t height, uint32_t *low_count,
                     uint32_t *high_count, uint8_t *low_mean, uint8_t *high_mean,
                     const uint8_t *mask) {
  const otsu found = search(image, width, height, mask);
  *low_count = static_cast<uint32_t>(found.low_count);
  *high_count = static_cast<uint32_t>(found.high_count);
  *low_mean = static_cast<uint8_t>(found.low_mean);
  *high_mean = static_cast<uint8_t>(found.high_mean);
  return found.threshold;
}

uint8_t ucFindOtsuThCS1(const uint8_t *image, int32_t width, int32_t height, uint32_t *low_count,
                        uint32_t *high_count, double *low_mean, double *high_mean,
                        const uint8_t *mask) {
  const otsu found = search(image, width, height, mask);
  *low_count = static_cast<uint32_t>(found.low_count);
  *high_count = static_cast<uint32_t>(found.high_count);
  *low_mean = static_cast<double>(found.low_mean);
  *high_mean = static_cast<double>(found.high_mean);
  return static_cast<uint8_t>(found.threshold);
}

}  // namespace simple
