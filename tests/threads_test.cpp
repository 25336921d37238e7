// Image functions from eight threads at once, each on buffers of its own: the results are those of
// one thread alone.
#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include <orva_fp/image.h>

#include "support/frames.h"

namespace {

using bytes = std::vector<uint8_t>;

constexpr support::frame_size kSize = {58, 76};
constexpr int32_t kWidth = kSize.width;
constexpr int32_t kHeight = kSize.height;
constexpr int32_t kPixels = kWidth * kHeight;

// Appends a value to the results of a call.
template <typename T>
void put(bytes *results, const T &value) {
  const size_t at = results->size();
  results->resize(at + sizeof value);
  memcpy(results->data() + at, &value, sizeof value);
}

// A function on an image of its own, of which it makes its results.
struct call {
  const char *name;
  void (*run)(bytes &image, bytes *results);
};

const call kCalls[] = {
    {"evaluate_image",
     [](bytes &image, bytes *results) {
       image_eval_record record;
       memset(&record, 0, sizeof record);
       record.check_flags = EVAL_CHECK_HIGH | EVAL_CHECK_LOW | EVAL_CHECK_DEVIATION;
       record.high_threshold = 170;
       record.low_threshold = 60;
       record.deviation_threshold = 70;
       record.line_check = 1;
       record.image = image.data();
       evaluate_image(&record);
       record.image = nullptr;
       put(results, record);
     }},
    {"is_water",
     [](bytes &image, bytes *results) { put(results, is_water(image.data(), kWidth, kHeight)); }},
    {"statistics",
     [](bytes &image, bytes *results) {
       put(results, count_intensity_cs1(image.data(), kWidth, kHeight, kWidth, 0));
       put(results, count_average_intensity_cs1(image.data(), kWidth, kHeight, kWidth, 0));
       put(results, calculate_minimum(image.data(), kWidth, kHeight, 9, 9));
       put(results, euclidean_distance_cs1(image.data(), &image[9], kWidth, kHeight - 1, kWidth));
       put(results, standard_deviation(image.data(), kPixels));
       double values[100];
       for (size_t i = 0; i < 100; ++i) values[i] = image[i];
       put(results, calculate_sd(values, 100));
     }},
    {"raw frame",
     [](bytes &image, bytes *results) {
       std::vector<uint16_t> frame(kSize.pixels());
       for (size_t i = 0; i < frame.size(); ++i) {
         frame[i] = static_cast<uint16_t>(image[i] > 250 ? 65535 : image[i]);
       }
       std::vector<uint16_t> moved(frame.size());
       put(results, is_mq4xx_white_noise(frame.data(), kWidth, kHeight));
       remove_T_dummy(frame.data(), kWidth, kHeight, moved.data());
       put(results, moved[500]);
       transpose_remove_T_dummy(frame.data(), kWidth, kHeight, 1, moved.data());
       put(results, moved[500]);
     }},
    {"centre mean and offset",
     [](bytes &image, bytes *results) {
       put(results, image_center_mean(image.data(), kWidth, kHeight, 20));
       const bytes mask = support::make_mask(kSize, 1);
       put(results, offset_min(image.data(), mask.data(), kWidth, kHeight));
     }},
    {"Otsu",
     [](bytes &image, bytes *results) {
       uint32_t low = 0;
       uint32_t high = 0;
       uint8_t low_byte = 0;
       uint8_t high_byte = 0;
       double low_mean = 0;
       double high_mean = 0;
       put(results, find_otsu_th(image.data(), kWidth, kHeight, &low, &high, &low_byte, &high_byte,
                                 nullptr));
       put(results, ucFindOtsuThCS1(image.data(), kWidth, kHeight, &low, &high, &low_mean,
                                    &high_mean, nullptr));
       put(results, low_byte + high_byte);
       put(results, low_mean + high_mean);
     }},
    {"blocks",
     [](bytes &image, bytes *results) {
       uint8_t values[64] = {};
       uint32_t count = 0;
       vCalculateBlockDRCS1(image.data(), &count, values, nullptr, 16);
       put(results, values);
       vCalculateBlockDROtsuCS1(image.data(), nullptr, &count, values, nullptr, 16);
       put(results, values);
     }},
    {"noise",
     [](bytes &image, bytes *results) {
       noise_check_param param = {3, 0, 0, 10};
       put(results, fr_has_noise(image.data(), kWidth, kHeight, &param));
       put(results, param);
       put(results, remove_noise_use_median_filter(image.data(), kWidth, kHeight, 10));
     }},
    {"median_filter",
     [](bytes &image, bytes *) {
       bytes work(image.size());
       median_filter(image.data(), work.data(), kWidth, kHeight);
     }},
    {"sort", [](bytes &image, bytes *) { sort(image.data(), kPixels); }},
    {"histeq", [](bytes &image, bytes *) { histeq(image.data(), kWidth, kHeight); }},
    {"histeq_white",
     [](bytes &image, bytes *) {
       histeq_white(image.data(), kWidth, kHeight, 20);
       OVHistEqW(image.data(), kWidth, kHeight, 30);
     }},
    {"get_median",
     [](bytes &image, bytes *) {
       for (int32_t n = 4; n <= 7; ++n) get_median(image.data(), image.data(), 500, n);
     }},
    {"flips",
     [](bytes &image, bytes *) {
       flip_vertical(image.data(), kWidth, kHeight);
       flip_horizontal(image.data(), kWidth, kHeight);
       images_flips(image.data(), kWidth, kHeight / 2, 2, 3);
       image_reverse(image.data(), kWidth, kHeight);
     }},
};

bytes results_of(const call &c, support::pattern kind) {
  bytes image = support::make_frame(kind, kSize, 5);
  bytes results;
  c.run(image, &results);
  results.insert(results.end(), image.begin(), image.end());
  return results;
}

TEST(Threads, EightAtOnceGiveTheResultsOfOne) {
  constexpr size_t kThreads = 8;
  constexpr size_t kCount = std::size(kCalls);
  g_img_alg_sd = {kWidth, kHeight};
  std::vector<bytes> expected;
  for (const support::pattern kind : support::kPatterns) {
    for (const call &c : kCalls) expected.push_back(results_of(c, kind));
  }
  // Each thread begins elsewhere and so meets other functions in the others.
  std::vector<int> wrong(kThreads * expected.size());
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (size_t i = 0; i < expected.size(); ++i) {
        const size_t at = (i + t * expected.size() / kThreads) % expected.size();
        const bytes results = results_of(kCalls[at % kCount], support::kPatterns[at / kCount]);
        wrong[t * expected.size() + at] = results != expected[at];
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  for (size_t i = 0; i < wrong.size(); ++i) {
    EXPECT_EQ(wrong[i], 0) << kCalls[i % expected.size() % kCount].name << " on thread "
                           << i / expected.size();
  }
  g_img_alg_sd = {0, 0};
}

}  // namespace
