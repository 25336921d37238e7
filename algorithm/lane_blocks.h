// Splits a run of pixels into blocks of a constant size.
#ifndef ORVA_ALGORITHM_LANE_BLOCKS_H
#define ORVA_ALGORITHM_LANE_BLOCKS_H

#include <cstddef>
#include <type_traits>

namespace orva {

// A loop over this many bytes compiles to whole vectors at every register width.
using lane_block = std::integral_constant<size_t, 64>;

// Calls work(offset, count) until all of 0 to total - 1 is covered. count is a lane_block, and so
// known to the compiler, for any total that holds at least one. The last block then ends at total
// and may overlap the one before it: work must not mind to do a place twice.
template <typename Work>
inline void for_lane_blocks(size_t total, Work work) {
  constexpr lane_block kBlock;
  if (total < kBlock) {
    work(size_t{0}, total);
    return;
  }
  size_t offset = 0;
  for (; offset + kBlock <= total; offset += kBlock) work(offset, kBlock);
  if (offset < total) work(total - kBlock, kBlock);
}

}  // namespace orva

#endif
