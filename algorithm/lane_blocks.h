// Splits a run of pixels into blocks of a constant size.
#ifndef ORVA_ALGORITHM_LANE_BLOCKS_H
#define ORVA_ALGORITHM_LANE_BLOCKS_H

#include <cstddef>
#include <type_traits>

namespace orva {

// Calls work(offset, count) until all of 0 to total - 1 is covered. count is an integral_constant
// and so known to the compiler, except for totals too short for any block. The last block ends at
// total and may overlap the one before it: doing a place twice must not matter.
template <size_t Block = 32, typename Work>
inline void for_lane_blocks(size_t total, Work work) {
  constexpr std::integral_constant<size_t, Block> kCount;
  if (total >= Block) {
    size_t offset = 0;
    for (; offset + Block <= total; offset += Block) work(offset, kCount);
    if (offset < total) work(total - Block, kCount);
  } else if constexpr (Block > 8) {
    for_lane_blocks<Block / 2>(total, work);
  } else {
    work(size_t{0}, total);
  }
}

}  // namespace orva

#endif
