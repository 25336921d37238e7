// Defect evaluation: hand-made marks, and inputs that are refused.
#include <cmath>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <orva_fp/image.h>

#include "support/frames.h"
#include "support/guarded_buffer.h"
#include "support/log_capture.h"

namespace {

using support::frame_size;

struct checks {
  uint32_t flags;
  int32_t high;
  int32_t low;
  int32_t deviation;
  int32_t line_check;
};

constexpr uint32_t kAllChecks =
    EVAL_CHECK_HIGH | EVAL_CHECK_LOW | EVAL_CHECK_DEVIATION | EVAL_SPREAD_LOW;

// Everything that the call does not set holds 0xA5.
image_eval_record make_record(const checks &c, const uint8_t *image) {
  image_eval_record record;
  memset(&record, 0xA5, sizeof record);
  record.check_flags = c.flags;
  record.high_threshold = c.high;
  record.low_threshold = c.low;
  record.deviation_threshold = c.deviation;
  record.line_check = c.line_check;
  record.image = image;
  return record;
}

class Evaluation : public testing::Test {
 protected:
  void SetUp() override { support::clear_log(); }
  void TearDown() override { g_img_alg_sd = {0, 0}; }

  image_eval_record evaluate(const checks &c, frame_size size, const std::vector<uint8_t> &frame) {
    const support::guarded_buffer<uint8_t> image(frame);
    image_eval_record record = make_record(c, image.data());
    g_img_alg_sd = {size.width, size.height};
    EXPECT_EQ(evaluate_image(&record), 0);
    EXPECT_THAT(support::log_lines(), testing::IsEmpty()) << "the summary is a debug line";
    return record;
  }

  // A frame of zeros with pixels of 255 in a line from (x, y) on, evaluated for high pixels.
  image_eval_record evaluate_line(frame_size size, int32_t x, int32_t y, int32_t right,
                                  int32_t down, int32_t length) {
    std::vector<uint8_t> frame(size.pixels(), 0);
    for (int32_t k = 0; k < length; ++k) {
      frame[static_cast<size_t>((y + k * down) * size.width + x + k * right)] = 255;
    }
    return evaluate({EVAL_CHECK_HIGH, 100, 0, 0, 1}, size, frame);
  }
};

// Thresholds below every level mark every pixel.
TEST_F(Evaluation, ThresholdsFarOutsideTheLevels) {
  constexpr frame_size kSize = {9, 5};
  const std::vector<uint8_t> frame = support::make_frame(support::pattern::kRandom, kSize, 2);
  for (const int32_t lowest : {-1, -2, INT32_MIN}) {
    for (const int32_t highest : {256, 257, INT32_MAX}) {
      const image_eval_record all =
          evaluate({kAllChecks, lowest, highest, lowest, 1}, kSize, frame);
      EXPECT_EQ(all.high_count, 45);
      EXPECT_EQ(all.low_count, 45);
      EXPECT_EQ(all.deviation_count, 45);
      EXPECT_EQ(all.mark_map[44], MARK_HIGH | MARK_LOW | MARK_DEVIATION);
      const image_eval_record none =
          evaluate({kAllChecks, highest, lowest, highest, 1}, kSize, frame);
      EXPECT_EQ(none.high_count + none.low_count + none.deviation_count + none.max_run, 0);
    }
  }
}

TEST_F(Evaluation, PixelsOnTheThresholdsAreNotMarked) {
  // Mean 100.
  const image_eval_record record = evaluate(
      {kAllChecks & ~uint32_t{EVAL_SPREAD_LOW}, 130, 70, 30, 1}, {5, 1}, {130, 70, 131, 69, 100});
  EXPECT_EQ(record.mean, 100);
  EXPECT_THAT(std::vector<uint8_t>(record.mark_map, record.mark_map + 5),
              testing::ElementsAre(0, 0, MARK_HIGH | MARK_DEVIATION, MARK_LOW | MARK_DEVIATION, 0));
}

TEST_F(Evaluation, SpreadLow) {
  // A counted neighbour; one above the high threshold; a low one; none after the last column.
  const image_eval_record record =
      evaluate({EVAL_CHECK_HIGH | EVAL_CHECK_LOW | EVAL_SPREAD_LOW, 150, 50, 0, 0}, {4, 3},
               {10, 50, 100, 100, 100, 10, 151, 100, 150, 20, 10, 49});
  EXPECT_THAT(std::vector<uint8_t>(record.mark_map, record.mark_map + 12),
              testing::ElementsAre(2, 2, 0, 0, 0, 2, 3, 0, 0, 2, 2, 2));
  EXPECT_EQ(record.low_count, 6);
  EXPECT_EQ(record.high_count, 1);
}

TEST_F(Evaluation, MeanIsTruncatedAndTheDeviationIsNot) {
  const image_eval_record record = evaluate({0, 0, 0, 0, 0}, {2, 1}, {1, 2});
  EXPECT_EQ(record.mean, 1);
  EXPECT_EQ(record.std_dev, std::sqrt(0.5));
}

TEST_F(Evaluation, LinesOf19And20InEveryDirection) {
  constexpr frame_size kSize = {58, 76};
  const struct {
    int32_t x, y, right, down;
  } lines[] = {{0, 0, 1, 0}, {38, 75, 1, 0}, {0, 56, 0, 1},  {57, 0, 0, 1},
               {0, 0, 1, 1}, {38, 56, 1, 1}, {57, 0, -1, 1}, {19, 56, -1, 1}};
  for (const auto &line : lines) {
    for (const int32_t length : {1, 2, 3, 19, 20}) {
      const image_eval_record record =
          evaluate_line(kSize, line.x, line.y, line.right, line.down, length);
      EXPECT_EQ(record.max_run, length) << line.x << " " << line.y << " " << line.right;
      EXPECT_EQ(record.defect_found, length >= EVAL_DEFECT_RUN ? 1 : 0);
    }
  }
}

TEST_F(Evaluation, RunsEndAtTheBorder) {
  // Adjacent in memory, but the last pixels of one row and the first of the next.
  EXPECT_EQ(evaluate_line({30, 4}, 20, 1, 1, 0, 20).max_run, 10);
  // Every pixel of a frame one row high, and of one a column wide.
  EXPECT_EQ(evaluate_line({4408, 1}, 0, 0, 1, 0, 4408).max_run, 4408);
  EXPECT_EQ(evaluate_line({1, 4408}, 0, 0, 0, 1, 4408).max_run, 4408);
}

TEST_F(Evaluation, MarkedSquare) {
  for (const frame_size place : {frame_size{0, 0}, frame_size{7, 5}, frame_size{3, 2}}) {
    std::vector<uint8_t> frame(9 * 7, 100);
    const size_t corner = static_cast<size_t>(place.height * 9 + place.width);
    // Marks of different kinds make one square.
    frame[corner] = 0;
    frame[corner + 1] = 255;
    frame[corner + 9] = 255;
    frame[corner + 10] = 0;
    const checks both = {EVAL_CHECK_HIGH | EVAL_CHECK_LOW, 200, 50, 0, 1};
    const image_eval_record square = evaluate(both, {9, 7}, frame);
    EXPECT_EQ(square.max_run, EVAL_DEFECT_RUN);
    EXPECT_EQ(square.defect_found, 1);
    frame[corner + 10] = 100;
    const image_eval_record corner_only = evaluate(both, {9, 7}, frame);
    EXPECT_EQ(corner_only.max_run, 2);
    EXPECT_EQ(corner_only.defect_found, 0);
  }
}

TEST_F(Evaluation, ImageWithoutPixels) {
  constexpr image_dims kSizes[] = {{0, 0},  {0, INT32_MAX}, {9, 0},         {-1, 4},
                                   {0, -4}, {-2, -2},       {65536, 65536}, {INT32_MAX, INT32_MAX}};
  for (const image_dims dims : kSizes) {
    image_eval_record record = make_record({kAllChecks, 1, 2, 3, 1}, nullptr);
    const image_eval_record before = record;
    g_img_alg_sd = dims;
    EXPECT_EQ(evaluate_image(&record), 0);
    EXPECT_TRUE(std::isnan(record.std_dev));
    EXPECT_EQ(record.mean + record.high_count + record.low_count + record.deviation_count, 0);
    EXPECT_EQ(record.max_run + record.defect_found, 0);
    EXPECT_EQ(memcmp(record.mark_map, before.mark_map, sizeof record.mark_map), 0);
  }
  EXPECT_THAT(support::log_lines(), testing::IsEmpty());
}

TEST_F(Evaluation, RefusedInputsClearTheResultsAndLogTheReason) {
  const uint8_t pixel = 9;
  const struct {
    const uint8_t *image;
    image_dims dims;
    const char *reason;
  } cases[] = {{nullptr, {2, 2}, "null image"},
               {&pixel, {4409, 1}, "image too large"},
               {&pixel, {INT32_MAX, 1}, "image too large"}};
  for (const auto &c : cases) {
    support::clear_log();
    image_eval_record record = make_record({kAllChecks, 1, 2, 3, 1}, c.image);
    image_eval_record expected = record;
    expected.mean = 0;
    expected.defect_found = expected.max_run = 0;
    expected.std_dev = 0.0;
    expected.high_count = expected.deviation_count = expected.low_count = 0;
    g_img_alg_sd = c.dims;
    EXPECT_EQ(evaluate_image(&record), 0);
    EXPECT_EQ(memcmp(&record, &expected, sizeof record), 0) << c.reason;
    const std::vector<support::log_line> lines = support::log_lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, 6);
    EXPECT_EQ(lines[0].tag, "(FPLOG)");
    EXPECT_EQ(lines[0].text, std::string("evaluate_image: ") + c.reason + " (" +
                                 std::to_string(c.dims.width) + " x " +
                                 std::to_string(c.dims.height) + ") \n");
  }
}

TEST_F(Evaluation, NullRecordIsLogged) {
  EXPECT_EQ(evaluate_image(nullptr), 0);
  ASSERT_EQ(support::log_lines().size(), 1u);
  EXPECT_EQ(support::log_lines()[0].text, "evaluate_image: null record (0 x 0) \n");
}

}  // namespace
