// Water detection: wide dark bands across adjacent rows or columns.
#include <algorithm>
#include <cstddef>

#include "algorithm/bytes.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

// A pixel below the threshold and more than WATER_RUN_LIMIT not above it.
constexpr size_t kDarkStretch = WATER_RUN_LIMIT + 2;
constexpr size_t kWaterStreak = WATER_STREAK_LIMIT + 1;

// The start of the first `length` adjacent places within [first, end) that all hold, or end when
// there are none. A window is looked at from its far end: a place that does not hold rules out
// every window that covers it. So most places are never asked, and none twice.
template <typename Holds>
size_t find_streak(size_t first, size_t end, size_t length, Holds holds) {
  size_t known = first;  // [first, known) hold
  while (first + length <= end) {
    size_t place = first + length;
    while (place > known && holds(place - 1)) --place;
    if (place == known) return first;
    known = first + length;
    first = place;
  }
  return end;
}

// The first place from `place` on that does not hold, or end.
template <typename Holds>
size_t find_end(size_t place, size_t end, Holds holds) {
  while (place < end && holds(place)) ++place;
  return place;
}

// True when the line of the given mean, its pixels `step` bytes apart, has a dark stretch within
// [first, end) that is closed there by a pixel above the threshold.
bool has_dark_stretch(const uint8_t *line, size_t step, size_t first, size_t end, uint64_t mean) {
  if (mean < WATER_MARGIN) return false;
  const uint64_t threshold = mean - WATER_MARGIN;
  const auto dark = [=](size_t i) { return line[i * step] <= threshold; };
  for (;;) {
    first = find_streak(first, end, kDarkStretch, dark);
    if (first == end) return false;
    const size_t close = find_end(first + kDarkStretch, end, dark);
    if (close == end) return false;
    // A pixel equal to the threshold continues a stretch but does not start one.
    first = find_end(first, close, [=](size_t i) { return line[i * step] == threshold; });
    if (close - first >= kDarkStretch) return true;
    first = close + 1;
  }
}

// A streak that reaches the last line does not count, whatever it holds.
template <typename Qualifies>
bool has_water(size_t lines, Qualifies qualifies) {
  const size_t first = find_streak(0, lines, kWaterStreak, qualifies);
  return first != lines && find_end(first + kWaterStreak, lines, qualifies) != lines;
}

// The sums of adjacent columns, taken row by row for a block of columns around the one asked for.
class column_sums {
 public:
  column_sums(const uint8_t *image, size_t width, size_t height)
      : image_(image), width_(width), height_(height) {}

  uint64_t of(size_t column) {
    if (column < first_ || column - first_ >= count_) fill(column);
    return sums_[column - first_];
  }

 private:
  static constexpr size_t kColumns = 256;
  static constexpr size_t kRows = 256;  // their sum fits 16 bits

  // Streaks are looked at from their far end, so the block begins the length of a streak before the
  // column.
  void fill(size_t column) {
    count_ = std::min(kColumns, width_);
    first_ = std::min(column - std::min(column, kWaterStreak - 1), width_ - count_);
    for (uint64_t &sum : sums_) sum = 0;
    for (size_t row = 0; row < height_; row += kRows) {
      add_rows(row, std::min(row + kRows, height_));
    }
  }

  void add_rows(size_t row, size_t end) {
    const size_t count = count_;
    uint16_t block[kColumns] = {};
    for (; row + 4 <= end; row += 4) {
      const uint8_t *row_0 = image_ + row * width_ + first_;
      const uint8_t *row_1 = row_0 + width_;
      const uint8_t *row_2 = row_1 + width_;
      const uint8_t *row_3 = row_2 + width_;
      for (size_t i = 0; i < count; ++i) {
        block[i] = static_cast<uint16_t>(block[i] + row_0[i] + row_1[i] + row_2[i] + row_3[i]);
      }
    }
    for (; row < end; ++row) {
      const uint8_t *pixels = image_ + row * width_ + first_;
      for (size_t i = 0; i < count; ++i) block[i] = static_cast<uint16_t>(block[i] + pixels[i]);
    }
    for (size_t i = 0; i < count; ++i) sums_[i] += block[i];
  }

  const uint8_t *image_;
  size_t width_;
  size_t height_;
  size_t first_ = 0;
  size_t count_ = 0;
  uint64_t sums_[kColumns];
};

}  // namespace

int32_t is_water(const uint8_t *image, int32_t width, int32_t height) {
  const orva::plane pixels(image, width, height);
  if (pixels.empty()) return 0;
  const size_t columns = pixels.width;
  const size_t rows = pixels.height;

  // Column 0 counts in a row's mean but is not searched.
  const auto row_qualifies = [=](size_t row) {
    const uint8_t *line = image + row * columns;
    return has_dark_stretch(line, 1, 1, columns, orva::sum(line, columns) / columns);
  };
  if (has_water(rows, row_qualifies)) return 1;

  column_sums sums(image, columns, rows);
  const auto column_qualifies = [&](size_t column) {
    return has_dark_stretch(image + column, columns, 0, rows, sums.of(column) / rows);
  };
  return has_water(columns, column_qualifies) ? 1 : 0;
}
