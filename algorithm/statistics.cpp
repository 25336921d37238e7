// Sums, minima and deviations of 8-bit areas, and the deviation of doubles.
#include <cmath>
#include <limits>

#include "algorithm/byte_runs.h"
#include "algorithm/moments.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

using orva::kSumBlock;
using orva::plane;

[[gnu::always_inline]] inline uint32_t distance_of_block(const uint8_t *a, const uint8_t *b,
                                                         size_t size) {
  int16_t differences[kSumBlock];
  for (size_t i = 0; i < size; ++i) differences[i] = static_cast<int16_t>(b[i] - a[i]);
  return orva::sum_squares(differences, size);
}

uint32_t distance(const uint8_t *a, const uint8_t *b, size_t size) {
  uint32_t sum = 0;
  for (; size >= kSumBlock; size -= kSumBlock, a += kSumBlock, b += kSumBlock) {
    sum += distance_of_block(a, b, kSumBlock);
  }
  return sum + distance_of_block(a, b, size);
}

inline bool add_block_above(int32_t floor, const uint8_t *bytes, size_t size, uint32_t *sum) {
  if (size > 0 && orva::smallest_byte(bytes, size) < floor) return false;
  *sum += orva::sum_block(bytes, size);
  return true;
}

// Adds the bytes to *sum unless one of them is below the floor.
bool add_above(int32_t floor, const uint8_t *bytes, size_t size, uint32_t *sum) {
  for (; size >= kSumBlock; size -= kSumBlock, bytes += kSumBlock) {
    if (!add_block_above(floor, bytes, kSumBlock, sum)) return false;
  }
  return add_block_above(floor, bytes, size, sum);
}

// The smallest byte of all runs. It is kept in lanes until the end, and the last block of a run
// overlaps the one before it, so that none of many runs has an end of its own to pay for.
uint8_t smallest_in(const plane<const uint8_t> &area) {
  if (area.height == 1) return orva::smallest_byte(area.data, area.width);
  constexpr size_t kLanes = 64;
  uint8_t lanes[kLanes];
  std::fill_n(lanes, kLanes, uint8_t{255});
  for (size_t y = 0; y < area.height; ++y) {
    const uint8_t *row = area.row(y);
    if (area.width < kLanes) {
      lanes[0] = std::min(uint8_t{lanes[0]}, orva::smallest_byte(row, area.width));
      continue;
    }
    for (size_t at = 0; at < area.width; at += kLanes) {
      const uint8_t *block = row + std::min(at, area.width - kLanes);
      for (size_t i = 0; i < kLanes; ++i) lanes[i] = std::min(uint8_t{lanes[i]}, uint8_t{block[i]});
    }
  }
  return orva::smallest_byte(lanes, kLanes);
}

}  // namespace

int32_t count_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows, int32_t cols,
                            int32_t min_level) {
  const auto area = plane(image, cols, rows, stride).joined();
  uint32_t sum = 0;
  for (size_t y = 0; y < area.height; ++y) {
    const uint8_t *row = area.row(y);
    if (min_level <= 0) {
      sum += orva::sum_bytes(row, area.width);
    } else if (!add_above(min_level, row, area.width, &sum)) {
      return -1;
    }
  }
  return static_cast<int32_t>(sum);
}

int32_t count_average_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                    int32_t cols, int32_t min_level) {
  const plane area(image, cols, rows, stride);
  if (area.empty()) return 0;
  const int32_t sum = count_intensity_cs1(image, stride, rows, cols, min_level);
  return sum / static_cast<int32_t>(area.size());
}

int32_t calculate_minimum(const uint8_t *image, int32_t width, int32_t height, int32_t box_width,
                          int32_t box_height) {
  const plane pixels(image, width, height);
  if (pixels.empty()) return 255;
  return smallest_in(pixels.centre(box_width, box_height).joined());
}

uint32_t euclidean_distance_cs1(const uint8_t *image_a, const uint8_t *image_b, int32_t stride,
                                int32_t rows, int32_t cols) {
  const auto a = plane(image_a, cols, rows, stride).joined();
  const auto b = plane(image_b, cols, rows, stride).joined();
  uint32_t sum = 0;
  for (size_t y = 0; y < a.height; ++y) {
    sum += distance(a.row(y), b.row(y), a.width);
  }
  return sum;
}

double standard_deviation(const uint8_t *data, int32_t count) {
  if (count <= 0) return 0.0;
  const uint32_t size = static_cast<uint32_t>(count);
  const orva::moments m = orva::moments_of(data, size);
  return std::sqrt(static_cast<double>(m.spread(size, m.sum / size) / size));
}

double calculate_sd(const double *values, int32_t count) {
  double sum = 0.0;
  for (int32_t i = 0; i < count; ++i) sum += values[i];
  const double mean = sum / count;
  double spread = 0.0;
  for (int32_t i = 0; i < count; ++i) spread += (values[i] - mean) * (values[i] - mean);
  const double deviation = std::sqrt(spread / count);
  // One for all: what 0 / 0 or infinities give has a different sign on different processors.
  if (std::isnan(deviation)) return std::numeric_limits<double>::quiet_NaN();
  return deviation;
}
