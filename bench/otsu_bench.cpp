#include <algorithm>

#include "bench.h"

namespace bench {

namespace {

using support::frame_size;
using support::pattern;

constexpr uint8_t kSide = 16;

// What the rows of one size share. Kept for the whole run, since the rows only refer to it.
struct fixture {
  std::vector<uint8_t> image;
  std::vector<uint8_t> masks[3];
  std::vector<uint8_t> values;
  uint32_t counts[2] = {};
  uint8_t byte_means[2] = {};
  uint32_t block_count = 0;
};

#ifdef ORVA_BENCH_OPENCV
cv::Mat matrix(fixture &f, frame_size size) {
  return cv::Mat(size.height, size.width, CV_8UC1, f.image.data());
}

template <typename Function>
void for_each_block(const cv::Mat &image, Function function) {
  const int left = image.cols % kSide / 2;
  const int top = image.rows % kSide / 2;
  for (int y = top; y + kSide <= image.rows; y += kSide) {
    for (int x = left; x + kSide <= image.cols; x += kSide) {
      function(image(cv::Rect(x, y, kSide, kSide)));
    }
  }
}

int otsu_threshold(const cv::Mat &image) {
  static cv::Mat thresholded;
  return static_cast<int>(
      cv::threshold(image, thresholded, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU));
}
#endif

row new_row(const char *function, frame_size size) {
  return {function, size, size.pixels(), ceiling::kRead, {}, {}, {}};
}

void add_thresholds(fixture &f, frame_size size, const char *name, const uint8_t *mask) {
  row r = new_row(name, size);
  const auto call = [&f, size, mask](auto function) {
    return function(f.image.data(), size.width, size.height, &f.counts[0], &f.counts[1],
                    &f.byte_means[0], &f.byte_means[1], mask);
  };
  r.fast = [call] { call(find_otsu_th); };
  r.simple = [call] { call(simple::find_otsu_th); };
#ifdef ORVA_BENCH_OPENCV
  if (mask == nullptr) {
    require(otsu_threshold(matrix(f, size)) == call(find_otsu_th), r.function);
    r.peer = [&f, size] { otsu_threshold(matrix(f, size)); };
  }
#endif
  add(r);
}

void add_block_means(fixture &f, frame_size size) {
  row r = new_row("vCalculateBlockDRCS1", size);
  const auto call = [&f, size](auto function) {
    g_img_alg_sd = {size.width, size.height};
    f.block_count = 0;
    function(f.image.data(), &f.block_count, f.values.data(), nullptr, kSide);
  };
  r.fast = [call] { call(vCalculateBlockDRCS1); };
  r.simple = [call] { call(simple::vCalculateBlockDRCS1); };
#ifdef ORVA_BENCH_OPENCV
  const auto peer = [&f, size] {
    uint8_t *value = f.values.data();
    for_each_block(matrix(f, size), [&value](const cv::Mat &block) {
      *value++ = static_cast<uint8_t>(cv::sum(block)[0] / (kSide * kSide));
    });
  };
  peer();
  const std::vector<uint8_t> expected = f.values;
  call(vCalculateBlockDRCS1);
  require(f.values == expected, r.function);
  r.peer = peer;
#endif
  add(r);
}

void add_dynamic_ranges(fixture &f, frame_size size) {
  row r = new_row("vCalculateBlockDROtsuCS1", size);
  const auto call = [&f, size](auto function) {
    g_img_alg_sd = {size.width, size.height};
    function(f.image.data(), nullptr, &f.block_count, f.values.data(), nullptr, kSide);
  };
  r.fast = [call] { call(vCalculateBlockDROtsuCS1); };
  r.simple = [call] { call(simple::vCalculateBlockDROtsuCS1); };
#ifdef ORVA_BENCH_OPENCV
  // The threshold alone, without the means of the classes.
  r.peer = [&f, size] { for_each_block(matrix(f, size), otsu_threshold); };
#endif
  add(r);
}

// Lets every place take part that a draw below `one_in` makes 0.
std::vector<uint8_t> sparse_mask(frame_size size, uint32_t one_in) {
  support::random_source random(3);
  std::vector<uint8_t> mask(size.pixels());
  for (uint8_t &byte : mask) byte = random.below(one_in) == 0 ? 0 : 1;
  return mask;
}

}  // namespace

void add_otsu() {
  static std::vector<fixture> fixtures(2 * sizes().size());
  size_t next = 0;
  for (const frame_size size : sizes()) {
    fixture &ridges = fixtures[next++];
    ridges.image = support::make_frame(pattern::kRidges, size, 1);
    ridges.masks[0] = support::make_mask(size, 2);
    ridges.masks[1] = sparse_mask(size, 100);
    ridges.masks[2] = sparse_mask(size, 1000);
    ridges.values.resize(size.pixels());
    fixture &random = fixtures[next++];
    random.image = support::make_frame(pattern::kRandom, size, 1);
    add_thresholds(ridges, size, "find_otsu_th ridges", nullptr);
    add_thresholds(random, size, "find_otsu_th random", nullptr);
    add_thresholds(ridges, size, "find_otsu_th masked", ridges.masks[0].data());
    add_thresholds(ridges, size, "find_otsu_th masked to 1 %", ridges.masks[1].data());
    add_thresholds(ridges, size, "find_otsu_th masked to 0.1 %", ridges.masks[2].data());
    add_block_means(ridges, size);
    add_dynamic_ranges(ridges, size);
  }
}

}  // namespace bench
