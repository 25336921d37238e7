#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "support/guarded_buffer.h"

namespace {

using support::guarded_buffer;

// A frame with saturated samples in both outer columns and count more of them inside.
std::vector<uint16_t> saturated_frame(uint32_t width, uint32_t height, uint32_t count) {
  std::vector<uint16_t> frame(size_t{width} * height, 65534);
  for (size_t row = 0; row < height; ++row) {
    frame[row * width] = 65535;
    frame[row * width + width - 1] = 65535;
  }
  for (size_t i = frame.size(); count > 0; --i) {
    if (frame[i - 1] == 65535) continue;
    frame[i - 1] = 65535;
    --count;
  }
  return frame;
}

TEST(WhiteNoise, HundredInnerSamplesAreNoise) {
  for (const uint32_t width : {12u, 70u, 5000u, 9000u}) {
    for (const uint32_t count : {0u, 99u, 100u, 101u}) {
      const guarded_buffer<uint16_t> frame(saturated_frame(width, 110, count));
      EXPECT_EQ(is_mq4xx_white_noise(frame.data(), width, 110), count >= 100 ? 1 : 0)
          << width << ' ' << count;
    }
  }
}

TEST(WhiteNoise, EverySampleSaturated) {
  // More than a 16-bit count can hold, in one row and in many.
  const std::vector<uint16_t> frame(300 * 300, 65535);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 300, 300), 1);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 65538, 1), 1);
}

TEST(WhiteNoise, NothingInside) {
  const guarded_buffer<uint16_t> frame(std::vector<uint16_t>(2 * 200, 65535));
  EXPECT_EQ(is_mq4xx_white_noise(nullptr, 0, 200), 0);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 1, 400), 0);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 2, 200), 0);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 400, 0), 0);
}

TEST(ImageCenterMean, RefusesASquareLargerThanTheImage) {
  const uint8_t image[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(image_center_mean(image, 3, 2, 3), -1);
  EXPECT_EQ(image_center_mean(image, 2, 3, 3), -1);
  EXPECT_EQ(image_center_mean(nullptr, 3, 2, 1), -1);
  EXPECT_EQ(image_center_mean(image, 3, 2, 0), 0);
  EXPECT_EQ(image_center_mean(image, 3, 2, -2), 0);
  EXPECT_EQ(image_center_mean(image, 0, 0, 0), 0);
}

TEST(OffsetMin, MaskedPixelWrapsAround) {
  uint8_t image[] = {5, 3, 9};
  const uint8_t mask[] = {0, 1, 0};
  EXPECT_EQ(offset_min(image, mask, 3, 1), 5);
  EXPECT_EQ(std::vector<uint8_t>(image, image + 3), (std::vector<uint8_t>{0, 254, 4}));
}

TEST(OffsetMin, NoPixelsIs255) {
  EXPECT_EQ(offset_min(nullptr, nullptr, 0, 5), 255);
  EXPECT_EQ(offset_min(nullptr, nullptr, -2, -3), 255);
}

}  // namespace
