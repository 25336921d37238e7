// How the marked pixels of a small mark map lie together.
#pragma once

#include <cstddef>

#include "algorithm/plane.h"

namespace orva {

// A pixel is marked when its byte is not 0. The map holds at most EVAL_MARK_MAP_SIZE pixels.

// Length of the longest straight run of marked pixels in a row, a column or a diagonal; not below
// EVAL_DEFECT_RUN when some 2 x 2 block is marked throughout.
size_t longest_mark_run(const plane<const uint8_t> &marks);

}  // namespace orva
