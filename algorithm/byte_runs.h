// Areas cut out of wider images as runs of adjacent bytes, and the sums and minima of such runs.
#ifndef ORVA_ALGORITHM_BYTE_RUNS_H
#define ORVA_ALGORITHM_BYTE_RUNS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace orva {

// count runs of length bytes, run r beginning r * step bytes after the first.
struct byte_runs {
  size_t count;
  size_t length;
  ptrdiff_t step;

  const uint8_t *begin(const uint8_t *first, size_t r) const {
    return first + static_cast<ptrdiff_t>(r) * step;
  }
};

// The rows of an area. Rows without gaps between them make one long run, which saves the cost of
// each row's start and end.
inline byte_runs runs_of_area(int32_t stride, int32_t rows, int32_t cols) {
  if (rows <= 0 || cols <= 0) return {0, 0, 0};
  const size_t count = static_cast<size_t>(rows);
  const size_t length = static_cast<size_t>(cols);
  if (stride == cols) return {1, count * length, 0};
  return {count, length, stride};
}

// The sum of this many bytes fits 16 bits, which doubles the lanes of a vector register against 32.
// The result must be of 16 bits too, or Clang widens the lanes.
inline constexpr size_t kSumBlock = 256;

inline uint16_t sum_block(const uint8_t *bytes, size_t size) {
  uint16_t sum = 0;
  for (size_t i = 0; i < size; ++i) sum = static_cast<uint16_t>(sum + bytes[i]);
  return sum;
}

// Modulo 2^32.
inline uint32_t sum_bytes(const uint8_t *bytes, size_t size) {
  uint32_t sum = 0;
  for (; size >= kSumBlock; size -= kSumBlock, bytes += kSumBlock) {
    sum += sum_block(bytes, kSumBlock);
  }
  return sum + sum_block(bytes, size);
}

// 255 for no bytes.
inline uint8_t smallest_byte(const uint8_t *bytes, size_t size) {
  uint8_t smallest = 255;
  for (size_t i = 0; i < size; ++i) smallest = std::min(smallest, bytes[i]);
  return smallest;
}

}  // namespace orva

#endif
