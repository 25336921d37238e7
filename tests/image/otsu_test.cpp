#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"
#include "support/frames.h"

namespace {

using support::frame_size;
using support::random_source;

struct otsu {
  int32_t threshold;
  uint32_t low_count;
  uint32_t high_count;
  double low_mean;
  double high_mean;
  bool operator==(const otsu &) const = default;
};

void PrintTo(const otsu &o, std::ostream *out) {
  *out << o.threshold << " (" << o.low_count << ", " << o.high_count << ", " << o.low_mean << ", "
       << o.high_mean << ")";
}

template <typename Mean, typename Function>
otsu call(Function function, const uint8_t *image, frame_size size, const uint8_t *mask) {
  uint32_t low_count = 77;
  uint32_t high_count = 77;
  Mean low_mean = 77;
  Mean high_mean = 77;
  const int32_t threshold = function(image, size.width, size.height, &low_count, &high_count,
                                     &low_mean, &high_mean, mask);
  return {threshold, low_count, high_count, static_cast<double>(low_mean),
          static_cast<double>(high_mean)};
}
otsu exact_means(const uint8_t *image, frame_size size, const uint8_t *mask) {
  return call<double>(ucFindOtsuThCS1, image, size, mask);
}
otsu byte_means(const uint8_t *image, frame_size size, const uint8_t *mask) {
  return call<uint8_t>(find_otsu_th, image, size, mask);
}
otsu simple_form(const uint8_t *image, frame_size size, const uint8_t *mask) {
  return call<double>(simple::ucFindOtsuThCS1, image, size, mask);
}

frame_size row_of(const std::vector<uint8_t> &pixels) {
  return {static_cast<int32_t>(pixels.size()), 1};
}

struct example {
  const char *name;
  std::vector<uint8_t> pixels;
  std::vector<uint8_t> mask;
  otsu expected;
};

TEST(Otsu, WorkedExamples) {
  const example examples[] = {
      {"two levels", {10, 10, 200, 200}, {}, {10, 2, 2, 10, 200}},
      {"masked pixel", {10, 10, 200, 200}, {0, 1, 0, 0}, {10, 1, 2, 10, 200}},
      {"any nonzero mask byte", {10, 10, 200, 200}, {0, 2, 255, 0}, {10, 1, 1, 10, 200}},
      {"neighbouring levels", {1, 2, 3, 4}, {}, {2, 2, 2, 1.5, 3.5}},
      {"both ends", {255, 0}, {}, {0, 1, 1, 0, 255}},
      {"highest pair", {255, 254, 255}, {}, {254, 1, 2, 254, 255}},
      {"lowest of equal scores", {10, 20, 30}, {}, {10, 1, 2, 10, 25}},
      {"one level", {90, 90, 90}, {}, {0, 0, 0, 0, 0}},
      {"one pixel", {255}, {}, {0, 0, 0, 0, 0}},
      {"all masked", {10, 200}, {1, 1}, {0, 0, 0, 0, 0}},
      {"one level left by the mask", {10, 200, 200}, {1, 0, 0}, {0, 0, 0, 0, 0}},
  };
  for (const example &e : examples) {
    const uint8_t *mask = e.mask.empty() ? nullptr : e.mask.data();
    EXPECT_EQ(exact_means(e.pixels.data(), row_of(e.pixels), mask), e.expected) << e.name;
    otsu truncated = e.expected;
    truncated.low_mean = static_cast<uint8_t>(truncated.low_mean);
    truncated.high_mean = static_cast<uint8_t>(truncated.high_mean);
    EXPECT_EQ(byte_means(e.pixels.data(), row_of(e.pixels), mask), truncated) << e.name;
  }
}

TEST(Otsu, NoPixels_AllZeroAndNothingRead) {
  for (const frame_size size : {frame_size{0, 5}, {5, 0}, {-3, 7}, {-3, -7}}) {
    EXPECT_EQ(exact_means(nullptr, size, nullptr), (otsu{0, 0, 0, 0, 0}));
    EXPECT_EQ(byte_means(nullptr, size, nullptr), (otsu{0, 0, 0, 0, 0}));
  }
}

// A few levels with very unequal numbers of pixels, often symmetric about a level so that scores
// tie or nearly tie.
std::vector<uint8_t> few_levels(random_source &random) {
  const uint32_t spread = 1 + random.below(random.below(3) == 0 ? 255 : 12);
  const uint32_t base = random.below(256 - spread);
  std::vector<uint8_t> pixels;
  for (uint32_t level = 2 + random.below(5); level > 0; --level) {
    const size_t count = 1 + random.below(random.below(4) == 0 ? 40 : 3);
    const uint32_t offset = random.below(spread + 1);
    pixels.insert(pixels.end(), count, static_cast<uint8_t>(base + offset));
    if (random.below(2) == 0) {
      pixels.insert(pixels.end(), count, static_cast<uint8_t>(base + spread - offset));
    }
  }
  return pixels;
}

TEST(Otsu, FewLevelsAndSkewedCounts_LikeTheSimpleForm) {
  random_source random(1);
  for (int round = 0; round < 15000; ++round) {
    const std::vector<uint8_t> pixels = few_levels(random);
    const std::vector<uint8_t> mask = support::make_mask(row_of(pixels), random.next());
    const uint8_t *used_mask = round % 3 == 0 ? mask.data() : nullptr;
    ASSERT_EQ(exact_means(pixels.data(), row_of(pixels), used_mask),
              simple_form(pixels.data(), row_of(pixels), used_mask))
        << "round " << round << " " << testing::PrintToString(pixels);
  }
}

// Pixels mirrored about the middle of the range: every threshold below it has a twin above it with
// the same score in exact arithmetic, and rounding decides between them. The optional extra pixel
// makes it a near tie.
TEST(Otsu, MirroredPixels_RoundingDecides) {
  random_source random(2);
  int upper_twin_wins = 0;
  for (int round = 0; round < 1500; ++round) {
    std::vector<uint8_t> pixels(40 + random.below(160), 0);
    for (size_t i = 0; i + 1 < pixels.size(); i += 2) {
      const uint8_t level = static_cast<uint8_t>(random.below(random.below(2) == 0 ? 100 : 20));
      pixels[i] = level;
      pixels[i + 1] = static_cast<uint8_t>(255 - level);
    }
    pixels.insert(pixels.end(), pixels.size(), 127);  // an odd group in the middle
    const otsu expected = simple_form(pixels.data(), row_of(pixels), nullptr);
    ASSERT_EQ(exact_means(pixels.data(), row_of(pixels), nullptr), expected)
        << "round " << round << " " << testing::PrintToString(pixels);
    upper_twin_wins += expected.threshold >= 127 ? 1 : 0;
  }
  EXPECT_GT(upper_twin_wins, 100);
  EXPECT_LT(upper_twin_wins, 1400);
}

// A large image's pixels lie on three evenly spaced levels: the two splits tie but
// for a handful of pixels, too few to tell them apart in single precision unless every rounding is
// the same.
TEST(Otsu, LargeNearTies_LikeTheSimpleForm) {
  constexpr frame_size kSize = {256, 128};
  random_source random(3);
  for (int round = 0; round < 8; ++round) {
    std::vector<uint8_t> pixels(kSize.pixels());
    for (size_t i = 0; i < pixels.size(); ++i) {
      constexpr uint8_t kLevels[] = {60, 100, 140};
      pixels[i] = kLevels[i % 3];
    }
    for (int moved = 0; moved < round; ++moved) {
      pixels[random.below(static_cast<uint32_t>(pixels.size()))] =
          static_cast<uint8_t>(98 + random.below(5));
    }
    std::vector<uint8_t> mask(pixels.size(), 0);
    mask[random.below(static_cast<uint32_t>(mask.size()))] = 1;
    ASSERT_EQ(exact_means(pixels.data(), kSize, mask.data()),
              simple_form(pixels.data(), kSize, mask.data()))
        << "round " << round;
  }
}

// The largest image whose sums stay below 2^31: counts above 2^24 / 2 and sums that single
// precision cannot hold.
TEST(Otsu, LargestImage_CountsAndSumsExact) {
  constexpr frame_size kSize = {4096, 2056};
  std::vector<uint8_t> pixels(kSize.pixels(), 255);
  for (size_t i = 0; i < pixels.size(); i += 7) pixels[i] = 254;
  const uint32_t low_count = static_cast<uint32_t>((pixels.size() + 6) / 7);
  const uint32_t high_count = static_cast<uint32_t>(pixels.size()) - low_count;
  const float low_mean = static_cast<float>(254 * low_count) / static_cast<float>(low_count);
  const float high_mean = static_cast<float>(255 * high_count) / static_cast<float>(high_count);
  EXPECT_EQ(exact_means(pixels.data(), kSize, nullptr),
            (otsu{254, low_count, high_count, static_cast<double>(low_mean),
                  static_cast<double>(high_mean)}));
}

}  // namespace
