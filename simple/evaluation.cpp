#include <cmath>
#include <cstdlib>
#include <cstring>

#include "simple/simple_forms.h"

namespace simple {

namespace {

// Length of the straight run of marked pixels that starts at (row, col) and goes on by (down,
// right).
int32_t run_length(const image_eval_record *record, int32_t row, int32_t col, int32_t down,
                   int32_t right) {
  const int32_t width = g_img_alg_sd.width;
  const int32_t height = g_img_alg_sd.height;
  int32_t length = 0;
  while (row < height && col >= 0 && col < width && record->mark_map[row * width + col] != 0) {
    ++length;
    row += down;
    col += right;
  }
  return length;
}

}  // namespace

int32_t evaluate_image(image_eval_record *record) {
  const bool empty = is_empty(g_img_alg_sd.width, g_img_alg_sd.height);
  const int32_t width = empty ? 0 : g_img_alg_sd.width;
  const int32_t height = empty ? 0 : g_img_alg_sd.height;
  const int32_t size = width * height;
  const uint32_t flags = record->check_flags;

  record->mean = 0;
  record->high_count = 0;
  record->deviation_count = 0;
  record->low_count = 0;
  record->defect_found = 0;
  record->max_run = 0;
  record->std_dev = 0.0;
  memset(record->mark_map, 0, static_cast<size_t>(size));

  uint32_t sum = 0;
  for (int32_t row = 0; row < height; ++row) {
    for (int32_t col = 0; col < width; ++col) {
      const int32_t index = row * width + col;
      const int32_t pixel = record->image[index];
      sum += static_cast<uint32_t>(pixel);
      if ((flags & EVAL_CHECK_HIGH) != 0 && pixel > record->high_threshold) {
        record->high_count += 1;
        record->mark_map[index] |= MARK_HIGH;
      }
      if ((flags & EVAL_CHECK_LOW) != 0 && pixel < record->low_threshold) {
        record->low_count += 1;
        record->mark_map[index] |= MARK_LOW;
        if ((flags & EVAL_SPREAD_LOW) != 0 && col < width - 1) {
          const int32_t neighbour = record->image[index + 1];
          if (neighbour >= record->low_threshold) {
            record->mark_map[index + 1] |= MARK_LOW;
            if (neighbour <= record->high_threshold) record->low_count += 1;
          }
        }
      }
    }
  }
  if (size != 0) record->mean = static_cast<uint8_t>(sum / static_cast<uint32_t>(size));

  uint32_t spread = 0;
  for (int32_t index = 0; index < size; ++index) {
    const int32_t distance = record->image[index] - record->mean;
    spread += static_cast<uint32_t>(distance * distance);
  }
  record->std_dev = size == 0 ? NAN : sqrt(static_cast<double>(spread) / static_cast<double>(size));

  if ((flags & EVAL_CHECK_DEVIATION) != 0) {
    for (int32_t index = 0; index < size; ++index) {
      if (abs(record->image[index] - record->mean) > record->deviation_threshold) {
        record->deviation_count += 1;
        record->mark_map[index] |= MARK_DEVIATION;
      }
    }
  }

  if (flags == 0 || record->line_check == 0) return 0;
  for (int32_t row = 0; row < height; ++row) {
    for (int32_t col = 0; col < width; ++col) {
      const uint8_t *mark = record->mark_map + row * width + col;
      if (*mark == 0) continue;
      static constexpr int32_t kDirections[4][2] = {{0, 1}, {1, 0}, {1, 1}, {1, -1}};
      for (const auto &[down, right] : kDirections) {
        const int32_t length = run_length(record, row, col, down, right);
        if (length > record->max_run) record->max_run = length;
      }
      if (row < height - 1 && col < width - 1 && mark[1] != 0 && mark[width] != 0 &&
          mark[width + 1] != 0) {
        record->defect_found = 1;
        if (record->max_run < EVAL_DEFECT_RUN) record->max_run = EVAL_DEFECT_RUN;
      }
      if (record->max_run >= EVAL_DEFECT_RUN) record->defect_found = 1;
    }
  }
  return 0;
}

}  // namespace simple
