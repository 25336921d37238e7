// Flips, inversion, and the removal of the T dummy from raw frames.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "algorithm/block_walk.h"
#include "algorithm/plane.h"
#include "algorithm/vectors.h"
#include "orva_fp/image.h"

namespace {

// Blocks of constant length need no code for their ends.
constexpr size_t kBlock = 128;

// The last vectors are loaded before any is stored, so that they may overlap those before them.
void exchange_rows(uint8_t *a, uint8_t *b, size_t size) {
  using V = orva::vector<uint8_t>;
  if (size < sizeof(V)) {
    std::swap_ranges(a, a + size, b);
    return;
  }
  const V last_a = orva::load<V>(a + size - sizeof(V));
  const V last_b = orva::load<V>(b + size - sizeof(V));
  const auto exchange = [=](size_t offset) ORVA_INLINE {
    const V lanes = orva::load<V>(a + offset);
    orva::store(a + offset, orva::load<V>(b + offset));
    orva::store(b + offset, lanes);
  };
  if (orva::for_each_whole_vector<uint8_t>(size, exchange) == size) return;
  orva::store(a + size - sizeof(V), last_b);
  orva::store(b + size - sizeof(V), last_a);
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

// Source rows that become adjacent destination columns, and the most destination rows that are made
// from them at a time: their lines stay in the cache until all their columns have come.
constexpr size_t kStripRows = 8;
constexpr size_t kStripLength = 64;

// Interleaves eight source rows, so that every destination row receives eight samples at once.
void transpose_strip(const uint16_t *__restrict src, size_t src_step, uint16_t *__restrict dst,
                     size_t dst_step, size_t length) {
  const uint16_t *row[kStripRows];
  for (size_t c = 0; c < kStripRows; ++c) row[c] = src + c * src_step;
  uint16_t strip[kStripLength * kStripRows];
  for (size_t r = 0; r < length; ++r) {
    for (size_t c = 0; c < kStripRows; ++c) strip[r * kStripRows + c] = row[c][r];
  }
  for (size_t r = 0; r < length; ++r) {
    memcpy(dst + r * dst_step, strip + r * kStripRows, kStripRows * sizeof *strip);
  }
}

// dst row r, column c receives src row c, column r.
void transpose(const uint16_t *__restrict src, size_t src_step, uint16_t *__restrict dst,
               size_t dst_step, size_t dst_rows, size_t dst_columns) {
  for (size_t first = 0; first < dst_rows; first += kStripLength) {
    const size_t length = std::min(dst_rows - first, kStripLength);
    const uint16_t *from = src + first;
    uint16_t *to = dst + first * dst_step;
    orva::for_each_overlapping_block<kStripRows>(dst_columns, [&](size_t c, size_t count) {
      if (count == kStripRows) {
        transpose_strip(from + c * src_step, src_step, to + c, dst_step, length);
        return;
      }
      for (size_t k = c; k < c + count; ++k) {
        for (size_t r = 0; r < length; ++r) to[r * dst_step + k] = from[k * src_step + r];
      }
    });
  }
}

}  // namespace

void flip_vertical(uint8_t *frame, int32_t width, int32_t height) {
  const orva::plane rows(frame, width, height);
  for (size_t y = 0; y < rows.height / 2; ++y) {
    exchange_rows(rows.row(y), rows.row(rows.height - 1 - y), rows.width);
  }
}

void flip_horizontal(uint8_t *frame, int32_t width, int32_t height) {
  const orva::plane rows(frame, width, height);
  for (size_t y = 0; y < rows.height; ++y) reverse_bytes(rows.row(y), rows.width);
}

void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count, uint8_t mode) {
  const size_t size = orva::plane(frames, width, height).size();
  const bool vertical = (mode & FLIP_VERTICAL) != 0;
  const bool horizontal = (mode & FLIP_HORIZONTAL) != 0;
  if (size == 0 || !(vertical || horizontal)) return;
  for (size_t k = 0; k < count; ++k) {
    uint8_t *frame = frames + k * size;
    if (vertical && horizontal) {
      reverse_bytes(frame, size);
    } else if (vertical) {
      flip_vertical(frame, width, height);
    } else {
      flip_horizontal(frame, width, height);
    }
  }
}

void image_reverse(uint8_t *frame, int32_t width, int32_t height) {
  const size_t size = orva::plane(frame, width, height).size();
  orva::for_each_block<kBlock>(size, [frame](size_t offset, auto count) {
    for (size_t i = offset; i < offset + count; ++i) frame[i] = static_cast<uint8_t>(~frame[i]);
  });
}

void remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, uint16_t *dst) {
  const orva::plane frame(src, width, height);
  if (frame.width < 2) return;  // nothing is left, and dst may be null
  const size_t left = frame.width / 2;
  const size_t right = frame.width - left - 1;
  for (size_t y = 1; y < frame.height; ++y) {
    memcpy(dst, frame.row(y), left * sizeof *dst);
    memcpy(dst + left, frame.row(y) + left + 1, right * sizeof *dst);
    dst += left + right;
  }
}

void transpose_remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, int32_t keep,
                              uint16_t *dst) {
  const orva::plane frame(src, height, width);  // a stored row is a column of the frame
  const size_t columns = frame.height;
  const size_t rows = frame.width;
  if (keep != 0) {
    transpose(src, rows, dst, columns, rows, columns);
    return;
  }
  if (columns < 2 || rows < 2) return;  // nothing is left, and dst may be null
  const size_t left = columns / 2;
  const size_t right = columns - left - 1;
  transpose(src + 1, rows, dst, columns - 1, rows - 1, left);
  if (right == 0) return;
  transpose(frame.row(left + 1) + 1, rows, dst + left, columns - 1, rows - 1, right);
}
