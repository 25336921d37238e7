#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"

namespace {

using support::guard;
using support::guarded_buffer;
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

// Few levels make equal samples and the tie of the five-sample rule frequent.
TEST(GetMedian, EqualsTheSimpleForm) {
  for (int32_t n = 4; n <= 7; ++n) {
    for (const int32_t length : {1, 2, 7, 8, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100, 129, 5000}) {
      for (const uint32_t levels : {256u, 6u}) {
        SCOPED_TRACE(testing::Message() << "n " << n << " length " << length);
        support::random_source random(static_cast<uint64_t>(length));
        bytes rows(static_cast<size_t>(n * length));
        for (uint8_t &sample : rows)
          sample = static_cast<uint8_t>(random.below(levels) + 256 - levels);
        bytes first(rows.begin(), rows.begin() + length);
        const guard side = levels == 6 ? guard::kEnd : guard::kStart;
        guarded_buffer<uint8_t> dst(first, side);
        std::fill_n(rows.begin(), length, 0x5A);  // never read
        const guarded_buffer<uint8_t> src(rows, side);
        simple::get_median(first.data(), rows.data(), length, n);
        ASSERT_EQ(get_median(dst.data(), src.data(), length, n), 1);
        ASSERT_EQ(bytes(dst.span().begin(), dst.span().end()), first);
        ASSERT_TRUE(dst.red_zone_intact());
      }
    }
  }
}

// Every place of the destination from before the stack to after it.
TEST(GetMedian, OverlapKeepsTheOrderOfPositions) {
  for (int32_t n = 4; n <= 7; ++n) {
    for (const int32_t length : {1, 5, 16, 33, 67, 200}) {
      const size_t rows = static_cast<size_t>(n * length);
      const bytes memory = support::make_frame(support::pattern::kRandom, {n + 2, length}, 5);
      for (size_t at = 0; at <= rows + static_cast<size_t>(length); ++at) {
        bytes expected = memory;
        bytes actual = memory;
        simple::get_median(&expected[0] + at, &expected[static_cast<size_t>(length)], length, n);
        get_median(&actual[0] + at, &actual[static_cast<size_t>(length)], length, n);
        ASSERT_EQ(actual, expected) << "n " << n << " length " << length << " dst at " << at;
      }
    }
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
