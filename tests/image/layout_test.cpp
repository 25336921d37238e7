#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "support/frames.h"
#include "support/guarded_buffer.h"

namespace {

using support::frame_size;
using support::guarded_buffer;

TEST(Flips, WorkedExamples) {
  uint8_t rows[] = {1, 2, 3, 4, 5, 6};
  flip_vertical(rows, 2, 3);
  EXPECT_EQ(std::vector<uint8_t>(rows, rows + 6), (std::vector<uint8_t>{5, 6, 3, 4, 1, 2}));
  flip_horizontal(rows, 3, 2);
  EXPECT_EQ(std::vector<uint8_t>(rows, rows + 6), (std::vector<uint8_t>{3, 6, 5, 2, 1, 4}));
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

TEST(Layout, NoPixelsNothingTouched) {
  for (const frame_size size : {frame_size{0, 4}, {4, 0}, {-3, -4}, {-3, 4}}) {
    for (auto *in_place : {flip_vertical, flip_horizontal, image_reverse}) {
      in_place(nullptr, size.width, size.height);
    }
    images_flips(nullptr, size.width, size.height, 2, 3);
    remove_T_dummy(nullptr, size.width, size.height, nullptr);
    transpose_remove_T_dummy(nullptr, size.width, size.height, 0, nullptr);
    transpose_remove_T_dummy(nullptr, size.width, size.height, 1, nullptr);
  }
}

}  // namespace
