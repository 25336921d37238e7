// Walks 0 to size - 1 in blocks of a constant length, which compilers turn into whole vectors.
#pragma once

#include <cstddef>
#include <type_traits>

// For functions and lambdas that vectors and sums pass through: called, they would go through
// memory.
#define ORVA_INLINE __attribute__((always_inline))

namespace orva {

// Calls holds(offset, count) for one block after the other until it returns false. Returns true
// when it never does. Only the last block may be shorter; in all others count is an
// integral_constant, so that the compiler knows it.
template <size_t Block, typename Predicate>
ORVA_INLINE inline bool all_of_blocks(size_t size, Predicate holds) {
  constexpr std::integral_constant<size_t, Block> kCount;
  size_t offset = 0;
  for (; offset + Block <= size; offset += Block) {
    if (!holds(offset, kCount)) return false;
  }
  return offset == size || holds(offset, size - offset);
}

// Calls work(offset, count) for all of these blocks.
template <size_t Block, typename Work>
ORVA_INLINE inline void for_each_block(size_t size, Work work) {
  all_of_blocks<Block>(size, [&](size_t offset, auto count) ORVA_INLINE {
    work(offset, count);
    return true;
  });
}

// Calls work(offset, count) for whole blocks. The last one ends at size and may overlap the one
// before it, so the work must bear being done twice. A size below Block is walked in blocks of half
// the length, a size below 8 in one call.
template <size_t Block, typename Work>
ORVA_INLINE inline void for_each_overlapping_block(size_t size, Work work) {
  constexpr std::integral_constant<size_t, Block> kCount;
  if (size >= Block) {
    size_t offset = 0;
    for (; offset + Block <= size; offset += Block) work(offset, kCount);
    if (offset < size) work(size - Block, kCount);
  } else if constexpr (Block > 8) {
    for_each_overlapping_block<Block / 2>(size, work);
  } else {
    work(size_t{0}, size);
  }
}

}  // namespace orva
