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

// Bytes at the end of a row that are exchanged together.
constexpr size_t kLast = 32;

// Exchanges all but the last size % kLast bytes.
void exchange_blocks(uint8_t *__restrict a, uint8_t *__restrict b, size_t size) {
  size_t i = 0;
  for (; i + kBlock <= size; i += kBlock) exchange<kBlock>(a + i, b + i);
  for (; i + kLast <= size; i += kLast) exchange<kLast>(a + i, b + i);
}

// The last bytes are loaded before any are stored, so that they may overlap those before them.
void exchange_rows(uint8_t *__restrict a, uint8_t *__restrict b, size_t size) {
  using V = orva::vector<uint8_t, kLast / 2>;
  if (size < kLast) {
    std::swap_ranges(a, a + size, b);
  } else if (size % kLast == 0) {
    exchange_blocks(a, b, size);
  } else {
    uint8_t *last_a = a + size - kLast;
    uint8_t *last_b = b + size - kLast;
    const V from_a[] = {orva::load<V>(last_a), orva::load<V>(last_a + sizeof(V))};
    const V from_b[] = {orva::load<V>(last_b), orva::load<V>(last_b + sizeof(V))};
    exchange_blocks(a, b, size);
    orva::store(last_a, from_b[0]);
    orva::store(last_a + sizeof(V), from_b[1]);
    orva::store(last_b, from_a[0]);
    orva::store(last_b + sizeof(V), from_a[1]);
  }
}

using bytes = orva::vector<uint8_t, 16>;

template <size_t... Place>
void exchange_at_once(uint8_t *head, uint8_t *tail, std::index_sequence<Place...>) {
  const bytes low[] = {orva::reversed(orva::load<bytes>(head + Place * sizeof(bytes)))...};
  const bytes high[] = {orva::reversed(orva::load<bytes>(tail - (Place + 1) * sizeof(bytes)))...};
  (orva::store(head + Place * sizeof(bytes), high[Place]), ...);
  (orva::store(tail - (Place + 1) * sizeof(bytes), low[Place]), ...);
}

// Vectors of each end that are all loaded before any is stored.
constexpr size_t kAtOnce = 4;

// Exchanges the vectors that begin at head with those that end at tail, in reverse order. The
// innermost kAtOnce may overlap: where they meet they agree.
template <size_t Vectors>
void exchange_reversed(uint8_t *head, uint8_t *tail) {
  if constexpr (Vectors > kAtOnce) {
    constexpr size_t kOuter = Vectors - kAtOnce;
    exchange_reversed<kOuter>(head, tail);
    exchange_reversed<kAtOnce>(head + kOuter * sizeof(bytes), tail - kOuter * sizeof(bytes));
  } else {
    exchange_at_once(head, tail, std::make_index_sequence<Vectors>());
  }
}

// Vectors taken from each end of a row in a turn of the loop.
constexpr size_t kTurn = 8;
constexpr size_t kTurnBytes = 2 * kTurn * sizeof(bytes);

// The turns leave at least a vector in the middle of a row, and less than kTurnBytes more.
size_t turns_of(size_t width) { return (width - sizeof(bytes)) / kTurnBytes; }
size_t middle_of(size_t width) { return width - turns_of(width) * kTurnBytes; }

// Reverses rows without gaps between them. MiddleVectors from each end are just enough for the
// middle of a row.
template <size_t MiddleVectors>
void reverse_rows(uint8_t *first, const uint8_t *end, size_t width) {
  const size_t turns = turns_of(width);
  for (uint8_t *row = first; row != end;) {
    uint8_t *head = row;
    row += width;
    uint8_t *tail = row;
    for (size_t k = 0; k < turns; ++k) {
      exchange_reversed<kTurn>(head, tail);
      head += kTurnBytes / 2;
      tail -= kTurnBytes / 2;
    }
    exchange_reversed<MiddleVectors>(head, tail);
  }
}

// A function for each number of MiddleVectors, chosen once for all rows.
template <size_t... Index>
void reverse_wide_rows(uint8_t *first, const uint8_t *end, size_t width,
                       std::index_sequence<Index...>) {
  constexpr void (*kReverse[])(uint8_t *, const uint8_t *, size_t) = {reverse_rows<Index + 1>...};
  kReverse[(middle_of(width) - 1) / (2 * sizeof(bytes))](first, end, width);
}

void reverse_each_row(uint8_t *first, size_t width, size_t height) {
  const uint8_t *end = first + width * height;
  if (width >= sizeof(bytes)) {
    return reverse_wide_rows(first, end, width, std::make_index_sequence<kTurn + 1>());
  }
  for (uint8_t *row = first; row != end; row += width) std::reverse(row, row + width);
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
  const orva::plane rows(frame, width, height);
  reverse_each_row(rows.data, rows.width, rows.height);
}

void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count, uint8_t mode) {
  const size_t size = orva::plane(frames, width, height).size();
  const bool vertical = (mode & FLIP_VERTICAL) != 0;
  const bool horizontal = (mode & FLIP_HORIZONTAL) != 0;
  if (size == 0 || !(vertical || horizontal)) return;
  for (size_t k = 0; k < count; ++k) {
    uint8_t *frame = frames + k * size;
    if (vertical && horizontal) {
      reverse_each_row(frame, size, 1);
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
