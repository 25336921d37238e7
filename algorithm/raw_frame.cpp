// Saturated samples of raw frames, the mean of the image centre, and the offset of an image.
#include <algorithm>

#include "algorithm/block_walk.h"
#include "algorithm/bytes.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"
#include "orva_fp/log.h"
#include "platform/log_line.h"

namespace {

struct sample_summary {
  uint32_t saturated = 0;
  uint16_t max = 0;
  uint16_t min = 65535;
};

// Of all columns but the first and the last.
sample_summary summarise(const orva::plane<const uint16_t> &frame) {
  using samples = orva::vector<uint16_t>;
  sample_summary summary;
  if (frame.width <= 2) return summary;
  samples max = {};
  samples min = ~max;
  for (size_t y = 0; y < frame.height; ++y) {
    const uint16_t *inner = frame.row(y) + 1;
    // A lane counts up to 2^16 - 1 samples.
    constexpr size_t kBlock = 32768 * orva::kLanes<uint16_t>;
    orva::for_each_block<kBlock>(frame.width - 2, [&](size_t offset, size_t count) ORVA_INLINE {
      samples saturated = {};
      orva::for_each_vector<uint16_t>(count, [&](auto at) ORVA_INLINE {
        const samples v = at(inner + offset);
        max = orva::maximum(max, v);
        min = orva::minimum(min, at(inner + offset, 65535));
        saturated += orva::at_least(v, orva::splat<uint16_t>(WHITE_NOISE_LEVEL));
      });
      orva::pair_sum<uint16_t, uint32_t> counts;
      counts.add(-saturated);
      summary.saturated += orva::sum_of_lanes(counts.lower() + counts.upper());
    });
  }
  for (const uint16_t lane : orva::lane_array<uint16_t>(max))
    summary.max = orva::maximum(summary.max, lane);
  for (const uint16_t lane : orva::lane_array<uint16_t>(min))
    summary.min = orva::minimum(summary.min, lane);
  return summary;
}

// The smallest pixel whose mask byte is not 1.
uint8_t smallest_unmasked(const uint8_t *image, const uint8_t *mask, size_t size) {
  uint8_t smallest = 255;
  for (size_t i = 0; i < size; ++i) {
    const uint8_t excluded = static_cast<uint8_t>(-(mask[i] == 1));
    smallest = std::min(smallest, static_cast<uint8_t>(image[i] | excluded));
  }
  return smallest;
}

}  // namespace

int32_t is_mq4xx_white_noise(const uint16_t *frame, uint32_t width, uint32_t height) {
  const sample_summary summary = summarise({frame, width, height});
  output_log(orva::kLogDebug, orva::kLogTag, "orva_image_algorithm", "is_mq4xx_white_noise", 1561,
             "DBG_NOIDSE k=%d, max=%d, min=%d", static_cast<int>(summary.saturated), summary.max,
             summary.min);
  if (summary.saturated < WHITE_NOISE_MIN_COUNT) return 0;
  output_log(orva::kLogDebug, orva::kLogTag, "orva_image_algorithm", "is_mq4xx_white_noise", 1564,
             "white_noise %d", static_cast<int>(summary.saturated));
  return 1;
}

int32_t image_center_mean(const uint8_t *image, int32_t width, int32_t height, int32_t size) {
  if (size > height || size > width || image == nullptr) return -1;
  if (size <= 0) return 0;
  const orva::plane pixels(image, width, height);
  if (pixels.empty()) return -1;  // no square fits into an empty image
  const auto square = pixels.centre(size, size).joined();
  return static_cast<int32_t>(orva::sum(square)) / (size * size);
}

int32_t offset_min(uint8_t *image, const uint8_t *mask, int32_t width, int32_t height) {
  const size_t size = orva::plane(image, width, height).size();
  const uint8_t min = smallest_unmasked(image, mask, size);
  for (size_t i = 0; i < size; ++i) image[i] = static_cast<uint8_t>(image[i] - min);
  return min;
}
