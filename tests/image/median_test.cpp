#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "support/frames.h"

namespace {

using support::frame_size;
using bytes = std::vector<uint8_t>;

TEST(Sort, LargeCountTakesNoQuadraticTime) {
  bytes values = support::make_frame(support::pattern::kRandom, {1 << 22, 1}, 1);
  values[5] = 0;
  values[6] = 255;
  sort(values.data(), static_cast<int32_t>(values.size()));
  EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
  EXPECT_EQ(values.front(), 0);
  EXPECT_EQ(values.back(), 255);
}

TEST(Sort, NullAndCountsBelowTwoDoNothing) {
  sort(nullptr, 5);
  bytes values = {3, 1, 2};
  for (const int32_t count : {1, 0, -1, INT32_MIN}) sort(values.data(), count);
  EXPECT_EQ(values, (bytes{3, 1, 2}));
}

TEST(MedianFilter, WorkedExamples) {
  struct {
    frame_size size;
    bytes image;
    bytes expected;
  } const cases[] = {
      {{2, 2}, {10, 20, 30, 40}, {20, 20, 30, 30}},
      {{3, 3}, {0, 0, 0, 0, 255, 0, 0, 0, 0}, bytes(9, 0)},
  };
  for (const auto &c : cases) {
    bytes image = c.image;
    bytes work(image.size());
    median_filter(image.data(), work.data(), c.size.width, c.size.height);
    EXPECT_EQ(image, c.expected);
    EXPECT_EQ(work, c.image);
  }
}

TEST(MedianFilter, BelowTwoByTwoNothingChanges) {
  for (const frame_size size : {frame_size{1, 5}, {5, 1}, {0, 5}, {5, 0}, {-3, 4}, {4, -3}}) {
    bytes image = {5, 1, 9, 2, 7};
    bytes work(5, 0xEE);
    median_filter(image.data(), work.data(), size.width, size.height);
    EXPECT_EQ(image, (bytes{5, 1, 9, 2, 7}));
    EXPECT_EQ(work, bytes(5, 0xEE));
  }
}

}  // namespace
