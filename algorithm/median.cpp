// Sorting of bytes and the 3 x 3 median filter.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "algorithm/lane_blocks.h"
#include "algorithm/median_of_nine.h"
#include "orva_fp/image.h"

namespace {

// Above this many bytes counting them costs less than moving them.
constexpr int32_t kInsertionSortLimit = 64;

void insertion_sort(uint8_t *values, int32_t count) {
  for (int32_t i = 1; i < count; ++i) {
    const uint8_t value = values[i];
    int32_t place = i;
    for (; place > 0 && values[place - 1] > value; --place) values[place] = values[place - 1];
    values[place] = value;
  }
}

void counting_sort(uint8_t *values, int32_t count) {
  uint32_t occurrences[256] = {};
  for (int32_t i = 0; i < count; ++i) ++occurrences[values[i]];
  for (int32_t level = 0; level < 256; ++level) {
    memset(values, level, occurrences[level]);
    values += occurrences[level];
  }
}

// A tile of sorted columns, small enough to stay in the first-level cache, with a column before
// and after it.
constexpr size_t kTile = 512;
struct column_tile {
  uint8_t low[kTile + 2];
  uint8_t middle[kTile + 2];
  uint8_t high[kTile + 2];

  orva::sorted_column operator[](size_t i) const { return {low[i], middle[i], high[i]}; }
  void set(size_t i, orva::sorted_column column) {
    low[i] = column.low;
    middle[i] = column.middle;
    high[i] = column.high;
  }
};

// Filters one row from the three rows of the copy that its windows cover. A column outside the
// image repeats the border column.
void filter_row(const uint8_t *above, const uint8_t *row, const uint8_t *below, size_t width,
                uint8_t *__restrict out) {
  column_tile columns;
  const auto sort_columns = [&](size_t x, size_t place, auto count) {
    for (size_t i = 0; i < count; ++i) {
      columns.set(place + i, orva::sort_column(above[x + i], row[x + i], below[x + i]));
    }
  };
  for (size_t start = 0; start < width; start += kTile) {
    const size_t count = std::min(kTile, width - start);
    const size_t end = start + count;
    orva::for_lane_blocks(
        count, [&](size_t offset, auto block) { sort_columns(start + offset, offset + 1, block); });
    sort_columns(start == 0 ? 0 : start - 1, 0, size_t{1});
    sort_columns(end == width ? width - 1 : end, count + 1, size_t{1});
    orva::for_lane_blocks(count, [&](size_t offset, auto block) {
      for (size_t i = offset; i < offset + block; ++i) {
        out[start + i] = orva::median_of_nine(columns[i], columns[i + 1], columns[i + 2]);
      }
    });
  }
}

}  // namespace

void sort(uint8_t *values, int32_t count) {
  if (values == nullptr || count < 2) return;
  if (count <= kInsertionSortLimit) {
    insertion_sort(values, count);
  } else {
    counting_sort(values, count);
  }
}

void median_filter(uint8_t *image, uint8_t *work, int32_t width, int32_t height) {
  if (width < 2 || height < 2) return;
  const size_t columns = static_cast<size_t>(width);
  const size_t rows = static_cast<size_t>(height);
  memcpy(work, image, columns * rows);
  for (size_t y = 0; y < rows; ++y) {
    const uint8_t *row = work + y * columns;
    const uint8_t *above = y == 0 ? row : row - columns;
    const uint8_t *below = y == rows - 1 ? row : row + columns;
    filter_row(above, row, below, columns, image + y * columns);
  }
}
