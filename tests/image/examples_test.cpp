// Worked examples of the image functions: by hand, so that the library and its simple form are not
// wrong together; sizes beyond any drawn frame's; and frames without pixels.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <set>
#include <sstream>
#include <ucontext.h>

#include <orva_fp/image.h>

#include "bench/executed.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"
#include "support/log_capture.h"

namespace {

using bytes = std::vector<uint8_t>;
using support::frame_size;
using support::pattern;

// Numbers, and the elements of vectors, in one line.
template <typename... Parts>
std::string text(const Parts &...parts) {
  std::ostringstream out;
  const auto put = [&out](const auto &part) {
    if constexpr (requires { part.begin(); }) {
      for (const auto &element : part) out << ' ' << +element;
    } else {
      out << ' ' << +part;
    }
  };
  (put(parts), ...);
  return out.str().substr(std::min<size_t>(1, out.str().size()));
}

int32_t length(const bytes &row) { return static_cast<int32_t>(row.size()); }

const uint8_t *or_null(const bytes &mask) { return mask.empty() ? nullptr : mask.data(); }

// Runs of one level each: {count, level}.
bytes runs(std::initializer_list<std::pair<size_t, uint8_t>> parts) {
  bytes all;
  for (const auto &[count, level] : parts) all.insert(all.end(), count, level);
  return all;
}

bytes transposed(const bytes &image, frame_size size) {
  bytes turned(image.size());
  const auto w = static_cast<size_t>(size.width), h = static_cast<size_t>(size.height);
  for (size_t i = 0; i < image.size(); ++i) turned[i % w * h + i / w] = image[i];
  return turned;
}

// ---- All results of a call in one line ----------------------------------------------------------

template <typename Mean = double, typename Function = decltype(ucFindOtsuThCS1)>
std::string otsu(const bytes &row, const bytes &mask = {}, Function *function = ucFindOtsuThCS1) {
  uint32_t low = 77, high = 77;
  Mean low_mean = 77, high_mean = 77;
  const int32_t threshold =
      function(row.data(), length(row), 1, &low, &high, &low_mean, &high_mean, or_null(mask));
  return text(threshold, low, high, low_mean, high_mean);
}

std::string in_place(auto function, bytes image, frame_size size, auto... rest) {
  function(image.data(), size.width, size.height, rest...);
  return text(image);
}

std::string white(bytes image, int32_t percent) {
  return in_place(histeq_white, image, {length(image), 1}, percent);
}

std::string median_of(bytes samples) {
  const int32_t result = get_median(samples.data(), samples.data(), 1, length(samples));
  return text(result, samples[0]);
}

std::string means(
    const bytes &image, frame_size size, uint32_t mode, uint8_t side, const bytes &mask = {}) {
  g_img_alg_sd = {size.width, size.height};
  bytes values(64);
  vCalculateBlockDRCS1(image.data(), &mode, values.data(), or_null(mask), side);
  values.resize(mode);
  return text(values);
}

std::string ranges(const bytes &image, frame_size size, uint8_t side, const bytes &mask = {}) {
  g_img_alg_sd = {size.width, size.height};
  bytes values(64);
  uint32_t count = 4;  // not read
  vCalculateBlockDROtsuCS1(image.data(), nullptr, &count, values.data(), or_null(mask), side);
  values.resize(count);
  return text(values);
}

std::string noise(const bytes &image, frame_size size, uint32_t flags, int32_t margin) {
  noise_check_param param{flags, 77, 78, static_cast<uint32_t>(margin)};
  const int32_t result = fr_has_noise(image.data(), size.width, size.height, &param);
  return text(result, param.noise_flags, param.strong_spike_count, param.delta_spike_count,
      static_cast<int32_t>(param.spike_delta));
}
bytes cross(uint8_t arm) { return {9, arm, 9, arm, 0, arm, 9, arm, 9}; }

// Marks, then mean, counts of high, low and deviating pixels, longest run, defect.
std::string evaluate(const image_eval_record &asked, frame_size size, const bytes &image) {
  g_img_alg_sd = {size.width, size.height};
  image_eval_record record = asked;
  record.image = image.data();
  EXPECT_EQ(evaluate_image(&record), 0);
  return text(bytes(record.mark_map, record.mark_map + size.pixels())) + ": " +
         text(record.mean, record.high_count, record.low_count, record.deviation_count,
             record.max_run, record.defect_found);
}

std::string logged() {
  std::string all;
  for (const auto &line : support::log_lines()) all += text(line.priority) + line.tag + line.text;
  return all;
}

int32_t water(const bytes &image, frame_size size) {
  return is_water(image.data(), size.width, size.height);
}

// ---- Examples -----------------------------------------------------------------------------------

TEST(Examples, Thresholds) {
  EXPECT_EQ(otsu({10, 10, 200, 200}), "10 2 2 10 200");
  EXPECT_EQ(otsu({10, 10, 200, 200}, {0, 2, 255, 0}), "10 1 1 10 200");
  EXPECT_EQ(otsu({1, 2, 3, 4}), "2 2 2 1.5 3.5");
  EXPECT_EQ(otsu<uint8_t>({1, 2, 3, 4}, {}, find_otsu_th), "2 2 2 1 3");
  EXPECT_EQ(otsu({255, 0}), "0 1 1 0 255");
  EXPECT_EQ(otsu({255, 254, 255}), "254 1 2 254 255");
  EXPECT_EQ(otsu({10, 20, 30}), "10 1 2 10 25") << "the lowest of equal scores";
  EXPECT_EQ(otsu({0, 127, 127, 254}), "127 3 1 84.6667 254") << "equal but for rounding";
  EXPECT_EQ(otsu({90, 90, 90}), "0 0 0 0 0");
  EXPECT_EQ(otsu({10, 200}, {1, 1}), "0 0 0 0 0");
  EXPECT_EQ(otsu({10, 200, 200}, {1, 0, 0}), "0 0 0 0 0");
}

TEST(Examples, Equalisation) {
  const bytes steps = {10, 20, 30, 40};
  EXPECT_EQ(in_place(histeq, {0, 0, 255, 255}, {2, 2}), "128 128 255 255");
  EXPECT_EQ(in_place(histeq, steps, {1, 4}), "64 128 191 255");
  EXPECT_EQ(in_place(histeq, {7, 7, 7}, {3, 1}), "255 255 255");
  EXPECT_EQ(white(steps, 0), "64 128 191 255");
  EXPECT_EQ(white(steps, 25), "85 170 255 40");
  EXPECT_EQ(white(steps, 50), "128 255 30 40");
  for (const int32_t all : {100, 101, INT32_MAX}) EXPECT_EQ(white(steps, all), text(steps));
  EXPECT_EQ(white(steps, INT32_MIN), "0 0 0 0");
  EXPECT_EQ(white({0, 0, 0, 5}, 50), "0 0 0 5");
}

TEST(Examples, Medians) {
  EXPECT_EQ(median_of({40, 10, 20, 30}), "1 25");
  EXPECT_EQ(median_of({10, 20, 30, 31, 50}), "1 30");
  EXPECT_EQ(median_of({10, 20, 30, 40, 50}), "1 25") << "of two as close the lower";
  EXPECT_EQ(median_of({72, 79, 206, 240, 254}), "1 223");
  EXPECT_EQ(median_of({255, 5, 255, 10, 255}), "1 132");
  EXPECT_EQ(median_of({127, 97, 80, 37, 249, 240}), "1 103");
  EXPECT_EQ(median_of({179, 190, 40, 146, 169, 188, 176}), "1 169");
  EXPECT_EQ(median_of({1, 2, 3}), "0 1");
  EXPECT_EQ(median_of({8, 7, 6, 5, 4, 3, 2, 1}), "0 8");
  bytes image = {10, 20, 30, 40}, work(4);
  median_filter(image.data(), work.data(), 2, 2);
  EXPECT_EQ(text(image, work), "20 20 30 30 10 20 30 40");
  bytes noisy = {100, 100, 100, 100, 100, 0, 50, 100, 100, 100, 100, 100};
  EXPECT_EQ(remove_noise_use_median_filter(noisy.data(), 4, 3, 10), 2) << "2nd sees the 1st";
  EXPECT_EQ(noisy, bytes(12, 100));
}

TEST(Examples, Spikes) {
  EXPECT_EQ(noise(cross(100), {3, 3}, 3, 50), "1 3 1 1 50");
  EXPECT_EQ(noise(cross(42), {3, 3}, 3, 50), "0 3 0 0 50");
  EXPECT_EQ(noise(cross(43), {3, 3}, 3, 50), "1 3 1 0 50");
  EXPECT_EQ(noise(cross(100), {3, 3}, 2, 50), "0 2 0 1 50");
  for (const auto &[width, result] : {std::pair{103, "3 3 101 101 5"}, {102, "1 3 100 100 5"}}) {
    const auto board = support::make_frame(support::pattern::kCheckerboard, {width, 3}, 1);
    EXPECT_EQ(noise(board, {width, 3}, 3, 5), result);
  }
  for (const auto &[width, limit] : {std::pair{47, 0u}, {48, 3u}, {95, 3u}, {96, 6u}}) {
    bytes image(static_cast<size_t>(width) * 3, 50);
    for (uint32_t spikes = 1; spikes <= 7; ++spikes) {
      image[static_cast<size_t>(width) + 4 * spikes] = 200;
      EXPECT_EQ(noise(image, {width, 3}, 1, 0)[0], spikes > limit ? '1' : '0') << width << spikes;
    }
  }
}

TEST(Examples, Blocks) {
  const bytes odd = {10, 20, 31, 40, 50, 60, 71, 80, 91};
  EXPECT_EQ(means(odd, {3, 3}, 4, 0), "10 25 55 70");
  EXPECT_EQ(means(odd, {3, 3}, 4, 0, {1, 0, 2, 0, 0, 0, 255, 0, 0}), "0 20 40 70");
  EXPECT_EQ(means({200}, {1, 1}, 4, 0), "0 0 0 200");
  bytes grid(11 * 11, 255);  // 2 x 2 blocks of side 4 from (1, 1) on
  for (size_t i = 0; i < 64; ++i) {
    const size_t x = i % 8, y = i / 8, block = y / 4 * 2 + x / 4;
    grid[(y + 1) * 11 + x + 1] = static_cast<uint8_t>(50 * block + (x % 2 == 1 ? 1 + block : 0));
  }
  EXPECT_EQ(means(grid, {11, 11}, 0, 4), "0 51 101 152");
  EXPECT_EQ(ranges(grid, {11, 11}, 4), "1 2 3 4");
  EXPECT_EQ(ranges({10, 11, 200, 200}, {2, 2}, 2), "189");
  EXPECT_EQ(ranges({50, 150, 150, 50}, {2, 2}, 2, bytes(4, 1)), "0");
}

TEST(Examples, Evaluation) {
  constexpr uint32_t kBoth = EVAL_CHECK_HIGH | EVAL_CHECK_LOW;
  EXPECT_EQ(
      evaluate({kBoth | EVAL_CHECK_DEVIATION, 130, 70, 30, 1}, {5, 1}, {130, 70, 131, 69, 100}),
      "0 0 5 6 0: 100 1 1 2 2 0");
  EXPECT_EQ(evaluate({kBoth | EVAL_SPREAD_LOW, 150, 50}, {4, 3},
                {10, 50, 100, 100, 100, 10, 151, 100, 150, 20, 10, 49}),
      "2 2 0 0 0 2 3 0 0 2 2 2: 70 1 6 0 0 0");
  EXPECT_EQ(evaluate({kBoth, 200, 50, 0, 1}, {2, 3}, {100, 100, 0, 255, 255, 0}),
      "0 0 2 1 1 2: 118 2 2 0 20 1")
      << "any marks make a square";
}

TEST(Examples, Water) {
  const struct {
    int32_t left, top, width, height, expected;  // of a dark block in 46 x 40 pixels
  } blocks[] = {{5, 5, 32, 21, 1}, {5, 5, 31, 21, 0}, {5, 5, 32, 20, 0}, {5, 19, 32, 21, 0},
      {14, 5, 32, 21, 0}, {3, 0, 32, 21, 1}, {0, 5, 33, 21, 1}, {0, 5, 32, 21, 0}};
  for (const auto &b : blocks) {
    bytes image(46 * 40, 200);
    for (int32_t y = b.top; y < b.top + b.height; ++y)
      std::fill_n(image.begin() + y * 46 + b.left, b.width, 10);
    EXPECT_EQ(water(image, {46, 40}), b.expected) << text(b.left, b.top, b.width, b.height);
    // A column is searched from its first pixel on, unlike a row.
    EXPECT_EQ(water(transposed(image, {46, 40}), {40, 46}), b.left == 0 || b.expected == 1);
  }
  // 30 equal rows before another. With a mean that is just short of 101 the threshold is 95; with
  // one of 4 there is none.
  const struct {
    bytes row;
    int32_t rows, columns;
  } lines[] = {{runs({{1, 120}, {1, 94}, {31, 95}, {1, 96}}), 1, 1},
      {runs({{1, 120}, {1, 94}, {30, 95}, {1, 96}}), 0, 0},
      {runs({{1, 120}, {40, 95}, {1, 96}}), 0, 0},
      {runs({{1, 120}, {9, 95}, {1, 94}, {31, 95}, {1, 96}}), 1, 1},
      {runs({{1, 120}, {33, 95}, {1, 96}, {1, 94}, {31, 95}, {1, 96}}), 1, 1},
      {runs({{2, 94}, {30, 95}, {1, 96}}), 0, 1}, {runs({{101, 0}, {1, 255}, {1, 200}}), 0, 0}};
  for (auto [row, rows, columns] : lines) {
    const size_t left = 103 - row.size();
    const size_t missing = 101 * 103 - 1 - std::accumulate(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < left; ++i) {
      row.push_back(static_cast<uint8_t>(missing / left + (i < missing % left ? 1 : 0)));
    }
    bytes image;
    for (int y = 0; y < 30; ++y) image.insert(image.end(), row.begin(), row.end());
    image.resize(31 * 103, 100);
    EXPECT_EQ(text(water(image, {103, 31}), water(transposed(image, {103, 31}), {31, 103})),
        text(rows, columns))
        << text(row);
  }
}

TEST(Examples, Statistics) {
  const bytes four = {10, 20, 30, 40};
  const auto count = [&](int32_t level) {
    return count_intensity_cs1(four.data(), 2, 2, 2, level);
  };
  EXPECT_EQ(text(count(0), count(10), count(11), count(-1), count(256)), "100 100 -1 100 -1");
  EXPECT_EQ(count_intensity_cs1(&four[3], -3, 2, 1, 0), 50);
  EXPECT_EQ(count_intensity_cs1(bytes(20, 255).data(), 0, 3, 20, 255), 60 * 255);
  EXPECT_EQ(text(count_average_intensity_cs1(four.data(), 2, 2, 2, 0),
                count_average_intensity_cs1(four.data(), 2, 2, 2, 15),
                count_average_intensity_cs1(four.data(), 1, 1, 1, 15)),
      "25 0 -1");
  EXPECT_EQ(
      text(standard_deviation(bytes{0, 0, 1}.data(), 3), standard_deviation(bytes{0, 2}.data(), 2)),
      "0 1");
  const double pair[] = {1.0, 2.0};
  EXPECT_EQ(text(calculate_sd(pair, 2), calculate_sd(pair, 1)), "0.5 0");
  // Every pixel of the box counts and no other; odd margins put it up and left.
  for (const int32_t width : {1, 40, 63, 64, 65, 100, 128, 130, 139, 140}) {
    bytes image(140 * 5, 200);
    for (int32_t at = 0; at < length(image); ++at) {
      const int32_t x = at % 140 - (140 - width) / 2, y = at / 140;
      image.begin()[at] = 7;
      ASSERT_EQ(calculate_minimum(image.data(), 140, 5, width, 2),
          x >= 0 && x < width && (y == 1 || y == 2) ? 7 : 200)
          << width << " at " << at;
      image.begin()[at] = 200;
    }
  }
}

TEST(Examples, RawFrames) {
  const std::vector<uint16_t> raw = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  std::vector<uint16_t> stripped(6), turned(6);
  remove_T_dummy(raw.data(), 4, 3, stripped.data());
  transpose_remove_T_dummy(raw.data(), 2, 3, -1, turned.data());
  EXPECT_EQ(text(stripped, turned), "5 6 8 9 10 12 1 4 2 5 3 6");
  const bytes six = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(text(image_center_mean(six.data(), 3, 2, 2), image_center_mean(six.data(), 3, 2, 3),
                image_center_mean(six.data(), 2, 3, 3), image_center_mean(nullptr, 3, 2, 1),
                image_center_mean(six.data(), 3, 2, 0), image_center_mean(six.data(), 3, 2, -2)),
      "3 -1 -1 -1 0 0");
  bytes image = {5, 3, 9};
  EXPECT_EQ(offset_min(image.data(), bytes{0, 1, 0}.data(), 3, 1), 5);
  EXPECT_EQ(text(image), "0 254 4");
}

TEST(Examples, LayoutAndFiles) {
  EXPECT_EQ(in_place(flip_vertical, {1, 2, 3, 4, 5, 6}, {2, 3}), "5 6 3 4 1 2");
  EXPECT_EQ(in_place(flip_horizontal, {1, 2, 3, 4, 5, 6}, {3, 2}), "3 2 1 6 5 4");
  EXPECT_EQ(in_place(image_reverse, {0, 255, 100}, {3, 1}), "255 0 155");
  bytes file = runs({{30, 0}, {2, 9}, {2, 0}, {2, 8}, {2, 0}}), rows(4);
  file[10] = 30;
  file[18] = file[22] = 2;
  int32_t width = 0, height = 0;
  EXPECT_EQ(get_raw_data_from_bmp(file.data(), rows.data(), &width, &height), 1);
  EXPECT_EQ(text(rows, width, height), "9 9 8 8 2 2");
  EXPECT_EQ(save_raw_data_to_bmp(file.data(), rows.data(), &height, &width), 1);
  EXPECT_EQ(save_raw_data_to_bmp(nullptr, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(text(file.size(), file[10]), "38 30");
}

// ---- Beyond any drawn frame ---------------------------------------------------------------------

TEST(Extremes, SumsAndCounts) {
  const bytes row(65538, 255), black(257, 0);
  EXPECT_EQ(count_intensity_cs1(row.data(), 0, 65536, 257, 0), -65536) << "modulo 2^32";
  EXPECT_EQ(euclidean_distance_cs1(row.data(), black.data(), 0, 1000, 257),
      static_cast<uint32_t>(uint64_t{257000} * 65025));
  EXPECT_EQ(is_mq4xx_white_noise(std::vector<uint16_t>(65538, 65535).data(), 65538, 1), 1);
  const frame_size large = {766, 511};  // blocks of 255 rows of 255 pixels
  bytes image(large.pixels(), 255);
  EXPECT_EQ(means(image, large, 0, 255), "255 255 255 255 255 255");
  EXPECT_EQ(means(image, large, 4, 0, bytes(image.size(), 0)), "255 255 255 255");
  for (size_t i = 0; i < image.size(); i += 2) image[i] = 100;
  EXPECT_EQ(ranges(image, large, 255, bytes(image.size(), 0)), "155 155 155 155 155 155");
  bytes lines(22 * 400, 255);
  for (size_t i = 0; i < 21 * 400; ++i) lines[i] = i % 400 / 40 == 4 ? 100 : 255;
  EXPECT_EQ(water(transposed(lines, {400, 22}), {22, 400}), 1) << "a sum beyond 16 bits";
  bytes many = support::make_frame(support::pattern::kRandom, {1 << 22, 1}, 1);
  sort(many.data(), length(many));
  EXPECT_TRUE(std::is_sorted(many.begin(), many.end())) << "in no quadratic time";
  bytes largest(size_t{4096} * 2056, 255);  // its sums stay below 2^31
  for (size_t i = 0; i < largest.size(); i += 7) largest[i] = 254;
  EXPECT_EQ(otsu(largest), "254 1203054 7218322 254 255");
  histeq(largest.data(), 4096, 2056);
  EXPECT_EQ(largest.back(), 255);
}

TEST(Extremes, NoPixels) {
  for (const auto &[w, h] : {std::pair{0, 5}, {-3, -7}, {65536, 65536}}) {
    EXPECT_EQ(text(remove_noise_use_median_filter(nullptr, w, h, INT32_MIN),
                  fr_has_noise(nullptr, w, h, nullptr), offset_min(nullptr, nullptr, w, h),
                  is_water(nullptr, w, h), count_intensity_cs1(nullptr, 8, h, w, 256),
                  calculate_minimum(nullptr, w, h, 1, 1), image_center_mean(nullptr, w, h, 6)),
        "0 0 255 0 0 255 -1");
    EXPECT_EQ(noise({}, {w, h}, 3, INT32_MIN), "0 3 0 0 -2147483648");
    EXPECT_EQ(means({}, {w, h}, 4, 4), "0 0 0 0");
    EXPECT_EQ(means({}, {w, h}, 0, 4) + ranges({}, {w, h}, 4) + ranges({}, {w, h}, 0), "");
  }
  EXPECT_EQ(otsu({}), "0 0 0 0 0");
  EXPECT_EQ(means(bytes(30), {10, 3}, 0, 4) + means(bytes(30), {10, 3}, 0, 0), "") << "none fits";
  EXPECT_EQ(fr_has_noise(bytes(100).data(), 10, 10, nullptr), 0);
  EXPECT_EQ(get_median(nullptr, nullptr, 0, 4), 1);
  sort(nullptr, 5);
  const double infinite[] = {HUGE_VAL, 1};
  EXPECT_EQ(text(standard_deviation(nullptr, 0), is_mq4xx_white_noise(nullptr, 0, 200),
                calculate_sd(nullptr, 0), calculate_sd(infinite, 2)),
      "0 0 nan nan");
}

TEST(Extremes, BlocksOfUpTo256PixelsTakeLittleStack) {
  static ucontext_t test, there;
  support::guarded_buffer<char> stack(32 << 10);
  getcontext(&there);
  there.uc_stack.ss_sp = stack.data();
  there.uc_stack.ss_size = stack.size();
  there.uc_link = &test;
  g_img_alg_sd = {16, 16};
  makecontext(
      &there,
      [] {
        const uint8_t image[256] = {};
        uint32_t count;
        uint8_t value;
        vCalculateBlockDROtsuCS1(image, nullptr, &count, &value, nullptr, 16);
      },
      0);
  EXPECT_EQ(swapcontext(&test, &there), 0);
}

// Calls with lengths and overlaps that take every path of get_median.
void for_each_stack(auto call) {
  for (const int32_t n : {4, 5, 6, 7}) {
    for (const int32_t row : {1, 7, 16, 33, 400}) {
      for (const int32_t behind : {0, row, row + 1, row + 9}) call(n, row, behind);
    }
  }
}

// Samples that nothing has written: valgrind's memory checker sees every branch on one.
TEST(Extremes, MediansWithoutABranchOnASample) {
  for_each_stack([](int32_t n, int32_t row, int32_t behind) {
    uint8_t *rows = static_cast<uint8_t *>(malloc(static_cast<size_t>(row) * 9 + 9));
    EXPECT_EQ(get_median(rows + behind, rows, row, n), 1);
    free(rows);
  });
}

// Disabled because it needs an emulator that counts instructions: scripts/test --all runs it in
// one.
TEST(Extremes, DISABLED_MediansInTheSameInstructionsForAnySamples) {
  // A program's first call of a function takes longer.
  bench::executed();
  get_median(nullptr, nullptr, 0, 4);
  for_each_stack([](int32_t n, int32_t row, int32_t behind) {
    std::set<uint64_t> counts;
    for (const auto kind : {pattern::kConstant, pattern::kRandom, pattern::kRamp}) {
      bytes rows = support::make_frame(kind, {row + 1, 9}, 1);
      const uint64_t before = bench::executed();
      get_median(rows.data() + behind, rows.data(), row, n);
      counts.insert(bench::executed() - before);
    }
    EXPECT_EQ(counts.size(), 1U) << text(n, row, behind);
  });
}

TEST(Extremes, EvaluationRefusesAndLogs) {
  const uint8_t pixel = 9;
  const struct {
    const uint8_t *image;
    image_dims dims;
    const char *deviation, *log;
  } cases[] = {{nullptr, {2, 2}, "0", "6(FPLOG)evaluate_image: null image (2 x 2) \n"},
      {&pixel, {4409, 1}, "0", "6(FPLOG)evaluate_image: image too large (4409 x 1) \n"},
      {&pixel, {INT32_MAX, 1}, "0", "6(FPLOG)evaluate_image: image too large (2147483647 x 1) \n"},
      {nullptr, {9, 0}, "nan", ""}, {nullptr, {-2, -2}, "nan", ""},
      {nullptr, {65536, 65536}, "nan", ""}};
  for (const auto &[image, dims, deviation, log] : cases) {
    support::clear_log();
    image_eval_record r;
    memset(&r, 0xA5, sizeof r);
    r.check_flags = 15;
    r.image = image;
    g_img_alg_sd = dims;
    EXPECT_EQ(evaluate_image(&r), 0);
    EXPECT_EQ(text(r.std_dev), deviation) << text(dims.width, dims.height);
    EXPECT_EQ(text(r.mean, r.high_count, r.low_count, r.deviation_count, r.max_run, r.defect_found,
                  r.mark_map[0]),
        "0 0 0 0 0 0 165");
    EXPECT_EQ(logged(), log);
  }
  g_img_alg_sd = {0, 0};
  support::clear_log();
  EXPECT_EQ(evaluate_image(nullptr), 0);
  EXPECT_EQ(logged(), "6(FPLOG)evaluate_image: null record (0 x 0) \n");
}

}  // namespace
