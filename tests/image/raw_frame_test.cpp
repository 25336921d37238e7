#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"

namespace {

using support::frame_size;
using support::guard;
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

TEST(WhiteNoise, AgreesWithTheSimpleForm) {
  support::random_source random(5);
  for (const frame_size size : support::frame_sizes()) {
    std::vector<uint16_t> samples(size.pixels());
    // About 100 saturated samples, now more, now fewer.
    const uint32_t odds = static_cast<uint32_t>(size.pixels() / 100 + 1);
    for (uint16_t &v : samples) v = random.below(odds) == 0 ? 65535 : random.byte();
    const uint32_t width = static_cast<uint32_t>(size.width);
    const uint32_t height = static_cast<uint32_t>(size.height);
    for (const guard side : {guard::kEnd, guard::kStart}) {
      const guarded_buffer<uint16_t> frame(samples, side);
      EXPECT_EQ(is_mq4xx_white_noise(frame.data(), width, height),
                simple::is_mq4xx_white_noise(frame.data(), width, height))
          << width << " x " << height;
    }
  }
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

TEST(ImageCenterMean, AgreesWithTheSimpleForm) {
  for (const frame_size size : support::frame_sizes()) {
    const std::vector<uint8_t> frame = support::make_frame(support::pattern::kRandom, size, 1);
    for (const guard end : {guard::kEnd, guard::kStart}) {
      const guarded_buffer<uint8_t> image(frame, end);
      for (int32_t side = std::min(size.width, size.height); side > 0; side -= side / 7 + 1) {
        EXPECT_EQ(image_center_mean(image.data(), size.width, size.height, side),
                  simple::image_center_mean(image.data(), size.width, size.height, side))
            << size.width << " x " << size.height << ' ' << side;
      }
    }
  }
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

TEST(OffsetMin, AgreesWithTheSimpleForm) {
  for (const frame_size size : support::frame_sizes()) {
    for (const support::pattern kind : support::kPatterns) {
      const std::vector<uint8_t> original = support::make_frame(kind, size, 1);
      std::vector<uint8_t> all_masked(original.size(), 1);
      for (const std::vector<uint8_t> &bytes : {support::make_mask(size, 2), all_masked}) {
        for (const guard side : {guard::kEnd, guard::kStart}) {
          std::vector<uint8_t> expected = original;
          const int32_t minimum =
              simple::offset_min(expected.data(), bytes.data(), size.width, size.height);
          guarded_buffer<uint8_t> image(original, side);
          const guarded_buffer<uint8_t> mask(bytes, side);
          ASSERT_EQ(offset_min(image.data(), mask.data(), size.width, size.height), minimum);
          ASSERT_TRUE(std::equal(expected.begin(), expected.end(), image.data()));
          ASSERT_TRUE(image.red_zone_intact());
        }
      }
    }
  }
}

}  // namespace
