// Water detection: the bands that just make or miss a verdict.
#include <gtest/gtest.h>
#include <numeric>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"

namespace {

using support::frame_size;
using support::guard;

struct area {
  int32_t left;
  int32_t top;
  int32_t width;
  int32_t height;
};

void fill(std::vector<uint8_t> *frame, frame_size size, area a, uint8_t level) {
  for (int32_t y = std::max(a.top, 0); y < std::min(a.top + a.height, size.height); ++y) {
    for (int32_t x = std::max(a.left, 0); x < std::min(a.left + a.width, size.width); ++x) {
      (*frame)[static_cast<size_t>(y * size.width + x)] = level;
    }
  }
}

int32_t guarded_is_water(const std::vector<uint8_t> &frame, frame_size size, guard side) {
  const support::guarded_buffer<uint8_t> image(frame, side);
  return is_water(image.data(), size.width, size.height);
}

// Bands about as long and as many as the limits, at random places: of every kind of verdict there
// must be plenty. The wide frames take several blocks of columns.
TEST(Water, MatchesSimpleForm_BandsAroundTheLimits) {
  constexpr frame_size kSizes[] = {{46, 40}, {90, 75}, {40, 46}, {600, 70}, {34, 300}, {290, 34}};
  support::random_source random(5);
  int found = 0;
  constexpr int kFrames = 1500;
  for (int round = 0; round < kFrames; ++round) {
    const frame_size size = kSizes[static_cast<size_t>(round) % std::size(kSizes)];
    std::vector<uint8_t> frame =
        support::make_frame(support::pattern::kNarrow, size, static_cast<uint64_t>(round));
    for (uint8_t &pixel : frame) pixel = static_cast<uint8_t>(pixel % 8 + 190);
    const uint32_t bands = 1 + random.below(3);
    for (uint32_t band = 0; band < bands; ++band) {
      int32_t along = 30 + static_cast<int32_t>(random.below(10));
      int32_t across = 19 + static_cast<int32_t>(random.below(5));
      if (random.below(2) == 0) std::swap(along, across);
      const auto place = [&](int32_t length) {
        return static_cast<int32_t>(random.below(static_cast<uint32_t>(length)));
      };
      fill(&frame, size, {place(size.width) - 3, place(size.height) - 3, along, across},
           static_cast<uint8_t>(random.below(190)));
    }
    for (uint32_t speck = random.below(3); speck > 0; --speck) {
      frame[random.below(static_cast<uint32_t>(frame.size()))] = 255;
    }
    const int32_t expected = simple::is_water(frame.data(), size.width, size.height);
    found += expected;
    ASSERT_EQ(guarded_is_water(frame, size, guard::kEnd), expected) << "round " << round;
  }
  EXPECT_GT(found, kFrames / 10);
  EXPECT_LT(found, kFrames * 9 / 10);
}

TEST(Water, BlockOfDarkPixels) {
  const struct {
    const char *name;
    frame_size size;
    area dark;
    int32_t expected;
  } cases[] = {{"32 columns in 21 rows", {46, 40}, {5, 5, 32, 21}, 1},
               {"31 columns", {46, 40}, {5, 5, 31, 21}, 0},
               {"20 rows", {46, 40}, {5, 5, 32, 20}, 0},
               {"rows down to the last", {46, 40}, {5, 19, 32, 21}, 0},
               {"columns up to the last", {46, 40}, {14, 5, 32, 21}, 0},
               {"33 columns from column 0", {46, 40}, {0, 5, 33, 21}, 1},
               {"32 columns from column 0", {46, 40}, {0, 5, 32, 21}, 0},
               {"on its side from row 0", {40, 46}, {5, 0, 21, 32}, 1},
               {"on its side, 31 rows", {40, 46}, {5, 0, 21, 31}, 0},
               {"on its side from column 0", {40, 46}, {0, 3, 21, 32}, 1},
               {"on its side up to the last column", {40, 46}, {19, 3, 21, 32}, 0},
               {"on its side down to the last row", {40, 46}, {5, 14, 21, 32}, 0}};
  for (const auto &c : cases) {
    std::vector<uint8_t> frame(c.size.pixels(), 200);
    fill(&frame, c.size, c.dark, 10);
    EXPECT_EQ(guarded_is_water(frame, c.size, guard::kEnd), c.expected) << c.name;
  }
}

// 21 equal lines of 100 pixels whose mean is just short of 101, that is with a threshold of 95,
// before a line of one level. Lines across them are too short to qualify.
std::vector<uint8_t> equal_lines(std::vector<uint8_t> line) {
  constexpr size_t kLength = 100;
  const size_t sum = std::accumulate(line.begin(), line.end(), size_t{0});
  const size_t left = kLength - line.size();
  const size_t missing = 101 * kLength - 1 - sum;
  for (size_t i = 0; i < left; ++i) {
    line.push_back(static_cast<uint8_t>(missing / left + (i < missing % left ? 1 : 0)));
  }
  std::vector<uint8_t> frame;
  for (int y = 0; y < 21; ++y) frame.insert(frame.end(), line.begin(), line.end());
  frame.insert(frame.end(), kLength, 100);
  return frame;
}

int32_t water_of_rows(std::vector<uint8_t> start) {
  return guarded_is_water(equal_lines(std::move(start)), {100, 22}, guard::kEnd);
}

int32_t water_of_columns(std::vector<uint8_t> start) {
  const std::vector<uint8_t> rows = equal_lines(std::move(start));
  std::vector<uint8_t> frame;
  for (size_t y = 0; y < 100; ++y) {
    for (size_t x = 0; x < 22; ++x) frame.push_back(rows[x * 100 + y]);
  }
  return guarded_is_water(frame, {22, 100}, guard::kEnd);
}

std::vector<uint8_t> levels(std::initializer_list<std::pair<size_t, uint8_t>> runs) {
  std::vector<uint8_t> all;
  for (const auto &[count, level] : runs) all.insert(all.end(), count, level);
  return all;
}

TEST(Water, PixelEqualToThresholdContinuesAStretchOnly) {
  const struct {
    std::vector<uint8_t> start;
    int32_t expected;
  } cases[] = {{levels({{1, 120}, {1, 94}, {31, 95}, {1, 96}}), 1},
               {levels({{1, 120}, {1, 94}, {30, 95}, {1, 96}}), 0},
               {levels({{1, 120}, {40, 95}, {1, 96}}), 0},
               {levels({{1, 120}, {9, 95}, {1, 94}, {31, 95}, {1, 96}}), 1},
               {levels({{1, 120}, {9, 95}, {1, 94}, {30, 95}, {1, 96}}), 0}};
  for (const auto &c : cases) {
    EXPECT_EQ(water_of_rows(c.start), c.expected) << testing::PrintToString(c.start);
    EXPECT_EQ(water_of_columns(c.start), c.expected) << testing::PrintToString(c.start);
  }
}

TEST(Water, ColumnZeroIsNotWalkedButRowZeroIs) {
  const std::vector<uint8_t> dark = levels({{2, 94}, {30, 95}, {1, 96}});
  EXPECT_EQ(water_of_rows(dark), 0);
  EXPECT_EQ(water_of_columns(dark), 1);
  EXPECT_EQ(water_of_rows(levels({{2, 94}, {31, 95}, {1, 96}})), 1);
}

TEST(Water, LineWithMeanBelowMarginNeverQualifies) {
  // A mean of 4 in every row, and dark stretches that a signed threshold would not find either.
  std::vector<uint8_t> row(100, 0);
  row[60] = 255;
  row[80] = 200;
  std::vector<uint8_t> frame;
  for (int y = 0; y < 25; ++y) frame.insert(frame.end(), row.begin(), row.end());
  frame.insert(frame.end(), 100, 0);
  EXPECT_EQ(guarded_is_water(frame, {100, 26}, guard::kEnd), 0);
  // A mean of 5: a threshold of 0, below which no pixel lies.
  for (size_t y = 0; y < 25; ++y) frame[y * 100 + 90] = 45;
  EXPECT_EQ(guarded_is_water(frame, {100, 26}, guard::kEnd), 0);
}

TEST(Water, NoPixels) {
  EXPECT_EQ(is_water(nullptr, 0, 50), 0);
  EXPECT_EQ(is_water(nullptr, 50, 0), 0);
  EXPECT_EQ(is_water(nullptr, -1, 50), 0);
  EXPECT_EQ(is_water(nullptr, INT32_MIN, INT32_MIN), 0);
}

}  // namespace
