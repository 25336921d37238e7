#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <orva_fp/image.h>

#include "support/frames.h"
#include "support/guarded_buffer.h"

namespace {

using support::frame_size;
using support::guarded_buffer;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kQuadrants = 4;
constexpr uint32_t kBlocks = 0;

std::vector<uint8_t> taken(const guarded_buffer<uint8_t> &values, uint32_t count) {
  return {values.data(), values.data() + count};
}

class Blocks : public testing::Test {
 protected:
  void TearDown() override { g_img_alg_sd = {0, 0}; }

  std::vector<uint8_t> means(const std::vector<uint8_t> &image, frame_size size, uint32_t mode,
                             uint8_t side, const uint8_t *mask = nullptr) {
    g_img_alg_sd = {size.width, size.height};
    uint32_t count = mode;
    guarded_buffer<uint8_t> values(64);
    vCalculateBlockDRCS1(image.data(), &count, values.data(), mask, side);
    return taken(values, count);
  }
  std::vector<uint8_t> ranges(const std::vector<uint8_t> &image, frame_size size, uint8_t side,
                              const uint8_t *mask = nullptr) {
    g_img_alg_sd = {size.width, size.height};
    uint32_t count = 4;  // not read
    guarded_buffer<uint8_t> values(64);
    vCalculateBlockDROtsuCS1(image.data(), nullptr, &count, values.data(), mask, side);
    return taken(values, count);
  }
};

TEST_F(Blocks, QuadrantsOfAnOddImage) {
  const std::vector<uint8_t> image = {10, 20, 31,  //
                                      40, 50, 60,  //
                                      71, 80, 91};
  EXPECT_THAT(means(image, {3, 3}, kQuadrants, 0), ElementsAre(10, 25, 55, 70));
  const std::vector<uint8_t> mask = {1,   0, 2,  //
                                     0,   0, 0,  //
                                     255, 0, 0};
  EXPECT_THAT(means(image, {3, 3}, kQuadrants, 0, mask.data()), ElementsAre(0, 20, 40, 70));
  EXPECT_THAT(means({200}, {1, 1}, kQuadrants, 0), ElementsAre(0, 0, 0, 200));
  EXPECT_THAT(means({}, {0, 3}, kQuadrants, 0), ElementsAre(0, 0, 0, 0));
}

TEST_F(Blocks, GridIsCentredAndBordersAreLeftOut) {
  std::vector<uint8_t> image(11 * 11, 255);
  for (size_t y = 1; y <= 8; ++y) {
    for (size_t x = 1; x <= 8; ++x) {
      const size_t block = (y - 1) / 4 * 2 + (x - 1) / 4;
      image[y * 11 + x] = static_cast<uint8_t>(50 * block + (x % 2 == 0 ? 1 + block : 0));
    }
  }
  EXPECT_THAT(means(image, {11, 11}, kBlocks, 4), ElementsAre(0, 51, 101, 152));
  EXPECT_THAT(ranges(image, {11, 11}, 4), ElementsAre(1, 2, 3, 4));
}

TEST_F(Blocks, RangeIsTheDistanceOfTheClassMeans) {
  EXPECT_THAT(ranges({50, 150, 150, 50}, {2, 2}, 2), ElementsAre(100));
  EXPECT_THAT(ranges({50, 50, 50, 50}, {2, 2}, 2), ElementsAre(0));
  EXPECT_THAT(ranges({10, 11, 200, 200}, {2, 2}, 2), ElementsAre(189));
  const std::vector<uint8_t> mask = {1, 1, 1, 1};
  EXPECT_THAT(ranges({50, 150, 150, 50}, {2, 2}, 2, mask.data()), ElementsAre(0));
}

TEST_F(Blocks, NoBlockFits_CountZeroAndNothingWritten) {
  const std::vector<uint8_t> image(30, 7);
  for (const uint8_t side : {uint8_t{4}, uint8_t{0}}) {
    EXPECT_THAT(means(image, {10, 3}, kBlocks, side), IsEmpty());
    EXPECT_THAT(ranges(image, {10, 3}, side), IsEmpty());
    EXPECT_THAT(means(image, {-4, -4}, kBlocks, side), IsEmpty());
    EXPECT_THAT(ranges(image, {-4, -4}, side), IsEmpty());
  }
  g_img_alg_sd = {10, 3};
  uint8_t value = 99;
  uint32_t count = 9;
  vCalculateBlockDRCS1(image.data(), &count, &value, nullptr, 4);
  vCalculateBlockDROtsuCS1(image.data(), nullptr, &count, &value, nullptr, 4);
  EXPECT_EQ(value, 99);
}

TEST_F(Blocks, CountLeftAtFour_SelectsQuadrants) {
  const std::vector<uint8_t> image = {1, 2, 3, 4, 5, 6, 7, 8};
  g_img_alg_sd = {8, 1};
  uint32_t count = kBlocks;
  uint8_t values[8] = {};
  const std::vector<uint8_t> square = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  g_img_alg_sd = {4, 4};
  vCalculateBlockDRCS1(square.data(), &count, values, nullptr, 2);
  ASSERT_EQ(count, 4u);
  g_img_alg_sd = {8, 1};
  vCalculateBlockDRCS1(image.data(), &count, values, nullptr, 1);
  EXPECT_EQ(count, 4u);
  EXPECT_THAT(std::vector<uint8_t>(values, values + 4), ElementsAre(0, 0, 2, 6));
}

// The widest blocks fill every lane to its limit: 255 rows of 255.
TEST_F(Blocks, LargestBlocks) {
  constexpr frame_size kSize = {766, 511};
  const std::vector<uint8_t> mask(kSize.pixels(), 0);
  std::vector<uint8_t> image(kSize.pixels(), 255);
  EXPECT_THAT(means(image, kSize, kBlocks, 255), ElementsAre(255, 255, 255, 255, 255, 255));
  EXPECT_THAT(means(image, kSize, kQuadrants, 0, mask.data()), ElementsAre(255, 255, 255, 255));
  for (size_t i = 0; i < image.size(); i += 2) image[i] = 100;
  EXPECT_THAT(ranges(image, kSize, 255, mask.data()), ElementsAre(155, 155, 155, 155, 155, 155));
}

}  // namespace
