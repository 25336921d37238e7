// Flips, inversion, and the removal of the T dummy from raw frames.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "algorithm/block_walk.h"
#include "algorithm/plane.h"
#include "algorithm/vectors.h"
#include "orva_fp/image.h"

namespace {

// Blocks of constant length need no code for their ends.
constexpr size_t kBlock = 128;

template <size_t Size>
void exchange(uint8_t *__restrict a, uint8_t *__restrict b) {
  for (size_t i = 0; i < Size; ++i) std::swap(a[i], b[i]);
}

// The last bytes are loaded before any are stored, so that they may overlap those before them.
void exchange_rows(uint8_t *__restrict a, uint8_t *__restrict b, size_t size) {
  constexpr size_t kLast = 32;
  using V = orva::vector<uint8_t, kLast / 2>;
  if (size < kLast) {
    std::swap_ranges(a, a + size, b);
    return;
  }
  uint8_t *last_a = a + size - kLast;
  uint8_t *last_b = b + size - kLast;
  const V from_a[] = {orva::load<V>(last_a), orva::load<V>(last_a + sizeof(V))};
  const V from_b[] = {orva::load<V>(last_b), orva::load<V>(last_b + sizeof(V))};
  size_t i = 0;
  for (; i + kBlock <= size; i += kBlock) exchange<kBlock>(a + i, b + i);
  for (; i + kLast <= size; i += kLast) exchange<kLast>(a + i, b + i);
  if (i == size) return;
  orva::store(last_a, from_b[0]);
  orva::store(last_a + sizeof(V), from_b[1]);
  orva::store(last_b, from_a[0]);
  orva::store(last_b + sizeof(V), from_a[1]);
}

template <size_t... Place>
void exchange_reversed_vectors(uint8_t *head, uint8_t *tail, std::index_sequence<Place...>) {
  using V = orva::vector<uint8_t, 16>;
  const V low[] = {orva::reversed(orva::load<V>(head + Place * sizeof(V)))...};
  const V high[] = {orva::reversed(orva::load<V>(tail - (Place + 1) * sizeof(V)))...};
  (orva::store(head + Place * sizeof(V), high[Place]), ...);
  (orva::store(tail - (Place + 1) * sizeof(V), low[Place]), ...);
}

// Exchanges the Size bytes that begin at head with the Size bytes that end at tail, in reverse
// order. The two may overlap: all are loaded before any is stored, and where they meet they agree.
template <size_t Size>
void exchange_reversed(uint8_t *head, uint8_t *tail) {
  if constexpr (Size >= 16) {
    exchange_reversed_vectors(head, tail, std::make_index_sequence<Size / 16>());
  } else {
    static_assert(Size == sizeof(uint64_t));
    const uint64_t low = __builtin_bswap64(orva::load<uint64_t>(head));
    const uint64_t high = __builtin_bswap64(orva::load<uint64_t>(tail - Size));
    orva::store(head, high);
    orva::store(tail - Size, low);
  }
}

void reverse_bytes(uint8_t *head, uint8_t *tail) { std::reverse(head, tail); }

// Taken from both ends of a row at a time.
constexpr size_t kEnd = 64;

// The bytes that remain in the middle of a row, 1 to 2 * kEnd of them.
size_t middle_of(size_t width) { return (width - 1) % (2 * kEnd) + 1; }

// ReverseMiddle knows about the size of the middle, which is the same in all rows.
template <auto ReverseMiddle>
void reverse_rows(orva::plane<uint8_t> rows) {
  const size_t pairs = (rows.width - 1) / (2 * kEnd);
  const uint8_t *end = rows.row(rows.height);
  for (uint8_t *row = rows.data; row != end; row += rows.stride) {
    uint8_t *head = row;
    uint8_t *tail = row + rows.width;
    for (size_t k = 0; k < pairs; ++k) {
      exchange_reversed<kEnd>(head, tail);
      head += kEnd;
      tail -= kEnd;
    }
    ReverseMiddle(head, tail);
  }
}

void reverse_each_row(orva::plane<uint8_t> rows) {
  if (rows.empty()) return;
  const size_t middle = middle_of(rows.width);
  if (middle > 64) return reverse_rows<exchange_reversed<64>>(rows);
  if (middle > 32) return reverse_rows<exchange_reversed<32>>(rows);
  if (middle > 16) return reverse_rows<exchange_reversed<16>>(rows);
  if (middle > 8) return reverse_rows<exchange_reversed<8>>(rows);
  return reverse_rows<reverse_bytes>(rows);
}

// A square of samples, a vector for each row.
constexpr size_t kSide = 8;
using samples = orva::vector<uint16_t, kSide>;
struct square {
  samples row[kSide];
};

// A perfect shuffle of the samples. Three of them make columns of the rows.
square shuffled(const square &s) {
  using orva::interleave_high, orva::interleave_low;
  const samples *row = s.row;
  return {interleave_low(row[0], row[4]), interleave_high(row[0], row[4]),
          interleave_low(row[1], row[5]), interleave_high(row[1], row[5]),
          interleave_low(row[2], row[6]), interleave_high(row[2], row[6]),
          interleave_low(row[3], row[7]), interleave_high(row[3], row[7])};
}

void transpose_square(const uint16_t *src, size_t src_step, uint16_t *dst, size_t dst_step) {
  square s;
  for (size_t i = 0; i < kSide; ++i) s.row[i] = orva::load<samples>(src + i * src_step);
  s = shuffled(shuffled(shuffled(s)));
  for (size_t i = 0; i < kSide; ++i) orva::store(dst + i * dst_step, s.row[i]);
}

// The most destination rows that are made at a time: their lines stay in the cache until all their
// columns have come.
constexpr size_t kStripRows = 64;

// dst row r, column c receives src row c, column r. The last squares may overlap those before them.
void transpose(const uint16_t *src, size_t src_step, uint16_t *dst, size_t dst_step, size_t rows,
               size_t columns) {
  if (rows < kSide || columns < kSide) {
    for (size_t r = 0; r < rows; ++r) {
      for (size_t c = 0; c < columns; ++c) dst[r * dst_step + c] = src[c * src_step + r];
    }
    return;
  }
  for (size_t strip = 0; strip < rows; strip += kStripRows) {
    const size_t end = std::min(strip + kStripRows, rows);
    for (size_t column = 0; column < columns; column += kSide) {
      const size_t c = std::min(column, columns - kSide);
      for (size_t row = strip; row < end; row += kSide) {
        const size_t r = std::min(row, rows - kSide);
        transpose_square(src + c * src_step + r, src_step, dst + r * dst_step + c, dst_step);
      }
    }
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
  reverse_each_row(orva::plane(frame, width, height));
}

void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count, uint8_t mode) {
  const size_t size = orva::plane(frames, width, height).size();
  const bool vertical = (mode & FLIP_VERTICAL) != 0;
  const bool horizontal = (mode & FLIP_HORIZONTAL) != 0;
  if (size == 0 || !(vertical || horizontal)) return;
  for (size_t k = 0; k < count; ++k) {
    uint8_t *frame = frames + k * size;
    if (vertical && horizontal) {
      reverse_each_row(orva::plane(frame, width, height).joined());
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
