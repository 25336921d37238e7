#include "support/comparisons.h"

#include <cmath>
#include <cstring>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"

namespace support {

namespace {

constexpr int32_t kPixels = 6000;
constexpr int32_t kOtsuPixels = 1200;  // the simple form takes 256 passes

const uint8_t *data_or_null(const guarded_buffer<uint8_t> &mask) {
  return mask.size() == 0 ? nullptr : mask.data();
}

// Written on a change only: threads that agree on one size may all call this.
void set_image_size(frame_size size) {
  if (g_img_alg_sd.width == size.width && g_img_alg_sd.height == size.height) return;
  g_img_alg_sd = {size.width, size.height};
}

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

using in_place_form = void (*)(uint8_t *image, int32_t width, int32_t height);

template <in_place_form library, in_place_form simple_form>
void in_place(scene &s) {
  const frame_size size = s.size(kPixels);
  bytes expected = s.frame(size);
  guarded_buffer<uint8_t> image = s.guarded(expected);
  library(image.data(), size.width, size.height);
  simple_form(expected.data(), size.width, size.height);
  s.expect_contents(image, expected);
}

void compare_evaluate_image(scene &s) {
  const frame_size size = s.size(EVAL_MARK_MAP_SIZE, EVAL_MARK_MAP_SIZE);
  if (size.pixels() == 0) return;
  const bytes frame = s.frame(size);
  const guarded_buffer<uint8_t> image = s.guarded(frame);
  std::vector<image_eval_record> expected(1);
  memset(static_cast<void *>(expected.data()), s.in.byte(), sizeof expected[0]);
  expected[0].check_flags = s.in.byte();
  expected[0].high_threshold = s.level();
  expected[0].low_threshold = s.level();
  expected[0].deviation_threshold = s.level();
  expected[0].line_check = s.in.number();
  expected[0].image = image.data();
  guarded_buffer<image_eval_record> record = s.guarded(expected);
  set_image_size(size);
  s.expect(evaluate_image(record.data()) == 0, "result");
  simple::evaluate_image(expected.data());
  s.expect(memcmp(record.data(), expected.data(), sizeof expected[0]) == 0, "record");
  s.expect(record.red_zone_intact(), "red zone");
}

void compare_is_water(scene &s) {
  const frame_size size = s.size(kPixels);
  const guarded_buffer<uint8_t> image = s.guarded(s.frame(size));
  s.expect(is_water(image.data(), size.width, size.height) ==
               simple::is_water(image.data(), size.width, size.height),
           "result");
}

// An area with any stride, or cut out of the set frame, in a buffer that holds no more than its
// pixels and what lies between them.
struct area {
  explicit area(scene &s)
      : stride(static_cast<int32_t>(s.in.below(400)) - 150),
        rows(static_cast<int32_t>(s.in.below(60)) - 1),
        cols(static_cast<int32_t>(s.in.below(300)) - 1) {
    if (s.is_set()) {
      const frame_size whole = s.size(0);
      stride = whole.width;
      rows = whole.height;
      cols = std::max(whole.width - std::max(cols - 200, 0), 1);
    }
    if (rows <= 0 || cols <= 0) return;
    const int32_t last_row = (rows - 1) * stride;
    first = static_cast<size_t>(std::max(-last_row, 0));
    size = first + static_cast<size_t>(std::max(last_row, 0) + cols);
  }
  int32_t stride, rows, cols;
  size_t first = 0;
  size_t size = 0;
};

void compare_count_intensity(scene &s) {
  const area a(s);
  const guarded_buffer<uint8_t> image = s.guarded(s.row(a.size));
  const uint8_t *first = image.data() + a.first;
  const int32_t level = s.level();
  s.expect(count_intensity_cs1(first, a.stride, a.rows, a.cols, level) ==
               simple::count_intensity_cs1(first, a.stride, a.rows, a.cols, level),
           "sum");
  s.expect(count_average_intensity_cs1(first, a.stride, a.rows, a.cols, level) ==
               simple::count_average_intensity_cs1(first, a.stride, a.rows, a.cols, level),
           "average");
}

void compare_euclidean_distance(scene &s) {
  const area a(s);
  const guarded_buffer<uint8_t> one = s.guarded(s.row(a.size));
  const guarded_buffer<uint8_t> other = s.guarded(s.row(a.size));
  const uint8_t *first = one.data() + a.first;
  const uint8_t *second = other.data() + a.first;
  s.expect(euclidean_distance_cs1(first, second, a.stride, a.rows, a.cols) ==
               simple::euclidean_distance_cs1(first, second, a.stride, a.rows, a.cols),
           "result");
}

void compare_calculate_minimum(scene &s) {
  const frame_size size = s.size(kPixels);
  const guarded_buffer<uint8_t> image = s.guarded(s.frame(size));
  const auto box_side = [&s](int32_t length) {
    const int32_t margin = s.in.byte();
    return length - (margin < 128 ? margin % 8 : margin);
  };
  const int32_t box_width = box_side(size.width);
  const int32_t box_height = box_side(size.height);
  s.expect(
      calculate_minimum(image.data(), size.width, size.height, box_width, box_height) ==
          simple::calculate_minimum(image.data(), size.width, size.height, box_width, box_height),
      "result");
}

void compare_standard_deviation(scene &s) {
  const bytes row = s.row(s.count(kPixels));
  const guarded_buffer<uint8_t> data = s.guarded(row);
  const auto count = static_cast<int32_t>(row.size());
  s.expect(standard_deviation(data.data(), count) == simple::standard_deviation(data.data(), count),
           "result");
}

void compare_calculate_sd(scene &s) {
  std::vector<double> numbers(s.count(200, 3000));
  random_source random(s.in.byte());
  const uint32_t exponents = 1u + s.in.byte();
  for (double &number : numbers) {
    number = std::ldexp(static_cast<double>(static_cast<int64_t>(random.next())),
                        static_cast<int>(random.below(exponents)));
  }
  // At times one of whatever bits, an infinity or no number among them.
  if (s.in.below(4) == 0 && !numbers.empty()) {
    const auto raw = s.in.bytes(sizeof numbers[0]);
    memcpy(&numbers[numbers.size() / 2], raw.data(), raw.size());
  }
  const guarded_buffer<double> values = s.guarded(numbers);
  const auto count = static_cast<int32_t>(numbers.size());
  s.expect(same(calculate_sd(values.data(), count), simple::calculate_sd(values.data(), count)),
           "result");
}

std::vector<uint16_t> raw_frame(scene &s, frame_size size) {
  const bytes low = s.frame(size);
  const uint8_t saturated = s.in.byte();
  std::vector<uint16_t> samples(low.size());
  for (size_t i = 0; i < low.size(); ++i) {
    samples[i] = low[i] >= saturated ? uint16_t{65535} : static_cast<uint16_t>(low[i] * 256 + i);
  }
  return samples;
}

void compare_white_noise(scene &s) {
  const frame_size size = s.size(kPixels);
  const guarded_buffer<uint16_t> frame = s.guarded(raw_frame(s, size));
  const auto width = static_cast<uint32_t>(size.width);
  const auto height = static_cast<uint32_t>(size.height);
  s.expect(is_mq4xx_white_noise(frame.data(), width, height) ==
               simple::is_mq4xx_white_noise(frame.data(), width, height),
           "result");
}

void compare_image_center_mean(scene &s) {
  const frame_size size = s.size(kPixels);
  const guarded_buffer<uint8_t> image = s.guarded(s.frame(size));
  const int32_t side = std::min(size.width, size.height) + 1 - s.in.byte();
  s.expect(
      image_center_mean(image.data(), size.width, size.height, side) ==
          (side < 0 ? 0 : simple::image_center_mean(image.data(), size.width, size.height, side)),
      "result");
}

void compare_offset_min(scene &s) {
  const frame_size size = s.size(kPixels);
  bytes expected = s.frame(size);
  bytes mask_bytes = s.mask(size);
  mask_bytes.resize(size.pixels());
  guarded_buffer<uint8_t> image = s.guarded(expected);
  const guarded_buffer<uint8_t> mask = s.guarded(mask_bytes);
  s.expect(offset_min(image.data(), mask.data(), size.width, size.height) ==
               simple::offset_min(expected.data(), mask.data(), size.width, size.height),
           "result");
  s.expect_contents(image, expected);
  s.expect_contents(mask, mask_bytes);
}

template <typename Mean, typename Library, typename Simple>
void compare_otsu(scene &s, Library library, Simple simple_form) {
  const frame_size size = s.size(kOtsuPixels, 9000);
  const guarded_buffer<uint8_t> image = s.guarded(s.frame(size));
  const guarded_buffer<uint8_t> mask = s.guarded(s.mask(size));
  uint32_t low[2] = {7, 8};
  uint32_t high[2] = {7, 8};
  Mean low_mean[2] = {7, 8};
  Mean high_mean[2] = {7, 8};
  const int32_t threshold = library(image.data(), size.width, size.height, &low[0], &high[0],
                                    &low_mean[0], &high_mean[0], data_or_null(mask));
  s.expect(threshold == simple_form(image.data(), size.width, size.height, &low[1], &high[1],
                                    &low_mean[1], &high_mean[1], data_or_null(mask)),
           "threshold");
  s.expect(low[0] == low[1] && high[0] == high[1], "count");
  s.expect(low_mean[0] == low_mean[1] && high_mean[0] == high_mean[1], "mean");
}

// Both block functions; quadrants has a meaning for the first alone.
template <typename Library, typename Simple>
void compare_blocks(scene &s, bool may_be_quadrants, Library library, Simple simple_form) {
  const frame_size size = s.size(kOtsuPixels, 5000);
  const guarded_buffer<uint8_t> image = s.guarded(s.frame(size));
  const guarded_buffer<uint8_t> mask = s.guarded(s.mask(size));
  const uint32_t mode = s.in.below(6);
  static constexpr uint8_t kSides[] = {1, 2, 3, 8, 16, 17, 31, 200};
  const uint8_t choice = s.in.byte();
  const uint8_t side = choice < 200 ? kSides[choice % std::size(kSides)] : s.in.byte();
  const auto blocks = [side](int32_t length) {
    return side == 0 ? size_t{0} : static_cast<size_t>(length / side);
  };
  const bool quadrants = may_be_quadrants && mode == 4;
  bytes expected(quadrants ? 4 : blocks(size.width) * blocks(size.height), 0xA5);
  guarded_buffer<uint8_t> values = s.guarded(expected);
  uint32_t count[2] = {mode, mode};
  set_image_size(size);
  library(image.data(), &count[0], values.data(), data_or_null(mask), side);
  simple_form(image.data(), &count[1], expected.data(), data_or_null(mask), side);
  s.expect(count[0] == count[1], "count");
  s.expect_contents(values, expected);
}

void compare_sort(scene &s) {
  bytes expected = s.row(s.count(400, 500));
  guarded_buffer<uint8_t> values = s.guarded(expected);
  const auto count = static_cast<int32_t>(expected.size());
  sort(values.data(), count);
  simple::sort(expected.data(), count);
  s.expect_contents(values, expected);
}

void compare_has_noise(scene &s) {
  const frame_size size = s.size(kPixels);
  const guarded_buffer<uint8_t> image = s.guarded(s.frame(size));
  const noise_check_param given = {s.in.byte(), 7, 8, static_cast<uint32_t>(s.in.number())};
  std::vector<noise_check_param> expected = {given};
  guarded_buffer<noise_check_param> param = s.guarded(expected);
  s.expect(fr_has_noise(image.data(), size.width, size.height, param.data()) ==
               simple::fr_has_noise(image.data(), size.width, size.height, expected.data()),
           "result");
  s.expect(memcmp(param.data(), expected.data(), sizeof given) == 0, "record");
}

void compare_remove_noise(scene &s) {
  const frame_size size = s.size(kPixels);
  bytes expected = s.frame(size);
  guarded_buffer<uint8_t> image = s.guarded(expected);
  const int32_t delta = s.in.number();
  s.expect(
      remove_noise_use_median_filter(image.data(), size.width, size.height, delta) ==
          simple::remove_noise_use_median_filter(expected.data(), size.width, size.height, delta),
      "count");
  s.expect_contents(image, expected);
}

void compare_median_filter(scene &s) {
  const frame_size size = s.size(kPixels);
  bytes expected = s.frame(size);
  bytes expected_work(expected.size(), 0x3C);
  guarded_buffer<uint8_t> image = s.guarded(expected);
  guarded_buffer<uint8_t> work = s.guarded(expected_work);
  median_filter(image.data(), work.data(), size.width, size.height);
  simple::median_filter(expected.data(), expected_work.data(), size.width, size.height);
  s.expect_contents(image, expected);
  s.expect_contents(work, expected_work);
}

void compare_histeq_white(scene &s) {
  const frame_size size = s.size(kPixels);
  bytes expected = s.frame(size);
  guarded_buffer<uint8_t> image = s.guarded(expected);
  const auto percent = static_cast<int32_t>(s.in.below(400)) - 150;
  const auto library = s.in.below(2) != 0 ? OVHistEqW : histeq_white;
  library(image.data(), size.width, size.height, percent);
  simple::histeq_white(expected.data(), size.width, size.height, percent);
  s.expect_contents(image, expected);
}

// The first row of the source is never read, and so lies outside the buffer.
void compare_get_median(scene &s) {
  const auto n = static_cast<int32_t>(s.in.below(10));
  const auto length = static_cast<int32_t>(s.count(500, 5000));
  const size_t row = static_cast<size_t>(length);
  bytes expected = s.row(row);
  const bytes rows = s.row(row * static_cast<size_t>(std::max(n - 1, 0)));
  guarded_buffer<uint8_t> dst = s.guarded(expected);
  const guarded_buffer<uint8_t> src = s.guarded(rows);
  s.expect(get_median(dst.data(), src.data() - length, length, n) ==
               simple::get_median(expected.data(), src.data() - length, length, n),
           "result");
  s.expect_contents(dst, expected);
}

void compare_get_median_overlap(scene &s) {
  const auto n = 4 + static_cast<int32_t>(s.in.below(4));
  const auto length = static_cast<int32_t>(s.in.below(200));
  const size_t row = static_cast<size_t>(length);
  const size_t rows = row * static_cast<size_t>(n);
  const size_t at = s.in.below(static_cast<uint32_t>(rows) + 1);
  bytes expected = s.row(rows + row);
  guarded_buffer<uint8_t> memory = s.guarded(expected);
  get_median(memory.data() + at, memory.data(), length, n);
  simple::get_median(expected.data() + at, expected.data(), length, n);
  s.expect_contents(memory, expected);
}

void compare_images_flips(scene &s) {
  const uint32_t count = s.in.below(5);
  const uint8_t mode = s.in.byte();
  const frame_size size = s.size(kPixels / 4);
  bytes expected = s.frame({size.width, size.height * static_cast<int32_t>(count)});
  guarded_buffer<uint8_t> frames = s.guarded(expected);
  images_flips(frames.data(), size.width, size.height, count, mode);
  simple::images_flips(expected.data(), size.width, size.height, count, mode);
  s.expect_contents(frames, expected);
}

void compare_dummy_removal(scene &s) {
  const frame_size size = s.size(kPixels);
  const uint32_t kind = s.in.below(3);  // of the stored frame, transposed, transposed and kept
  const guarded_buffer<uint16_t> src = s.guarded(raw_frame(s, size));
  const bool empty = size.pixels() == 0;
  const size_t stripped =
      empty ? 0 : static_cast<size_t>(size.width - 1) * static_cast<size_t>(size.height - 1);
  std::vector<uint16_t> expected(kind == 2 ? size.pixels() : stripped);
  guarded_buffer<uint16_t> dst = s.guarded(expected);
  if (kind == 0) {
    remove_T_dummy(src.data(), size.width, size.height, dst.data());
    simple::remove_T_dummy(src.data(), size.width, size.height, expected.data());
  } else {
    const int32_t keep = kind == 2 ? 1 : 0;
    transpose_remove_T_dummy(src.data(), size.width, size.height, keep, dst.data());
    simple::transpose_remove_T_dummy(src.data(), size.width, size.height, keep, expected.data());
  }
  s.expect_contents(dst, expected);
}

constexpr comparison kComparisons[] = {
    {"evaluate_image", compare_evaluate_image},
    {"is_water", compare_is_water},
    {"count_intensity_cs1", compare_count_intensity},
    {"euclidean_distance_cs1", compare_euclidean_distance},
    {"calculate_minimum", compare_calculate_minimum},
    {"standard_deviation", compare_standard_deviation},
    {"calculate_sd", compare_calculate_sd},
    {"is_mq4xx_white_noise", compare_white_noise},
    {"image_center_mean", compare_image_center_mean},
    {"offset_min", compare_offset_min},
    {"find_otsu_th",
     [](scene &s) { compare_otsu<uint8_t>(s, find_otsu_th, simple::find_otsu_th); }},
    {"ucFindOtsuThCS1",
     [](scene &s) { compare_otsu<double>(s, ucFindOtsuThCS1, simple::ucFindOtsuThCS1); }},
    {"vCalculateBlockDRCS1",
     [](scene &s) { compare_blocks(s, true, vCalculateBlockDRCS1, simple::vCalculateBlockDRCS1); }},
    {"vCalculateBlockDROtsuCS1",
     [](scene &s) {
       const auto without_unused = [](auto function) {
         return
             [function](const uint8_t *image, auto... rest) { function(image, nullptr, rest...); };
       };
       compare_blocks(s, false, without_unused(vCalculateBlockDROtsuCS1),
                      without_unused(simple::vCalculateBlockDROtsuCS1));
     }},
    {"sort", compare_sort},
    {"fr_has_noise", compare_has_noise},
    {"remove_noise_use_median_filter", compare_remove_noise},
    {"median_filter", compare_median_filter},
    {"histeq", in_place<histeq, simple::histeq>},
    {"histeq_white", compare_histeq_white},
    {"get_median", compare_get_median},
    {"get_median, overlapping", compare_get_median_overlap},
    {"flip_vertical", in_place<flip_vertical, simple::flip_vertical>},
    {"flip_horizontal", in_place<flip_horizontal, simple::flip_horizontal>},
    {"image_reverse", in_place<image_reverse, simple::image_reverse>},
    {"images_flips", compare_images_flips},
    {"remove_T_dummy, transpose_remove_T_dummy", compare_dummy_removal},
};

}  // namespace

std::span<const comparison> comparisons() { return kComparisons; }

}  // namespace support
