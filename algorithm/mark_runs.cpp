// Straight runs and 2 x 2 blocks of marked pixels.
//
// The marks are laid out with one blank cell after each row, so that no run goes on from one row to
// the next. A direction is then nothing but a distance between cells, and no run needs to be
// walked.
#include "algorithm/mark_runs.h"

#include <algorithm>
#include <cstring>

#include "orva_fp/image.h"

namespace {

// A map one pixel wide has as many blank cells as marks.
constexpr size_t kMaxCells = 2 * EVAL_MARK_MAP_SIZE;

// Writes where both a cell and the one `distance` further on are set; true when that is anywhere.
bool pair_cells(const uint8_t *__restrict cells, size_t count, size_t distance,
                uint8_t *__restrict pairs) {
  for (size_t i = 0; i < count; ++i) pairs[i] = cells[i] & cells[i + distance];
  return memchr(pairs, 1, count) != nullptr;
}

// Cells 1 where a mark is, 0 elsewhere, and room for the starts of runs.
struct mark_cells {
  size_t count = 0;
  uint8_t marks[kMaxCells];
  uint8_t starts[2][kMaxCells];
};

void lay_out(const uint8_t *map, size_t width, size_t height, mark_cells *cells) {
  const size_t count = (width + 1) * height;
  uint8_t *marks = cells->marks;
  for (size_t row = 0; row < height; ++row) {
    uint8_t *to = marks + row * (width + 1);
    memcpy(to, map + row * width, width);
    to[width] = 0;
  }
  for (size_t i = 0; i < count; ++i) marks[i] = marks[i] != 0 ? 1 : 0;
  cells->count = count;
}

// Longest run of marks `stride` cells apart, given that there is a mark. A run of n + m marks, m up
// to n, is a run of n here and another m strides on: the length is doubled while any run is left,
// then raised by ever smaller powers of two.
size_t longest_run(mark_cells *cells, size_t stride) {
  const uint8_t *starts = cells->marks;
  size_t count = cells->count;
  size_t length = 1;
  int next = 0;
  const auto lengthen = [&](size_t by) {
    const size_t distance = by * stride;
    if (distance >= count) return false;
    uint8_t *longer = cells->starts[next];
    if (!pair_cells(starts, count - distance, distance, longer)) return false;
    starts = longer;
    count -= distance;
    length += by;
    next ^= 1;
    return true;
  };
  while (lengthen(length)) {
  }
  for (size_t by = length / 2; by > 0; by /= 2) lengthen(by);
  return length;
}

bool has_marked_square(mark_cells *cells, size_t width, size_t height) {
  if (width < 2 || height < 2) return false;
  const size_t stride = width + 1;
  const size_t count = cells->count - 1;
  pair_cells(cells->marks, count, 1, cells->starts[0]);
  return pair_cells(cells->starts[0], count - stride, stride, cells->starts[1]);
}

}  // namespace

size_t orva::longest_mark_run(const uint8_t *marks, size_t width, size_t height) {
  if (width == 0 || height == 0) return 0;
  mark_cells cells;
  lay_out(marks, width, height, &cells);
  if (memchr(cells.marks, 1, cells.count) == nullptr) return 0;

  const size_t diagonal = std::min(width, height);
  const struct {
    size_t stride;
    size_t limit;
  } directions[] = {{width + 1, height}, {1, width}, {width + 2, diagonal}, {width, diagonal}};
  size_t longest = 1;
  for (const auto &direction : directions) {
    if (direction.limit > longest) {
      longest = std::max(longest, longest_run(&cells, direction.stride));
    }
  }
  if (longest < EVAL_DEFECT_RUN && has_marked_square(&cells, width, height)) {
    longest = EVAL_DEFECT_RUN;
  }
  return longest;
}
