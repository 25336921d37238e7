#include <cmath>

#include "simple/simple_forms.h"

namespace simple {

int32_t count_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows, int32_t cols,
                            int32_t min_level) {
  if (is_empty(cols, rows)) return 0;
  uint32_t sum = 0;
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) {
      const int32_t pixel = image[static_cast<int64_t>(r) * stride + c];
      if (min_level != 0 && pixel < min_level) return -1;
      sum += static_cast<uint32_t>(pixel);
    }
  }
  return static_cast<int32_t>(sum);
}

int32_t count_average_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                    int32_t cols, int32_t min_level) {
  if (is_empty(cols, rows)) return 0;
  const int32_t sum = simple::count_intensity_cs1(image, stride, rows, cols, min_level);
  return sum / (rows * cols);
}

int32_t calculate_minimum(const uint8_t *image, int32_t width, int32_t height, int32_t box_width,
                          int32_t box_height) {
  if (is_empty(width, height) || is_empty(box_width, box_height)) return 255;
  const int32_t first_row = (height - box_height) / 2;
  const int32_t first_column = (width - box_width) / 2;
  int32_t minimum = 255;
  for (int32_t r = 0; r < box_height; ++r) {
    for (int32_t c = 0; c < box_width; ++c) {
      const int32_t pixel = image[(first_row + r) * width + first_column + c];
      if (pixel < minimum) minimum = pixel;
    }
  }
  return minimum;
}

uint32_t euclidean_distance_cs1(const uint8_t *image_a, const uint8_t *image_b, int32_t stride,
                                int32_t rows, int32_t cols) {
  if (is_empty(cols, rows)) return 0;
  uint32_t sum = 0;
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) {
      const int64_t index = static_cast<int64_t>(r) * stride + c;
      const int32_t difference = image_b[index] - image_a[index];
      sum += static_cast<uint32_t>(difference * difference);
    }
  }
  return sum;
}

double standard_deviation(const uint8_t *data, int32_t count) {
  if (count <= 0) return 0.0;
  const uint32_t size = static_cast<uint32_t>(count);
  uint32_t sum = 0;
  for (uint32_t i = 0; i < size; ++i) sum += data[i];
  const uint32_t mean = sum / size;
  uint32_t squares = 0;
  for (uint32_t i = 0; i < size; ++i) squares += (data[i] - mean) * (data[i] - mean);
  return std::sqrt(static_cast<double>(squares / size));
}

double calculate_sd(const double *values, int32_t count) {
  double sum = 0.0;
  for (int32_t i = 0; i < count; ++i) sum += values[i];
  const double mean = sum / count;
  double squares = 0.0;
  for (int32_t i = 0; i < count; ++i) {
    const double difference = values[i] - mean;
    squares += difference * difference;
  }
  const double deviation = std::sqrt(squares / count);
  return std::isnan(deviation) ? double{NAN} : deviation;
}

}  // namespace simple
