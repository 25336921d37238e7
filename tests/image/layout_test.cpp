#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"

namespace {

using support::frame_size;
using support::guard;
using support::guarded_buffer;

using in_place_form = void (*)(uint8_t *, int32_t, int32_t);

struct in_place_case {
  const char *name;
  in_place_form fast;
  in_place_form simple;
};

constexpr in_place_case kInPlace[] = {
    {"flip_vertical", flip_vertical, simple::flip_vertical},
    {"flip_horizontal", flip_horizontal, simple::flip_horizontal},
    {"image_reverse", image_reverse, simple::image_reverse},
};

// The sizes of all tests, and rows wider than 640 pixels.
std::vector<frame_size> layout_sizes() {
  std::vector<frame_size> sizes = support::frame_sizes();
  for (const frame_size wide : {frame_size{640, 3}, {641, 2}, {1500, 5}}) sizes.push_back(wide);
  return sizes;
}

TEST(Flips, WorkedExamples) {
  uint8_t rows[] = {1, 2, 3, 4, 5, 6};
  flip_vertical(rows, 2, 3);
  EXPECT_EQ(std::vector<uint8_t>(rows, rows + 6), (std::vector<uint8_t>{5, 6, 3, 4, 1, 2}));
  flip_horizontal(rows, 3, 2);
  EXPECT_EQ(std::vector<uint8_t>(rows, rows + 6), (std::vector<uint8_t>{3, 6, 5, 2, 1, 4}));
}

TEST(Layout, InPlaceFunctionsAgreeWithTheSimpleForms) {
  for (const in_place_case &c : kInPlace) {
    for (const frame_size size : layout_sizes()) {
      const std::vector<uint8_t> original = support::make_frame(support::pattern::kRandom, size, 1);
      std::vector<uint8_t> expected = original;
      c.simple(expected.data(), size.width, size.height);
      for (const guard side : {guard::kEnd, guard::kStart}) {
        guarded_buffer<uint8_t> frame(original, side);
        c.fast(frame.data(), size.width, size.height);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), frame.data()))
            << c.name << ' ' << size.width << " x " << size.height;
        ASSERT_TRUE(frame.red_zone_intact()) << c.name;
      }
    }
  }
}

TEST(FlipHorizontal, EveryWidth) {
  for (int32_t width = 1; width < 80; ++width) {
    const frame_size size{width, 3};
    std::vector<uint8_t> expected = support::make_frame(support::pattern::kRandom, size, 1);
    guarded_buffer<uint8_t> frame(expected);
    simple::flip_horizontal(expected.data(), width, 3);
    flip_horizontal(frame.data(), width, 3);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), frame.data())) << width;
  }
}

TEST(ImagesFlips, EveryModeAndCount) {
  for (const frame_size size : {frame_size{1, 1}, {5, 4}, {17, 5}, {33, 32}, {700, 3}}) {
    const std::vector<uint8_t> original =
        support::make_frame(support::pattern::kRandom, {size.width, size.height * 3}, 1);
    for (const int mode : {0, 1, 2, 3, 4, 7, 252, 255}) {
      for (const uint32_t count : {0u, 1u, 2u, 3u}) {
        std::vector<uint8_t> expected = original;
        simple::images_flips(expected.data(), size.width, size.height, count,
                             static_cast<uint8_t>(mode));
        guarded_buffer<uint8_t> frames(original, mode < 4 ? guard::kEnd : guard::kStart);
        images_flips(frames.data(), size.width, size.height, count, static_cast<uint8_t>(mode));
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), frames.data()))
            << size.width << " x " << size.height << " mode " << mode << " count " << count;
        ASSERT_TRUE(frames.red_zone_intact());
      }
    }
  }
}

TEST(RemoveTDummy, LeavesOutTheFirstRowAndTheMiddleColumn) {
  const uint16_t frame[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const guarded_buffer<uint16_t> src(frame);
  guarded_buffer<uint16_t> dst(6);
  remove_T_dummy(src.data(), 4, 3, dst.data());
  EXPECT_EQ(std::vector<uint16_t>(dst.data(), dst.data() + 6),
            (std::vector<uint16_t>{5, 6, 8, 9, 10, 12}));
}

TEST(TransposeRemoveTDummy, PlainTranspose) {
  const uint16_t src[] = {1, 2, 3, 4, 5, 6};
  uint16_t dst[6] = {};
  transpose_remove_T_dummy(src, 2, 3, -1, dst);
  EXPECT_EQ(std::vector<uint16_t>(dst, dst + 6), (std::vector<uint16_t>{1, 4, 2, 5, 3, 6}));
}

std::vector<uint16_t> samples_of(frame_size size) {
  support::random_source random(3);
  std::vector<uint16_t> samples(size.pixels());
  for (uint16_t &v : samples) v = static_cast<uint16_t>(random.next());
  return samples;
}

void compare_dummy_removal(frame_size size, guard side) {
  const auto [width, height] = size;
  const size_t stripped = static_cast<size_t>(width - 1) * static_cast<size_t>(height - 1);
  const guarded_buffer<uint16_t> src(samples_of(size), side);
  std::vector<uint16_t> expected(size.pixels());

  guarded_buffer<uint16_t> removed(stripped, side);
  simple::remove_T_dummy(src.data(), width, height, expected.data());
  remove_T_dummy(src.data(), width, height, removed.data());
  ASSERT_TRUE(std::equal(removed.data(), removed.data() + stripped, expected.begin()));
  ASSERT_TRUE(removed.red_zone_intact());

  for (const int32_t keep : {0, 1}) {
    const size_t count = keep != 0 ? size.pixels() : stripped;
    guarded_buffer<uint16_t> dst(count, side);
    simple::transpose_remove_T_dummy(src.data(), width, height, keep, expected.data());
    transpose_remove_T_dummy(src.data(), width, height, keep, dst.data());
    ASSERT_TRUE(std::equal(dst.data(), dst.data() + count, expected.begin()))
        << width << " x " << height << " keep " << keep;
    ASSERT_TRUE(dst.red_zone_intact());
  }
}

TEST(DummyRemoval, AgreesWithTheSimpleForms) {
  for (const frame_size size : layout_sizes()) {
    for (const guard side : {guard::kEnd, guard::kStart}) compare_dummy_removal(size, side);
  }
}

TEST(Layout, NoPixelsNothingTouched) {
  for (const frame_size size : {frame_size{0, 4}, {4, 0}, {-3, -4}, {-3, 4}}) {
    for (const in_place_case &c : kInPlace) c.fast(nullptr, size.width, size.height);
    images_flips(nullptr, size.width, size.height, 2, 3);
    remove_T_dummy(nullptr, size.width, size.height, nullptr);
    transpose_remove_T_dummy(nullptr, size.width, size.height, 0, nullptr);
    transpose_remove_T_dummy(nullptr, size.width, size.height, 1, nullptr);
  }
}

}  // namespace
