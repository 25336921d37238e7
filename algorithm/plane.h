// A rectangle of samples in memory, and the one rule that tells which rectangles are empty.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orva {

template <typename Sample>
struct plane {
  Sample *data = nullptr;
  size_t width = 0;
  size_t height = 0;
  ptrdiff_t stride = 0;  // from one row to the next, in samples

  // Empty when a side is 0 or less or when there are more than 2^31 - 1 samples. The sides are the
  // caller's, signed or unsigned 32-bit.
  plane(Sample *first, int64_t columns, int64_t rows, int64_t row_step) {
    int32_t samples;
    if (columns <= 0 || rows <= 0 || __builtin_mul_overflow(columns, rows, &samples)) return;
    data = first;
    width = static_cast<size_t>(columns);
    height = static_cast<size_t>(rows);
    stride = row_step;
  }
  // Rows without gaps between them.
  plane(Sample *first, int64_t columns, int64_t rows) : plane(first, columns, rows, columns) {}

  bool empty() const { return height == 0; }
  size_t size() const { return width * height; }
  Sample *row(size_t y) const { return data + static_cast<ptrdiff_t>(y) * stride; }

  plane part(size_t x, size_t y, size_t columns, size_t rows) const {
    if (columns == 0 || rows == 0 || empty()) return {nullptr, 0, 0};
    plane cut = *this;
    cut.data = row(y) + x;
    cut.width = columns;
    cut.height = rows;
    return cut;
  }

  // The part of the given size in the middle. Of an odd rest the smaller half is at the left and at
  // the top.
  plane centre(int64_t columns, int64_t rows) const {
    plane part(data, columns, rows, stride);
    if (part.empty()) return part;
    part.data += (static_cast<int64_t>(height) - rows) / 2 * stride;
    part.data += (static_cast<int64_t>(width) - columns) / 2;
    return part;
  }

  // The same samples. Rows without gaps between them become one long row, which saves the cost of
  // each row's start and end.
  plane joined() const {
    plane one = *this;
    if (stride != static_cast<ptrdiff_t>(width)) return one;
    one.width = size();
    one.height = empty() ? 0 : 1;
    return one;
  }
};

}  // namespace orva
