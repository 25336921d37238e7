#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

namespace {

using bytes = std::vector<uint8_t>;

TEST(GetMedian, WorkedExamples) {
  struct {
    bytes samples;
    int estimate;
  } const cases[] = {
      {{10, 20, 30, 40}, 25},        {{40, 10, 20, 30}, 25},
      {{1, 2, 3, 4, 5, 6}, 3},       {{127, 97, 80, 37, 249, 240}, 103},
      {{1, 2, 3, 4, 5, 6, 7}, 4},    {{179, 190, 40, 146, 169, 188, 176}, 169},
      {{10, 20, 30, 40, 50}, 25},    {{10, 20, 30, 31, 50}, 30},
      {{10, 29, 30, 40, 50}, 29},    {{72, 79, 206, 240, 254}, 223},
      {{128, 3, 218, 106, 35}, 117}, {{255, 5, 255, 10, 255}, 132},
  };
  for (const auto &c : cases) {
    bytes samples = c.samples;
    EXPECT_EQ(get_median(samples.data(), samples.data(), 1, static_cast<int32_t>(samples.size())),
              1);
    EXPECT_EQ(samples[0], c.estimate) << testing::PrintToString(c.samples);
    EXPECT_TRUE(std::equal(samples.begin() + 1, samples.end(), c.samples.begin() + 1));
  }
}

TEST(GetMedian, OtherCountsAndEmptyRowsTouchNothing) {
  for (const int32_t n : {3, 8, 0, -1, INT32_MIN, INT32_MAX}) {
    bytes rows = {9, 1, 8, 2, 7, 3, 6, 4};
    const bytes before = rows;
    EXPECT_EQ(get_median(rows.data(), rows.data(), 1, n), 0);
    EXPECT_EQ(rows, before);
  }
  for (const int32_t length : {0, -1, INT32_MIN}) {
    for (int32_t n = 4; n <= 7; ++n) EXPECT_EQ(get_median(nullptr, nullptr, length, n), 1);
  }
}

}  // namespace
