#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <orva_fp/image.h>

#include "support/frames.h"

namespace {

using support::frame_size;

constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();
constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();

using bytes = std::vector<uint8_t>;

struct example {
  bytes before;
  int32_t percent;
  bytes after;
};

TEST(HisteqWhite, WorkedExamples) {
  const bytes steps = {10, 20, 30, 40};
  const example examples[] = {
      {steps, 25, {85, 170, 255, 40}},
      {steps, 50, {128, 255, 30, 40}},
      {steps, 0, {64, 128, 191, 255}},
      {steps, 100, steps},
      {steps, 150, steps},
      {steps, 101, steps},
      {{0, 0, 0, 0}, 50, {0, 0, 0, 0}},
      {{0, 0, 0, 5}, 50, {0, 0, 0, 5}},
      {{9, 9, 9}, 40, {9, 9, 9}},
      {{200, 200, 200, 200, 10, 10, 10, 10, 10, 250},
       10,
       {255, 255, 255, 255, 142, 142, 142, 142, 142, 250}},
      // Far beyond any sensible share: defined all the same.
      {steps, kLargest, steps},
      {steps, kLowest, {0, 0, 0, 0}},
  };
  for (const example &e : examples) {
    for (const auto equalise : {histeq_white, OVHistEqW}) {
      bytes image = e.before;
      equalise(image.data(), static_cast<int32_t>(image.size()), 1, e.percent);
      EXPECT_EQ(image, e.after) << e.percent;
    }
  }
}

TEST(Histeq, WorkedExamples) {
  const example examples[] = {
      {{0, 0, 255, 255}, 0, {128, 128, 255, 255}},
      {{10, 20, 30, 40}, 0, {64, 128, 191, 255}},
      {{7, 7, 7, 7, 7}, 0, {255, 255, 255, 255, 255}},
  };
  for (const example &e : examples) {
    bytes image = e.before;
    histeq(image.data(), 1, static_cast<int32_t>(image.size()));
    EXPECT_EQ(image, e.after);
  }
}

TEST(Histeq, NoPixels) {
  for (const frame_size size : {frame_size{0, 3}, {3, 0}, {-2, -3}}) {
    histeq(nullptr, size.width, size.height);
    histeq_white(nullptr, size.width, size.height, 20);
    OVHistEqW(nullptr, size.width, size.height, -20);
  }
}

TEST(Histeq, MorePixelsThanTheLimit) {
  // The largest level that occurs still becomes 255.
  bytes image(size_t{4200} * 2100, 3);
  histeq(image.data(), 4200, 2100);
  EXPECT_EQ(image.front(), 255);
  EXPECT_EQ(image.back(), 255);
}

}  // namespace
