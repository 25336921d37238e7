// Arithmetic on single samples and on vectors of them, and sums and extremes of many bytes.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "algorithm/block_walk.h"
#include "algorithm/plane.h"
#include "algorithm/vectors.h"

namespace orva {

// V is a sample or a vector. By value: through the references of std::min and std::max GCC shares
// the comparison of a minimum and a maximum of the same two bytes, and no longer sees either.
template <typename V>
ORVA_INLINE inline V minimum(V a, V b) {
  return a < b ? a : b;
}
template <typename V>
ORVA_INLINE inline V maximum(V a, V b) {
  return a > b ? a : b;
}

// All bits where a >= b, else none.
template <typename V>
ORVA_INLINE inline V at_least(V a, V b) {
  return reinterpret_cast<V>(a >= b);
}

// max(a - b, 0).
template <typename V>
ORVA_INLINE inline V saturating_subtract(V a, V b) {
  return static_cast<V>(maximum(a, b) - b);
}
template <typename V>
ORVA_INLINE inline V absolute_difference(V a, V b) {
  return static_cast<V>(maximum(a, b) - minimum(a, b));
}

// Sums vectors of unsigned lanes of k bits without widening them. Two neighbouring lanes are read
// as one number, lower + 2^k * upper. These numbers are summed, and so are their upper halves. The
// sum of the lower halves is the first sum minus 2^k times the second, modulo 2^(2 k).
template <typename Half, typename Whole>
class pair_sum {
 public:
  // The sums of so many vectors fit.
  static constexpr size_t kMostVectors = 256;

  ORVA_INLINE void add(vector<Half> v) {
    const auto pairs = load<vector<Whole>>(&v);
    pairs_ += pairs;
    upper_ += pairs >> kHalfBits;
  }
  ORVA_INLINE vector<Whole> lower() const { return pairs_ - (upper_ << kHalfBits); }
  ORVA_INLINE vector<Whole> upper() const { return upper_; }

 private:
  static constexpr int kHalfBits = 8 * sizeof(Half);

  vector<Whole> pairs_ = {};
  vector<Whole> upper_ = {};
};

// The sum of up to kMostVectors vectors of bytes.
class byte_sum : public pair_sum<uint8_t, uint16_t> {
 public:
  ORVA_INLINE uint32_t total() const {
    pair_sum<uint16_t, uint32_t> sums;
    sums.add(lower());
    sums.add(upper());
    return sum_of_lanes(sums.lower() + sums.upper());
  }
};

// The lanes of a vector of bytes with 16 bits each, some in the one vector and some in the other.
struct wide_lanes {
  vector<uint16_t> some;
  vector<uint16_t> others;
};
ORVA_INLINE inline wide_lanes widened(vector<uint8_t> v) {
#if defined(__clang__) && defined(__aarch64__)
  // The halves: the product of two such is one instruction here, widening included.
  const auto lower = __builtin_shufflevector(v, v, 0, 1, 2, 3, 4, 5, 6, 7);
  const auto upper = __builtin_shufflevector(v, v, 8, 9, 10, 11, 12, 13, 14, 15);
  return {__builtin_convertvector(lower, vector<uint16_t>),
          __builtin_convertvector(upper, vector<uint16_t>)};
#else
  // Every second lane.
  const auto pairs = load<vector<uint16_t>>(&v);
  return {pairs & uint16_t{0xFF}, pairs >> 8};
#endif
}

// The sum of the squares of as many.
class square_sum {
 public:
  ORVA_INLINE void add(vector<uint8_t> v) {
    const wide_lanes lanes = widened(v);
    sums_.add(lanes.some * lanes.some);
    sums_.add(lanes.others * lanes.others);
  }
  ORVA_INLINE uint32_t total() const { return sum_of_lanes(sums_.lower() + sums_.upper()); }

 private:
  pair_sum<uint16_t, uint32_t> sums_;
};

// Counts the lanes that are set in up to 255 masks. A lane of a mask has all bits or none.
class lane_count {
 public:
  ORVA_INLINE void add(vector<uint8_t> mask) { negative_ += mask; }
  ORVA_INLINE uint32_t total() const {
    byte_sum sum;
    sum.add(-negative_);
    return sum.total();
  }

 private:
  vector<uint8_t> negative_ = {};  // a lane with all bits is -1
};

// 64 bytes of 0 or 1 as one bit each, the first byte as the lowest.
inline uint64_t bits_of(const uint8_t *bytes) {
  static_assert(std::endian::native == std::endian::little);
  const auto word = [bytes](size_t k) { return load<uint64_t>(bytes + 8 * k); };
  uint64_t any = 0;
  for (size_t k = 0; k < 8; ++k) any |= word(k);
  if (any == 0) return 0;
  uint64_t bits = 0;
  // The factor moves the lowest bit of byte j to bit 56 + j. No other bit gets that high.
  for (size_t k = 0; k < 8; ++k) bits |= word(k) * 0x0102040810204080u >> 56 << 8 * k;
  return bits;
}

// Bytes that are summed before a lane could overflow.
inline constexpr size_t kSumBlock = (byte_sum::kMostVectors - 1) * kVectorBytes;

// The sum of any number of bytes.
class running_sum {
 public:
  ORVA_INLINE void add(const uint8_t *bytes, size_t size) {
    for_each_block<kSumBlock>(size, [&](size_t offset, size_t count) ORVA_INLINE {
      const size_t vectors = count / kVectorBytes + 1;
      if (vectors > room_) flush();
      room_ -= vectors;
      for_each_vector<uint8_t, 16>(count,
                                   [&](auto at) ORVA_INLINE { recent_.add(at(bytes + offset)); });
    });
  }
  ORVA_INLINE uint64_t total() const { return earlier_ + recent_.total(); }

 private:
  ORVA_INLINE void flush() {
    earlier_ += recent_.total();
    recent_ = {};
    room_ = byte_sum::kMostVectors;
  }

  byte_sum recent_;
  size_t room_ = byte_sum::kMostVectors;
  uint64_t earlier_ = 0;
};

inline uint64_t sum(const plane<const uint8_t> &area) {
  running_sum sum;
  for (size_t y = 0; y < area.height; ++y) sum.add(area.row(y), area.width);
  return sum.total();
}

// Mostly of a row, which is a few vectors long.
inline uint64_t sum(const uint8_t *bytes, size_t size) {
  uint64_t total = 0;
  for_each_block<kSumBlock>(size, [&](size_t offset, size_t count) ORVA_INLINE {
    byte_sum block;
    for_each_vector<uint8_t, 3>(count, [&](auto at) ORVA_INLINE { block.add(at(bytes + offset)); });
    total += block.total();
  });
  return total;
}

// The sum of (a - b)^2.
inline uint64_t sum_of_squared_differences(const uint8_t *a, const uint8_t *b, size_t size) {
  uint64_t total = 0;
  for_each_block<kSumBlock>(size, [&](size_t offset, size_t count) {
    square_sum block;
    for_each_vector<uint8_t>(count, [&](auto at) ORVA_INLINE {
      block.add(absolute_difference(at(a + offset), at(b + offset)));
    });
    total += block.total();
  });
  return total;
}

// Sum and sum of squares of bytes, both modulo 2^32.
struct moments {
  uint32_t sum;
  uint32_t sum_of_squares;

  // The sum of (byte - mean)^2 over count bytes, modulo 2^32. It is multiplied out, so that the
  // bytes are read only once.
  uint32_t squared_deviations(uint32_t count, uint32_t mean) const {
    return sum_of_squares - 2 * mean * sum + count * mean * mean;
  }
};

inline moments moments_of(const uint8_t *bytes, size_t size) {
  moments m = {0, 0};
  for_each_block<kSumBlock>(size, [&](size_t offset, size_t count) {
    byte_sum block;
    square_sum squares;
    // More bytes per turn would not fit the registers of x86-64.
    for_each_vector<uint8_t, 128 / kVectorBytes>(count, [&](auto at) ORVA_INLINE {
      const vector<uint8_t> v = at(bytes + offset);
      block.add(v);
      squares.add(v);
    });
    m.sum += block.total();
    m.sum_of_squares += squares.total();
  });
  return m;
}

ORVA_INLINE inline uint8_t smallest_lane(vector<uint8_t> v) {
  uint8_t smallest = 255;
  for (const uint8_t lane : lane_array<uint8_t>(v)) smallest = minimum(smallest, lane);
  return smallest;
}
ORVA_INLINE inline uint8_t largest_lane(vector<uint8_t> v) {
  uint8_t largest = 0;
  for (const uint8_t lane : lane_array<uint8_t>(v)) largest = maximum(largest, lane);
  return largest;
}

// The smallest of the bytes that go into it, 255 for none.
class byte_minimum {
 public:
  ORVA_INLINE void add(const uint8_t *bytes, size_t size) {
    if (size < kBlock) {
      for_each_overlapping_vector<uint8_t>(size, [&](size_t i, auto lanes) ORVA_INLINE {
        if constexpr (lanes == 1) {
          single_ = minimum(single_, bytes[i]);
        } else {
          lanes_ = minimum(lanes_, load<vector<uint8_t>>(bytes + i));
        }
      });
      return;
    }
    const auto one = [&](size_t offset) ORVA_INLINE { add_block<kBlock>(bytes + offset); };
    const auto two = [&](size_t offset) ORVA_INLINE { add_block<2 * kBlock>(bytes + offset); };
    const size_t end = for_each_step<kBlock, 1>(size, one, for_each_step<2 * kBlock, 1>(size, two));
    if (end != size) one(size - kBlock);
  }
  ORVA_INLINE uint8_t value() const { return minimum(single_, smallest_lane(lanes_)); }

 private:
  static constexpr size_t kBlock = 64;

  // The minima within a block do not wait for the block before it.
  template <size_t Size>
  ORVA_INLINE void add_block(const uint8_t *block) {
    auto least = load<vector<uint8_t>>(block);
    for (size_t i = kVectorBytes; i < Size; i += kVectorBytes) {
      least = minimum(least, load<vector<uint8_t>>(block + i));
    }
    lanes_ = minimum(lanes_, least);
  }

  vector<uint8_t> lanes_ = splat<uint8_t>(255);
  uint8_t single_ = 255;
};

}  // namespace orva
