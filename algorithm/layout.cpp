// Flips, inversion, and the removal of the T dummy from raw frames.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "orva_fp/image.h"

namespace {

size_t pixels_of(int32_t width, int32_t height) {
  return static_cast<size_t>(width) * static_cast<size_t>(height);
}

void exchange_rows(uint8_t *__restrict a, uint8_t *__restrict b, size_t size) {
  for (size_t i = 0; i < size; ++i) std::swap(a[i], b[i]);
}

// Reverses the order of the bytes, a word from each end at a time. The last two words may overlap:
// both are loaded before either is stored, and where they meet they agree.
void reverse_bytes(uint8_t *bytes, size_t size) {
  uint8_t *head = bytes;
  uint8_t *tail = bytes + size;
  uint64_t low;
  uint64_t high;
  while (tail - head >= static_cast<ptrdiff_t>(sizeof low)) {
    tail -= sizeof high;
    memcpy(&low, head, sizeof low);
    memcpy(&high, tail, sizeof high);
    low = __builtin_bswap64(low);
    high = __builtin_bswap64(high);
    memcpy(head, &high, sizeof high);
    memcpy(tail, &low, sizeof low);
    head += sizeof low;
  }
  if (head < tail) std::reverse(head, tail);
}

// Eight source rows become eight columns: each destination row receives eight samples at once.
constexpr size_t kTile = 8;

void transpose_tile(const uint16_t *__restrict src, size_t src_step, uint16_t *__restrict dst,
                    size_t dst_step) {
  uint16_t tile[kTile * kTile];
  for (size_t r = 0; r < kTile; ++r) {
    for (size_t c = 0; c < kTile; ++c) tile[r * kTile + c] = src[c * src_step + r];
  }
  for (size_t r = 0; r < kTile; ++r) {
    memcpy(dst + r * dst_step, tile + r * kTile, kTile * sizeof *tile);
  }
}

// dst row r, column c receives src row c, column r.
void transpose(const uint16_t *__restrict src, size_t src_step, uint16_t *__restrict dst,
               size_t dst_step, size_t dst_rows, size_t dst_columns) {
  // A band of rows at a time, so that the destination lines of one stay in the cache until all
  // their columns have come.
  constexpr size_t kBand = 64;
  for (size_t band = 0; band < dst_rows; band += kBand) {
    const size_t band_end = std::min(dst_rows, band + kBand);
    size_t c = 0;
    for (; c + kTile <= dst_columns; c += kTile) {
      size_t r = band;
      for (; r + kTile <= band_end; r += kTile) {
        transpose_tile(src + (c * src_step + r), src_step, dst + (r * dst_step + c), dst_step);
      }
      for (; r < band_end; ++r) {
        for (size_t k = c; k < c + kTile; ++k) dst[r * dst_step + k] = src[k * src_step + r];
      }
    }
    for (; c < dst_columns; ++c) {
      for (size_t r = band; r < band_end; ++r) dst[r * dst_step + c] = src[c * src_step + r];
    }
  }
}

}  // namespace

void flip_vertical(uint8_t *frame, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  const size_t row = static_cast<size_t>(width);
  uint8_t *top = frame;
  uint8_t *bottom = frame + pixels_of(width, height - 1);
  for (; top < bottom; top += row, bottom -= row) exchange_rows(top, bottom, row);
}

void flip_horizontal(uint8_t *frame, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  const size_t row = static_cast<size_t>(width);
  uint8_t *end = frame + pixels_of(width, height);
  for (uint8_t *line = frame; line < end; line += row) reverse_bytes(line, row);
}

void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count, uint8_t mode) {
  if (width <= 0 || height <= 0) return;
  const size_t size = pixels_of(width, height);
  const bool vertical = (mode & FLIP_VERTICAL) != 0;
  const bool horizontal = (mode & FLIP_HORIZONTAL) != 0;
  for (size_t k = 0; k < count; ++k) {
    uint8_t *frame = frames + k * size;
    if (vertical && horizontal) {
      reverse_bytes(frame, size);
    } else if (vertical) {
      flip_vertical(frame, width, height);
    } else if (horizontal) {
      flip_horizontal(frame, width, height);
    }
  }
}

void image_reverse(uint8_t *frame, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  const size_t size = pixels_of(width, height);
  // Blocks of constant length need no code for their ends.
  constexpr size_t kBlock = 128;
  size_t i = 0;
  for (; i + kBlock <= size; i += kBlock) {
    for (size_t k = i; k < i + kBlock; ++k) frame[k] = static_cast<uint8_t>(~frame[k]);
  }
  for (; i < size; ++i) frame[i] = static_cast<uint8_t>(~frame[i]);
}

void remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, uint16_t *dst) {
  if (width <= 0 || height <= 0) return;
  const size_t row = static_cast<size_t>(width);
  const size_t left = row / 2;
  const size_t right = row - left - 1;
  for (size_t r = 1; r < static_cast<size_t>(height); ++r) {
    const uint16_t *line = src + r * row;
    memcpy(dst, line, left * sizeof *dst);
    memcpy(dst + left, line + left + 1, right * sizeof *dst);
    dst += left + right;
  }
}

void transpose_remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, int32_t keep,
                              uint16_t *dst) {
  if (width <= 0 || height <= 0) return;
  const size_t columns = static_cast<size_t>(width);
  const size_t rows = static_cast<size_t>(height);
  if (keep != 0) {
    transpose(src, rows, dst, columns, rows, columns);
    return;
  }
  const size_t left = columns / 2;
  const size_t right = columns - left - 1;
  transpose(src + 1, rows, dst, columns - 1, rows - 1, left);
  transpose(src + ((left + 1) * rows + 1), rows, dst + left, columns - 1, rows - 1, right);
}
