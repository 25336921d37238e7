// Straight runs and 2 x 2 blocks of marked pixels.
//
// The marks are laid out as bits, with one blank bit after each row, so that no run goes on from
// one row to the next. A direction is then nothing but a distance between bits: a shift finds all
// pairs of marks that lie so far apart, and no run needs to be walked.
#include "algorithm/mark_runs.h"

#include <algorithm>
#include <cstring>

#include "algorithm/bytes.h"
#include "orva_fp/image.h"

namespace {

constexpr size_t kWordBits = 64;
// The worst map, one pixel wide, has as many blank bits as marks.
constexpr size_t kMaxWords = (2 * EVAL_MARK_MAP_SIZE + kWordBits - 1) / kWordBits;

// Bit k is bit k % 64 of word k / 64. All bits after the words in use are 0, and there is one word
// more than can be in use.
struct bit_row {
  size_t count;  // of words in use
  uint64_t words[kMaxWords + 1];
};

// Sets bit k of pairs when bits k and k + distance are both set. Returns true when there is such a
// pair.
bool pair_bits(const bit_row &bits, size_t distance, bit_row &pairs) {
  const size_t whole = distance / kWordBits;
  const size_t count = bits.count > whole ? bits.count - whole : 0;
  const size_t shift = distance % kWordBits;
  uint64_t any = 0;
  for (size_t i = 0; i < count; ++i) {
    const uint64_t lower = bits.words[i + whole] >> shift;
    const uint64_t upper = bits.words[i + whole + 1] << 1 << (kWordBits - 1 - shift);
    pairs.words[i] = bits.words[i] & (lower | upper);
    any |= pairs.words[i];
  }
  pairs.words[count] = 0;
  pairs.count = count;
  return any != 0;
}

void lay_out(const orva::plane<const uint8_t> &map, bit_row &marks) {
  const size_t stride = map.width + 1;
  const size_t cells = stride * map.height;
  uint8_t bytes[kMaxWords * kWordBits];
  marks.count = (cells + kWordBits - 1) / kWordBits;
  for (size_t y = 0; y < map.height; ++y) {
    memcpy(bytes + y * stride, map.row(y), map.width);
    bytes[y * stride + map.width] = 0;
  }
  memset(bytes + cells, 0, marks.count * kWordBits - cells);
  const auto one = orva::splat<uint8_t>(1);
  orva::for_each_whole_vector<uint8_t>(marks.count * kWordBits, [&](size_t i) ORVA_INLINE {
    orva::store(bytes + i, orva::minimum(orva::load<orva::vector<uint8_t>>(bytes + i), one));
  });
  for (size_t i = 0; i < marks.count; ++i) marks.words[i] = orva::bits_of(bytes + i * kWordBits);
  marks.words[marks.count] = 0;
}

// Length of the longest run of marks that lie `stride` bits apart; there is at least one mark. With
// m up to n, a run of n + m marks begins where one run of n marks begins and another m strides
// further on. So the length is doubled while there is such a run, then raised by ever smaller
// powers of two.
size_t longest_run(const bit_row &marks, size_t stride) {
  bit_row buffers[2];
  const bit_row *starts = &marks;
  bit_row *longer = &buffers[0];
  size_t length = 1;
  const auto lengthen = [&](size_t by) {
    if (!pair_bits(*starts, by * stride, *longer)) return false;
    starts = longer;
    longer = starts == &buffers[0] ? &buffers[1] : &buffers[0];
    length += by;
    return true;
  };
  while (lengthen(length)) {
  }
  for (size_t by = length / 2; by > 0; by /= 2) lengthen(by);
  return length;
}

bool has_marked_square(const bit_row &marks, size_t stride) {
  bit_row pairs, squares;
  return pair_bits(marks, 1, pairs) && pair_bits(pairs, stride, squares);
}

}  // namespace

size_t orva::longest_mark_run(const plane<const uint8_t> &marks) {
  if (marks.empty()) return 0;
  bit_row bits;
  lay_out(marks, bits);
  bit_row same;
  if (!pair_bits(bits, 0, same)) return 0;

  const size_t width = marks.width;
  const size_t height = marks.height;
  const size_t diagonal = std::min(width, height);
  const struct {
    size_t stride;
    size_t limit;
  } directions[] = {{width + 1, height}, {1, width}, {width + 2, diagonal}, {width, diagonal}};
  size_t longest = 1;
  for (const auto &direction : directions) {
    if (direction.limit > longest) {
      longest = std::max(longest, longest_run(bits, direction.stride));
    }
  }
  if (longest < EVAL_DEFECT_RUN && has_marked_square(bits, width + 1)) longest = EVAL_DEFECT_RUN;
  return longest;
}
