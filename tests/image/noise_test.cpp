#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "support/frames.h"

namespace {

using support::frame_size;
using bytes = std::vector<uint8_t>;

struct detection {
  int32_t result;
  uint32_t flags;
  uint32_t strong;
  uint32_t delta;
  uint32_t margin;
  bool operator==(const detection &) const = default;
};

void PrintTo(const detection &d, std::ostream *out) {
  *out << "result " << d.result << ", strong " << d.strong << ", delta " << d.delta << ", margin "
       << static_cast<int32_t>(d.margin);
}

template <typename Function>
detection detect(Function has_noise, const uint8_t *image, frame_size size, uint32_t flags,
                 int32_t margin) {
  noise_check_param param{flags, 77, 78, static_cast<uint32_t>(margin)};
  const int32_t result = has_noise(image, size.width, size.height, &param);
  return {result, param.noise_flags, param.strong_spike_count, param.delta_spike_count,
          param.spike_delta};
}

bytes cross(uint8_t arm) { return {9, arm, 9, arm, 0, arm, 9, arm, 9}; }

TEST(HasNoise, MarginsAndFlagsOfASingleSpike) {
  struct {
    uint8_t arm;
    uint32_t flags;
    detection expected;
  } const cases[] = {
      {100, 3, {1, 3, 1, 1, 50}}, {42, 3, {0, 3, 0, 0, 50}},
      {43, 3, {1, 3, 1, 0, 50}},  {100, 1, {1, 1, 1, 0, 50}},
      {100, 2, {0, 2, 0, 1, 50}}, {100, 0xFFFFFFFCu, {0, 0xFFFFFFFCu, 0, 0, 50}},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(detect(fr_has_noise, cross(c.arm).data(), {3, 3}, c.flags, 50), c.expected);
  }
}

TEST(HasNoise, MoreThanAHundredDeltaSpikes) {
  for (const auto &[width, result] : {std::pair{103, 3}, {102, 1}}) {
    const frame_size size{width, 3};
    const bytes image = support::make_frame(support::pattern::kCheckerboard, size, 1);
    const uint32_t spikes = static_cast<uint32_t>(width - 2);
    EXPECT_EQ(detect(fr_has_noise, image.data(), size, 3, 5),
              (detection{result, 3, spikes, spikes, 5}));
  }
}

TEST(HasNoise, StrongLimitGrowsWithTheWidth) {
  for (const auto &[width, limit] : {std::pair{47, 0u}, {48, 3u}, {95, 3u}, {96, 6u}}) {
    const frame_size size{width, 3};
    bytes image(size.pixels(), 50);
    for (uint32_t spikes = 1; spikes <= 7; ++spikes) {
      image[static_cast<size_t>(width) + 4 * spikes] = 200;
      EXPECT_EQ(detect(fr_has_noise, image.data(), size, 1, 0).result, spikes > limit ? 1 : 0)
          << width << ' ' << spikes;
    }
  }
}

TEST(HasNoise, WithoutInteriorOrRecord) {
  const bytes image(100, 1);
  for (const frame_size size :
       {frame_size{2, 50}, {50, 2}, {0, 9}, {9, 0}, {-5, 9}, {-96, 9}, {9, -96}}) {
    EXPECT_EQ(fr_has_noise(image.data(), size.width, size.height, nullptr), 0);
    EXPECT_EQ(detect(fr_has_noise, image.data(), size, 3, INT32_MIN),
              (detection{0, 3, 0, 0, static_cast<uint32_t>(INT32_MIN)}));
  }
  EXPECT_EQ(fr_has_noise(image.data(), 10, 10, nullptr), 0);
}

TEST(RemoveNoise, AReplacementIsSeenByThePixelsAfterIt) {
  bytes image = {100, 100, 100, 100, 100, 0, 50, 100, 100, 100, 100, 100};
  EXPECT_EQ(remove_noise_use_median_filter(image.data(), 4, 3, 10), 2);
  EXPECT_EQ(image, bytes(12, 100));
}

TEST(RemoveNoise, WithoutInteriorNothingChanges) {
  for (const frame_size size : {frame_size{2, 5}, {5, 2}, {0, 5}, {5, 0}, {-4, 5}, {5, -4}}) {
    bytes image = {9, 0, 9, 0, 9, 0, 9, 0, 9, 0};
    const bytes before = image;
    EXPECT_EQ(remove_noise_use_median_filter(image.data(), size.width, size.height, INT32_MIN), 0);
    EXPECT_EQ(image, before);
  }
}

}  // namespace
