#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"

namespace {

constexpr uint8_t kFour[] = {10, 20, 30, 40};

TEST(CountIntensity, FloorRejectsOnlyPixelsBelowIt) {
  EXPECT_EQ(count_intensity_cs1(kFour, 2, 2, 2, 0), 100);
  EXPECT_EQ(count_intensity_cs1(kFour, 2, 2, 2, 10), 100);
  EXPECT_EQ(count_intensity_cs1(kFour, 2, 2, 2, 11), -1);
  EXPECT_EQ(count_intensity_cs1(kFour, 2, 2, 2, -1), 100);
  EXPECT_EQ(count_intensity_cs1(kFour, 2, 2, 2, 256), -1);
}

TEST(CountIntensity, EmptyAreaIsZeroWithAnyFloor) {
  for (const int32_t floor : {-1, 0, 256}) {
    EXPECT_EQ(count_intensity_cs1(nullptr, 8, 0, 4, floor), 0);
    EXPECT_EQ(count_intensity_cs1(nullptr, 8, -3, -2, floor), 0);
    EXPECT_EQ(count_intensity_cs1(nullptr, 8, 4, 0, floor), 0);
  }
}

TEST(CountIntensity, NegativeStrideReadsFromTheBottomUp) {
  EXPECT_EQ(count_intensity_cs1(kFour + 3, -3, 2, 1, 0), 50);
}

TEST(CountIntensity, SumWrapsIntoTheSign) {
  // 2^16 rows of 257 * 255 from one and the same row: 2^32 - 2^16.
  const std::vector<uint8_t> row(257, 255);
  EXPECT_EQ(count_intensity_cs1(row.data(), 0, 65536, 257, 0), -65536);
}

TEST(CountAverage, DividesTheRejectionLikeAnySum) {
  EXPECT_EQ(count_average_intensity_cs1(kFour, 2, 2, 2, 0), 25);
  EXPECT_EQ(count_average_intensity_cs1(kFour, 2, 2, 2, 15), 0);
  EXPECT_EQ(count_average_intensity_cs1(kFour, 1, 1, 1, 15), -1);
  EXPECT_EQ(count_average_intensity_cs1(kFour, 1, 0, 4, 15), 0);
  EXPECT_EQ(count_average_intensity_cs1(kFour, 1, 4, 0, 15), 0);
}

TEST(CalculateMinimum, OddMarginsPutTheBoxUpAndLeft) {
  for (int32_t at = 0; at < 25; ++at) {
    uint8_t image[25];
    std::fill_n(image, 25, uint8_t{200});
    image[at] = 7;
    const bool inside = at == 6 || at == 7 || at == 11 || at == 12;
    EXPECT_EQ(calculate_minimum(image, 5, 5, 2, 2), inside ? 7 : 200) << at;
  }
}

TEST(CalculateMinimum, EveryPixelOfTheBoxCounts) {
  constexpr int32_t kWidth = 140;
  constexpr int32_t kHeight = 4;
  for (const int32_t box_width : {1, 40, 63, 64, 65, 100, 128, 130, 140}) {
    const int32_t left = (kWidth - box_width) / 2;
    std::vector<uint8_t> image(kWidth * kHeight, 200);
    for (int32_t at = 0; at < kWidth * kHeight; ++at) {
      uint8_t &pixel = image[static_cast<size_t>(at)];
      pixel = 7;
      const int32_t x = at % kWidth - left;
      const bool inside = x >= 0 && x < box_width && at / kWidth >= 1 && at / kWidth <= 2;
      ASSERT_EQ(calculate_minimum(image.data(), kWidth, kHeight, box_width, 2), inside ? 7 : 200)
          << box_width << " at " << at;
      pixel = 200;
    }
  }
}

TEST(CalculateMinimum, EmptyBoxIs255) {
  constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
  EXPECT_EQ(calculate_minimum(kFour, 2, 2, 2, 0), 255);
  EXPECT_EQ(calculate_minimum(kFour, 2, 2, kLowest, 2), 255);
  EXPECT_EQ(calculate_minimum(kFour, 0, kLowest, 1, 1), 255);
}

TEST(EuclideanDistance, WrapsModulo32Bits) {
  const std::vector<uint8_t> black(257, 0);
  const std::vector<uint8_t> white(257, 255);
  EXPECT_EQ(euclidean_distance_cs1(white.data(), black.data(), 0, 1000, 257),
            static_cast<uint32_t>(uint64_t{257000} * 65025));
}

TEST(StandardDeviation, TruncatesMeanAndVariance) {
  const uint8_t low[] = {0, 0, 1};
  const uint8_t near[] = {1, 2};
  const uint8_t apart[] = {0, 2};
  EXPECT_EQ(standard_deviation(low, 3), 0.0);
  EXPECT_EQ(standard_deviation(near, 2), 0.0);
  EXPECT_EQ(standard_deviation(apart, 2), 1.0);
  EXPECT_EQ(standard_deviation(nullptr, 0), 0.0);
  EXPECT_EQ(standard_deviation(nullptr, -1), 0.0);
}

TEST(CalculateSd, KeepsTheOrderOfAdditions) {
  const double pair[] = {1.0, 2.0};
  EXPECT_EQ(calculate_sd(pair, 2), 0.5);
  EXPECT_EQ(calculate_sd(pair, 1), 0.0);
  // In index order the small value is lost in the first addition; in any other it is not.
  const double cancelling[] = {1e16, 1.0, -1e16, 1.0};
  EXPECT_EQ(calculate_sd(cancelling, 4), simple::calculate_sd(cancelling, 4));
}

TEST(CalculateSd, CountOfZeroOrLess) {
  const double result = calculate_sd(nullptr, 0);
  EXPECT_TRUE(std::isnan(result));
  EXPECT_FALSE(std::signbit(result));
  EXPECT_EQ(calculate_sd(nullptr, -1), 0.0);
}

}  // namespace
