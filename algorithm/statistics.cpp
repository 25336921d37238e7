// Sums, minima and deviations of 8-bit areas, and the deviation of doubles.
#include <algorithm>
#include <cmath>
#include <limits>

#include "algorithm/bytes.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

using orva::plane;

// The sum of the pixels, or -1 when one of them is below the floor.
int64_t sum_from_floor(const plane<const uint8_t> &area, uint8_t floor) {
  uint64_t sum = 0;
  for (size_t y = 0; y < area.height; ++y) {
    const uint8_t *row = area.row(y);
    const auto holds = [&](size_t offset, size_t count) {
      orva::byte_sum block;
      auto least = orva::splat<uint8_t>(255);
      orva::for_each_vector<uint8_t, 16>(count, [&](auto at) ORVA_INLINE {
        block.add(at(row + offset));
        least = orva::minimum(least, at(row + offset, 255));
      });
      sum += block.total();
      return orva::smallest_lane(least) >= floor;
    };
    if (!orva::all_of_blocks<orva::kSumBlock>(area.width, holds)) return -1;
  }
  return static_cast<int64_t>(sum);
}

}  // namespace

int32_t count_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows, int32_t cols,
                            int32_t min_level) {
  const auto area = plane(image, cols, rows, stride).joined();
  if (min_level <= 0) return static_cast<int32_t>(orva::sum(area));
  if (min_level > 255) return area.empty() ? 0 : -1;
  return static_cast<int32_t>(sum_from_floor(area, static_cast<uint8_t>(min_level)));
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
  const auto box = pixels.centre(box_width, box_height).joined();
  orva::byte_minimum least;
  for (size_t y = 0; y < box.height; ++y) least.add(box.row(y), box.width);
  return least.value();
}

uint32_t euclidean_distance_cs1(const uint8_t *image_a, const uint8_t *image_b, int32_t stride,
                                int32_t rows, int32_t cols) {
  const auto a = plane(image_a, cols, rows, stride).joined();
  const auto b = plane(image_b, cols, rows, stride).joined();
  uint64_t sum = 0;
  for (size_t y = 0; y < a.height; ++y) {
    sum += orva::sum_of_squared_differences(a.row(y), b.row(y), a.width);
  }
  return static_cast<uint32_t>(sum);
}

double standard_deviation(const uint8_t *data, int32_t count) {
  if (count <= 0) return 0.0;
  const uint32_t size = static_cast<uint32_t>(count);
  const orva::moments m = orva::moments_of(data, size);
  return std::sqrt(static_cast<double>(m.squared_deviations(size, m.sum / size) / size));
}

double calculate_sd(const double *values, int32_t count) {
  // The sums run in index order. The squares may be computed two at a time.
  const size_t size = count > 0 ? static_cast<size_t>(count) : 0;
  double sum = 0.0;
  orva::for_each_step<1, 8>(size, [&](size_t i) ORVA_INLINE { sum += values[i]; });
  const double mean = sum / count;
  double spread = 0.0;
  const size_t paired = orva::for_each_step<2, 4>(size, [&](size_t i) ORVA_INLINE {
    const auto deviations = orva::load<orva::vector<double, 2>>(values + i) - mean;
    const auto squares = deviations * deviations;
    spread += squares[0];
    spread += squares[1];
  });
  if (paired != size) spread += (values[paired] - mean) * (values[paired] - mean);
  const double deviation = std::sqrt(spread / count);
  // One not-a-number for all: those of 0 / 0 and of infinities differ in sign between processors.
  if (std::isnan(deviation)) return std::numeric_limits<double>::quiet_NaN();
  return deviation;
}
