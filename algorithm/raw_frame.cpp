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

// Short enough to stay in the first-level cache between two loops, and for a 16-bit count.
constexpr size_t kStretch = 4096;

// A loop of its own with a signed 16-bit count: in any other form GCC or Clang widens the lanes.
uint16_t count_saturated_in_stretch(const uint16_t *samples, size_t size) {
  int16_t count = 0;
  for (size_t i = 0; i < size; ++i) {
    count = static_cast<int16_t>(count + (samples[i] == WHITE_NOISE_LEVEL));
  }
  return static_cast<uint16_t>(count);
}

uint32_t count_saturated(const uint16_t *samples, size_t size) {
  uint32_t saturated = 0;
  orva::for_each_block<kStretch>(size, [&](size_t offset, size_t count) {
    saturated += count_saturated_in_stretch(samples + offset, count);
  });
  return saturated;
}

// Of all columns but the first and the last. The extremes stay in lanes
// until the last row. A count cannot overlap as they may, so whole rows are counted at once and the
// outer samples taken off again.
sample_summary summarise(const orva::plane<const uint16_t> &frame) {
  const size_t width = frame.width;
  if (width <= 2) return {};
  constexpr size_t kLanes = 32;
  uint16_t max[kLanes] = {};
  uint16_t min[kLanes];
  std::fill_n(min, kLanes, uint16_t{65535});
  sample_summary summary;
  const size_t rows_at_once = std::max<size_t>(1, kStretch / width);
  for (size_t first = 0; first < frame.height; first += rows_at_once) {
    const size_t rows = std::min(rows_at_once, frame.height - first);
    const uint16_t *band = frame.row(first);
    for (size_t r = 0; r < rows; ++r) {
      const uint16_t *row = band + r * width;
      orva::for_each_overlapping_block<kLanes>(width - 2, [&](size_t offset, auto count) {
        for (size_t lane = 0; lane < count; ++lane) {
          const uint16_t sample = row[1 + offset + lane];
          max[lane] = std::max(uint16_t{max[lane]}, sample);
          min[lane] = std::min(uint16_t{min[lane]}, sample);
        }
      });
      summary.saturated -= row[0] == WHITE_NOISE_LEVEL;
      summary.saturated -= row[width - 1] == WHITE_NOISE_LEVEL;
    }
    summary.saturated += count_saturated(band, rows * width);
  }
  summary.max = *std::max_element(max, max + kLanes);
  summary.min = *std::min_element(min, min + kLanes);
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
  if (pixels.empty()) return -1;  // nor does a square fit when there are too many pixels
  const auto square = pixels.centre(size, size).joined();
  return static_cast<int32_t>(orva::sum(square)) / (size * size);
}

int32_t offset_min(uint8_t *image, const uint8_t *mask, int32_t width, int32_t height) {
  const size_t size = orva::plane(image, width, height).size();
  const uint8_t min = smallest_unmasked(image, mask, size);
  for (size_t i = 0; i < size; ++i) image[i] = static_cast<uint8_t>(image[i] - min);
  return min;
}
