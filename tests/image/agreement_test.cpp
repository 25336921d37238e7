// Every image function beside its simple form.
#include <gtest/gtest.h>

#include <orva_fp/image.h>

#include "support/comparisons.h"

namespace {

using support::comparison;
using support::frame_size;

// Single rows and columns, odd sizes, widths around the lane counts of vector registers, around
// the 512 columns that are filtered and the 1024 that are searched for noise at a time, and frames
// that fill every partial sum.
constexpr frame_size kSizes[] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}, {3, 3}, {7, 1}, {8, 1}, {1, 9},
    {2, 5}, {5, 4}, {8, 3}, {9, 5}, {10, 2}, {15, 3}, {16, 16}, {17, 5}, {31, 33}, {32, 7},
    {33, 32}, {47, 11}, {48, 3}, {58, 76}, {63, 64}, {64, 65}, {65, 63}, {96, 4}, {103, 31},
    {129, 40}, {160, 33}, {255, 9}, {257, 5}, {1, 200}, {300, 1}, {300, 200}, {511, 3}, {512, 2},
    {513, 5}, {545, 2}, {551, 8}, {1, 700}, {700, 2}, {1024, 3}, {1025, 9}, {1027, 7}, {1060, 4},
    {1500, 5}, {2051, 9}, {5000, 9}, {600, 40}, {34, 350}};

class Agreement : public testing::TestWithParam<comparison> {
 protected:
  void TearDown() override { g_img_alg_sd = {0, 0}; }

  // Compares over a scene of count drawn bytes; the first of them selects the guarded end.
  std::string differences(size_t count, std::optional<support::set_frame> set = {}) {
    support::bytes drawn(count);
    for (uint8_t &byte : drawn) byte = random_.byte();
    drawn[0] = ++end_ % 2;
    return GetParam().differences(drawn, set);
  }

 private:
  support::random_source random_{1};
  uint8_t end_ = 0;
};

TEST_P(Agreement, EverySizeAndPattern) {
  for (const frame_size size : kSizes) {
    const uint32_t rounds = size.pixels() > 10000 ? 1u : size.pixels() > 1000 ? 2u : 6u;
    for (uint32_t k = 0; k < support::kPatterns * rounds; ++k) {
      const auto kind = static_cast<support::pattern>(k % support::kPatterns);
      ASSERT_EQ(differences(32, support::set_frame{size, kind}), "")
          << support::pattern_name(kind) << " " << size.width << " x " << size.height;
    }
  }
}

TEST_P(Agreement, DrawnFramesWithLinesAcrossThem) {
  for (int round = 0; round < 1000; ++round) ASSERT_EQ(differences(400), "") << round;
}

INSTANTIATE_TEST_SUITE_P(
    , Agreement, testing::ValuesIn(support::comparisons()), [](const auto &test) {
      std::string name = test.param.name;
      std::ranges::replace_if(
          name, [](char c) { return isalnum(c) == 0; }, '_');
      return name;
    });

}  // namespace
