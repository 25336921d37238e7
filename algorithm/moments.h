// Sum and sum of squares of bytes, and their spread about the truncated mean.
#ifndef ORVA_ALGORITHM_MOMENTS_H
#define ORVA_ALGORITHM_MOMENTS_H

#include "algorithm/byte_runs.h"

namespace orva {

// Squares are summed in 32-bit lanes from 16-bit factors: 256 of them stay below 2^31. The factors
// are widened in a loop of their own, without which the compilers multiply in 32 bits.
inline uint32_t sum_squares(const int16_t *factors, size_t size) {
  int32_t sum = 0;
  for (size_t i = 0; i < size; ++i) sum += factors[i] * factors[i];
  return static_cast<uint32_t>(sum);
}

// Both modulo 2^32.
struct moments {
  uint32_t sum = 0;
  uint32_t squares = 0;

  [[gnu::always_inline]] void add_block(const uint8_t *bytes, size_t size) {
    int16_t widened[kSumBlock];
    for (size_t i = 0; i < size; ++i) widened[i] = bytes[i];
    squares += sum_squares(widened, size);
    sum += sum_block(bytes, size);
  }

  // sum((byte - mean)^2) of count bytes multiplied out: the same number modulo 2^32, without a
  // second pass.
  uint32_t spread(uint32_t count, uint32_t mean) const {
    return squares - 2 * mean * sum + count * mean * mean;
  }
};

inline moments moments_of(const uint8_t *bytes, size_t size) {
  moments m;
  for (; size >= kSumBlock; size -= kSumBlock, bytes += kSumBlock) m.add_block(bytes, kSumBlock);
  m.add_block(bytes, size);
  return m;
}

}  // namespace orva

#endif
