// Saturated samples of raw frames, the mean of the image centre, and the offset of an image.
#include "algorithm/byte_runs.h"
#include "algorithm/lane_blocks.h"
#include "orva_fp/image.h"
#include "orva_fp/log.h"
#include "platform/log_line.h"

namespace {

constexpr uint16_t kWhiteNoiseLevel = 65535;
constexpr uint32_t kWhiteNoiseMinCount = 100;

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
    count = static_cast<int16_t>(count + (samples[i] == kWhiteNoiseLevel));
  }
  return static_cast<uint16_t>(count);
}

uint32_t count_saturated(const uint16_t *samples, size_t size) {
  uint32_t count = 0;
  for (size_t at = 0; at < size; at += kStretch) {
    count += count_saturated_in_stretch(samples + at, std::min(kStretch, size - at));
  }
  return count;
}

// Of all columns but the first and the last; at least three columns. The extremes stay in lanes
// until the last row. A count cannot overlap as they may, so whole rows are counted at once and the
// outer samples taken off again.
sample_summary summarise(const uint16_t *frame, size_t width, size_t height) {
  constexpr size_t kLanes = 32;
  uint16_t max[kLanes] = {};
  uint16_t min[kLanes];
  std::fill_n(min, kLanes, uint16_t{65535});
  sample_summary summary;
  const size_t rows_at_once = std::max<size_t>(1, kStretch / width);
  for (size_t first = 0; first < height; first += rows_at_once) {
    const size_t rows = std::min(rows_at_once, height - first);
    const uint16_t *band = frame + first * width;
    for (size_t r = 0; r < rows; ++r) {
      const uint16_t *row = band + r * width;
      orva::for_lane_blocks<kLanes>(width - 2, [&](size_t offset, auto count) {
        for (size_t lane = 0; lane < count; ++lane) {
          const uint16_t sample = row[1 + offset + lane];
          max[lane] = std::max(uint16_t{max[lane]}, sample);
          min[lane] = std::min(uint16_t{min[lane]}, sample);
        }
      });
      summary.saturated -= row[0] == kWhiteNoiseLevel;
      summary.saturated -= row[width - 1] == kWhiteNoiseLevel;
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
  sample_summary summary;
  if (width > 2) summary = summarise(frame, width, height);
  output_log(orva::kLogDebug, orva::kLogTag, "orva_image_algorithm", "is_mq4xx_white_noise", 1561,
             "DBG_NOIDSE k=%d, max=%d, min=%d", static_cast<int>(summary.saturated), summary.max,
             summary.min);
  if (summary.saturated < kWhiteNoiseMinCount) return 0;
  output_log(orva::kLogDebug, orva::kLogTag, "orva_image_algorithm", "is_mq4xx_white_noise", 1564,
             "white_noise %d", static_cast<int>(summary.saturated));
  return 1;
}

int32_t image_center_mean(const uint8_t *image, int32_t width, int32_t height, int32_t size) {
  if (size > height || size > width || image == nullptr) return -1;
  if (size <= 0) return 0;
  const orva::byte_runs runs = orva::runs_of_area(width, size, size);
  const ptrdiff_t first_row = (height - size) / 2;
  const ptrdiff_t first_column = (width - size) / 2;
  const uint8_t *square = image + (first_row * width + first_column);
  uint32_t sum = 0;
  for (size_t r = 0; r < runs.count; ++r) {
    sum += orva::sum_bytes(runs.begin(square, r), runs.length);
  }
  return static_cast<int32_t>(static_cast<int32_t>(sum) / (static_cast<int64_t>(size) * size));
}

int32_t offset_min(uint8_t *image, const uint8_t *mask, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return 255;
  const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height);
  const uint8_t min = smallest_unmasked(image, mask, size);
  for (size_t i = 0; i < size; ++i) image[i] = static_cast<uint8_t>(image[i] - min);
  return min;
}
