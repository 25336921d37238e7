// Sorting of bytes and the 3 x 3 median filter.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <utility>

#include "algorithm/block_walk.h"
#include "algorithm/median_of_nine.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

// The bytes of a 3 x 3 window are sorted by a fixed sequence of exchanges, without a branch.
constexpr size_t kWindow = 9;
constexpr struct {
  uint8_t lower;
  uint8_t upper;
} kExchanges[] = {{0, 3}, {1, 7}, {2, 5}, {4, 8}, {0, 7}, {2, 4}, {3, 8}, {5, 6}, {0, 2},
                  {1, 3}, {4, 5}, {7, 8}, {1, 4}, {3, 6}, {5, 7}, {0, 1}, {2, 4}, {3, 5},
                  {6, 8}, {2, 3}, {4, 5}, {6, 7}, {1, 2}, {3, 4}, {5, 6}};

void exchange(uint8_t &lower, uint8_t &upper) {
  const uint8_t smaller = orva::minimum(lower, upper);
  upper = orva::maximum(lower, upper);
  lower = smaller;
}

template <size_t... k>
void sort_window(uint8_t *values, std::index_sequence<k...>) {
  uint8_t window[kWindow];
  memcpy(window, values, kWindow);
  (exchange(window[kExchanges[k].lower], window[kExchanges[k].upper]), ...);
  memcpy(values, window, kWindow);
}

// More bytes than this are sorted faster by counting than by insertion.
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

// Pixels whose medians are computed together.
constexpr size_t kLanes = 32;

// Columns filtered together: few enough that their sorted triples stay in the first-level cache.
constexpr size_t kTile = 512;

// The sorted triples of a row: every pixel of the tile with its neighbours to the left and right.
struct triple_row {
  alignas(64) uint8_t low[kTile];
  alignas(64) uint8_t middle[kTile];
  alignas(64) uint8_t high[kTile];

  orva::triple<uint8_t> operator[](size_t i) const { return {low[i], middle[i], high[i]}; }
  void set(size_t i, orva::triple<uint8_t> t) {
    low[i] = t.low;
    middle[i] = t.middle;
    high[i] = t.high;
  }
};

// Sorts the triples of columns start to start + count - 1. A pixel beside the image repeats the
// border pixel.
void sort_row(const uint8_t *row, size_t width, size_t start, size_t count, triple_row &out) {
  const size_t first = start == 0 ? 1 : 0;
  const size_t last = start + count == width ? count - 1 : count;
  if (first == 1) out.set(0, orva::sort_triple(row[0], row[0], row[1]));
  if (last < count) {
    out.set(last, orva::sort_triple(row[width - 2], row[width - 1], row[width - 1]));
  }
  if (last <= first) return;
  const uint8_t *left = row + start + first - 1;
  orva::for_each_overlapping_block<kLanes>(last - first, [&](size_t offset, auto block) {
    for (size_t i = offset; i < offset + block; ++i) {
      out.set(first + i, orva::sort_triple(left[i], left[i + 1], left[i + 2]));
    }
  });
}

void combine_rows(const triple_row &above, const triple_row &row, const triple_row &below,
                  size_t count, uint8_t *__restrict out) {
  orva::for_each_overlapping_block<kLanes>(count, [&](size_t offset, auto block) {
    for (size_t i = offset; i < offset + block; ++i) {
      out[i] = orva::median_of_nine(above[i], row[i], below[i]);
    }
  });
}

}  // namespace

void sort(uint8_t *values, int32_t count) {
  if (values == nullptr || count < 2) return;
  if (count == kWindow) {
    sort_window(values, std::make_index_sequence<std::size(kExchanges)>());
  } else if (count <= kInsertionSortLimit) {
    insertion_sort(values, count);
  } else {
    counting_sort(values, count);
  }
}

void median_filter(uint8_t *image, uint8_t *work, int32_t width, int32_t height) {
  const orva::plane pixels(image, width, height);
  const size_t columns = pixels.width;
  const size_t rows = pixels.height;
  if (columns < 2 || rows < 2) return;
  memcpy(work, image, pixels.size());
  for (size_t start = 0; start < columns; start += kTile) {
    const size_t count = std::min(kTile, columns - start);
    triple_row triples[3];
    sort_row(work, columns, start, count, triples[0]);
    for (size_t y = 0; y < rows; ++y) {
      const size_t above = y == 0 ? 0 : y - 1;
      const size_t below = y == rows - 1 ? y : y + 1;
      if (below > y) sort_row(work + below * columns, columns, start, count, triples[below % 3]);
      combine_rows(triples[above % 3], triples[y % 3], triples[below % 3], count,
                   image + y * columns + start);
    }
  }
}
