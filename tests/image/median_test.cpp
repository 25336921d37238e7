#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"
#include "support/image_cases.h"

namespace {

using support::frame_size;
using support::guard;
using support::guarded_buffer;
using bytes = std::vector<uint8_t>;

bytes contents(const guarded_buffer<uint8_t> &buffer) {
  return {buffer.span().begin(), buffer.span().end()};
}

TEST(Sort, AscendingForEveryCountAroundTheChangeOfMethod) {
  for (const support::pattern kind : support::kPatterns) {
    for (int32_t count = 0; count <= 140; ++count) {
      const bytes input = support::make_frame(kind, {count, 1}, 7);
      guarded_buffer<uint8_t> values(input, count % 2 == 0 ? guard::kEnd : guard::kStart);
      bytes expected = input;
      simple::sort(expected.data(), count);
      sort(values.data(), count);
      ASSERT_EQ(contents(values), expected) << support::pattern_name(kind) << ' ' << count;
      ASSERT_TRUE(values.red_zone_intact());
    }
  }
}

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

void expect_filtered(frame_size size, const bytes &frame, guard side) {
  guarded_buffer<uint8_t> image(frame, side);
  guarded_buffer<uint8_t> work(frame.size(), side);
  bytes expected = frame;
  bytes expected_work(frame.size(), 0xA5);
  simple::median_filter(expected.data(), expected_work.data(), size.width, size.height);
  median_filter(image.data(), work.data(), size.width, size.height);
  ASSERT_EQ(contents(image), expected);
  ASSERT_EQ(contents(work), expected_work);
  ASSERT_TRUE(image.red_zone_intact() && work.red_zone_intact());
}

TEST(MedianFilter, EqualsTheSimpleForm) {
  support::for_each_frame([](frame_size size, const bytes &frame) {
    expect_filtered(size, frame, guard::kEnd);
    expect_filtered(size, frame, guard::kStart);
  });
}

// Rows are filtered in strips of 512 columns; two columns make the narrowest image.
TEST(MedianFilter, WidthsAroundStripsAndTwoColumns) {
  for (const int32_t width : {2, 4, 8, 9, 10, 511, 512, 513, 514, 543, 545, 1024, 1025, 1300}) {
    SCOPED_TRACE(width);
    for (const int32_t height : {2, 3, 5}) {
      const frame_size size{width, height};
      expect_filtered(size, support::make_frame(support::pattern::kRandom, size, 3), guard::kEnd);
    }
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
