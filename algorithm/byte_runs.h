// Sums and minima of adjacent bytes.
#ifndef ORVA_ALGORITHM_BYTE_RUNS_H
#define ORVA_ALGORITHM_BYTE_RUNS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace orva {

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
