// Sums, minima and deviations of 8-bit areas, and the deviation of doubles.
#include <cmath>
#include <limits>

#include "algorithm/byte_runs.h"
#include "algorithm/moments.h"
#include "orva_fp/image.h"

namespace {

using orva::byte_runs;
using orva::kSumBlock;

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
uint8_t smallest_of_runs(const byte_runs &runs, const uint8_t *first) {
  if (runs.count == 1) return orva::smallest_byte(first, runs.length);
  constexpr size_t kLanes = 64;
  uint8_t lanes[kLanes];
  std::fill_n(lanes, kLanes, uint8_t{255});
  for (size_t r = 0; r < runs.count; ++r) {
    const uint8_t *run = runs.begin(first, r);
    if (runs.length < kLanes) {
      lanes[0] = std::min(uint8_t{lanes[0]}, orva::smallest_byte(run, runs.length));
      continue;
    }
    for (size_t at = 0; at < runs.length; at += kLanes) {
      const uint8_t *block = run + std::min(at, runs.length - kLanes);
      for (size_t i = 0; i < kLanes; ++i) lanes[i] = std::min(uint8_t{lanes[i]}, uint8_t{block[i]});
    }
  }
  return orva::smallest_byte(lanes, kLanes);
}

}  // namespace

int32_t count_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows, int32_t cols,
                            int32_t min_level) {
  const byte_runs runs = orva::runs_of_area(stride, rows, cols);
  uint32_t sum = 0;
  for (size_t r = 0; r < runs.count; ++r) {
    const uint8_t *run = runs.begin(image, r);
    if (min_level <= 0) {
      sum += orva::sum_bytes(run, runs.length);
    } else if (!add_above(min_level, run, runs.length, &sum)) {
      return -1;
    }
  }
  return static_cast<int32_t>(sum);
}

int32_t count_average_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                    int32_t cols, int32_t min_level) {
  const int64_t count = static_cast<int64_t>(rows) * cols;
  if (count == 0) return 0;
  const int32_t sum = count_intensity_cs1(image, stride, rows, cols, min_level);
  return static_cast<int32_t>(sum / count);
}

int32_t calculate_minimum(const uint8_t *image, int32_t width, int32_t height, int32_t box_width,
                          int32_t box_height) {
  if (width <= 0 || height <= 0 || box_width <= 0 || box_height <= 0) return 255;
  const byte_runs runs = orva::runs_of_area(width, box_height, box_width);
  const ptrdiff_t first_row = (height - box_height) / 2;
  const ptrdiff_t first_column = (width - box_width) / 2;
  const uint8_t *box = image + (first_row * width + first_column);
  return smallest_of_runs(runs, box);
}

uint32_t euclidean_distance_cs1(const uint8_t *image_a, const uint8_t *image_b, int32_t stride,
                                int32_t rows, int32_t cols) {
  const byte_runs runs = orva::runs_of_area(stride, rows, cols);
  uint32_t sum = 0;
  for (size_t r = 0; r < runs.count; ++r) {
    sum += distance(runs.begin(image_a, r), runs.begin(image_b, r), runs.length);
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
  // 0.0 / 0 has a different sign on different processors.
  if (count == 0) return std::numeric_limits<double>::quiet_NaN();
  double sum = 0.0;
  for (int32_t i = 0; i < count; ++i) sum += values[i];
  const double mean = sum / count;
  double spread = 0.0;
  for (int32_t i = 0; i < count; ++i) spread += (values[i] - mean) * (values[i] - mean);
  return std::sqrt(spread / count);
}
