// Vectors of samples in the portable extension of GCC and Clang: operators work on all lanes at
// once, and a comparison gives lanes of 0 or -1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "algorithm/block_walk.h"

namespace orva {

// The size of the vector registers that every processor of the target has.
#ifdef __AVX2__
inline constexpr size_t kVectorBytes = 32;
#else
inline constexpr size_t kVectorBytes = 16;
#endif
template <typename T>
inline constexpr size_t kLanes = kVectorBytes / sizeof(T);

template <typename T, size_t Lanes>
struct vector_type {
  typedef T type __attribute__((vector_size(Lanes * sizeof(T))));
};
template <typename T, size_t Lanes = kLanes<T>>
using vector = typename vector_type<T, Lanes>::type;

template <typename V>
ORVA_INLINE inline V load(const void *from) {
  V v;
  memcpy(&v, from, sizeof v);
  return v;
}

template <typename V>
ORVA_INLINE inline void store(void *to, V v) {
  memcpy(to, &v, sizeof v);
}

template <typename T>
ORVA_INLINE inline vector<T> splat(T value) {
  return vector<T>{} + value;
}

// The bytes in reverse order.
ORVA_INLINE inline vector<uint8_t, 16> reversed(vector<uint8_t, 16> v) {
  return __builtin_shufflevector(v, v, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

// The lower or the upper halves of two vectors, a lane of the one and a lane of the other in turn.
ORVA_INLINE inline vector<uint16_t, 8> interleave_low(vector<uint16_t, 8> a,
                                                      vector<uint16_t, 8> b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
ORVA_INLINE inline vector<uint16_t, 8> interleave_high(vector<uint16_t, 8> a,
                                                       vector<uint16_t, 8> b) {
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

// The lanes of a vector in memory, to go through one by one.
template <typename T>
struct lane_array {
  explicit lane_array(vector<T> v) { store(samples, v); }
  const T *begin() const { return samples; }
  const T *end() const { return samples + kLanes<T>; }

  T samples[kLanes<T>];
};

ORVA_INLINE inline uint32_t sum_of_lanes(vector<uint32_t> v) {
  uint32_t sum = 0;
  for (const uint32_t lane : lane_array<uint32_t>(v)) sum += lane;
  return sum;
}

// A vector of lanes without a bit, and one of lanes with all bits.
template <typename T>
struct none_then_all {
  T lanes[2 * kLanes<T>] = {};
  constexpr none_then_all() {
    for (size_t i = kLanes<T>; i < 2 * kLanes<T>; ++i) lanes[i] = static_cast<T>(-1);
  }
};
template <typename T>
inline constexpr none_then_all<T> kNoneThenAll;

// Calls work(place) for place 0, Step, 2 * Step and so on while a whole step fits into size.
// Returns the first place without work. The loop takes Group places per turn, at most 16, then
// four, then one.
template <size_t Step, size_t Group, typename Work>
ORVA_INLINE inline size_t for_each_step(size_t size, Work work, size_t place = 0) {
  static_assert(Group <= 16);
  const size_t end = place + (size - place) / (Group * Step) * (Group * Step);
  for (; place != end; place += Group * Step) {
#pragma GCC unroll 16
    for (size_t k = 0; k < Group; ++k) work(place + k * Step);
  }
  if constexpr (Group > 4) return for_each_step<Step, 4>(size, work, place);
  if constexpr (Group > 1) return for_each_step<Step, 1>(size, work, place);
  return place;
}

// Calls work(offset) for all whole vectors between 0 and size; returns the offset after them.
template <typename T, size_t Group = 8, typename Work>
ORVA_INLINE inline size_t for_each_whole_vector(size_t size, Work work) {
  return for_each_step<kLanes<T>, Group>(size, work);
}

// Calls work(at) for adjacent vectors that cover 0 to size - 1. at(array) loads the array's samples
// in that place; lanes that lie outside 0 to size - 1 are 0. With at(array, fill) they are the
// fill.
template <typename T, size_t Group = 8, typename Work>
ORVA_INLINE inline void for_each_vector(size_t size, Work work) {
  const size_t offset = for_each_whole_vector<T, Group>(size, [&](size_t place) ORVA_INLINE {
    work([place](const T *array, T = 0) ORVA_INLINE { return load<vector<T>>(array + place); });
  });
  const size_t rest = size - offset;
  if (rest == 0) return;
  if (size > kLanes<T>) {
    // The last whole vector. Its first lanes have been visited before: they become the fill.
    const auto unseen = load<vector<T>>(kNoneThenAll<T>.lanes + rest);
    work([=](const T *array, T fill = 0) ORVA_INLINE {
      return (load<vector<T>>(array + size - kLanes<T>) & unseen) | (splat(fill) & ~unseen);
    });
  } else {
    work([size](const T *array, T fill = 0) {
      T lanes[kLanes<T>];
      for (size_t i = 0; i < kLanes<T>; ++i) lanes[i] = i < size ? array[i] : fill;
      return load<vector<T>>(lanes);
    });
  }
}

// Calls work(offset, lanes) for vectors that cover 0 to size - 1; lanes is an integral_constant,
// the number of lanes. The last vector ends at size and may overlap the one before it, so the work
// must bear being done twice. A size that is too short for a vector is walked lane by lane.
template <typename T, typename Work>
ORVA_INLINE inline void for_each_overlapping_vector(size_t size, Work work) {
  const auto whole = [&](size_t offset)
                         ORVA_INLINE { work(offset, std::integral_constant<size_t, kLanes<T>>()); };
  if (size < kLanes<T>) {
    for (size_t i = 0; i < size; ++i) work(i, std::integral_constant<size_t, 1>());
  } else if (for_each_whole_vector<T, 4>(size, whole) != size) {
    whole(size - kLanes<T>);
  }
}

}  // namespace orva
