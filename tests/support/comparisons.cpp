#include "support/comparisons.h"

#include <cmath>
#include <cstring>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"

namespace support {

namespace {

constexpr int32_t kPixels = 6000;
constexpr int32_t kOtsuPixels = 1200;  // the simple form takes 256 passes

// Written on a change only: threads that agree on one size may all call this.
void set_image_size(frame_size size) {
  if (g_img_alg_sd.width == size.width && g_img_alg_sd.height == size.height) return;
  g_img_alg_sd = {size.width, size.height};
}

// ---- Functions of a frame, its size and numbers that are drawn after it -------------------------

template <int32_t pixels, auto library, auto simple_form, auto... draws>
void on_frame_of(scene &s) {
  const frame_size size = s.size(pixels);
  uint8_t *image = s.guarded(s.frame(size));
  s.call(library, simple_form, image, size.width, size.height, draws(s, size)...);
}
template <auto library, auto simple_form, auto... draws>
constexpr auto on_frame = on_frame_of<kPixels, library, simple_form, draws...>;

int32_t any_number(scene &s, frame_size) { return s.in.number(); }
int32_t any_percent(scene &s, frame_size) { return static_cast<int32_t>(s.in.below(400)) - 150; }
int32_t centre_side(scene &s, frame_size size) {
  if (size.pixels() == 0) return s.in.number();
  return std::min(size.width, size.height) + 1 - s.in.byte();
}
template <int32_t frame_size::*length>
int32_t box_side(scene &s, frame_size size) {
  if (size.pixels() == 0) return s.in.number();
  const int32_t margin = s.in.byte();
  return size.*length - (margin < 128 ? margin % 8 : margin);
}

// ---- Evaluation and statistics ------------------------------------------------------------------

void evaluate(scene &s) {
  const frame_size size = s.size(EVAL_MARK_MAP_SIZE, EVAL_MARK_MAP_SIZE);
  const uint8_t *image = s.guarded(s.frame(size));
  std::vector<image_eval_record> drawn(1);
  memset(static_cast<void *>(drawn.data()), s.in.byte(), sizeof drawn[0]);
  drawn[0].check_flags = s.in.byte();
  drawn[0].high_threshold = s.level();
  drawn[0].low_threshold = s.level();
  drawn[0].deviation_threshold = s.level();
  drawn[0].line_check = s.in.number();
  drawn[0].image = image;
  image_eval_record *record = s.guarded(drawn);
  set_image_size(size);
  s.call(evaluate_image, simple::evaluate_image, record);
  if (record->image == image) record->image = nullptr;  // another address in the other scene
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
    if (s.in.below(16) == 0) rows = cols = 46341;
    if (frame_size{cols, rows}.pixels() == 0) return;
    const int32_t last_row = (rows - 1) * stride;
    first = static_cast<size_t>(std::max(-last_row, 0));
    size = first + static_cast<size_t>(std::max(last_row, 0) + cols);
  }
  int32_t stride, rows, cols;
  size_t first = 0, size = 0;
};

template <auto library, auto simple_form>
void intensity(scene &s) {
  const area a(s);
  const uint8_t *image = s.guarded(s.row(a.size)) + a.first;
  s.call(library, simple_form, image, a.stride, a.rows, a.cols, s.level());
}

void distance(scene &s) {
  const area a(s);
  const uint8_t *one = s.guarded(s.row(a.size)) + a.first;
  const uint8_t *other = s.guarded(s.row(a.size)) + a.first;
  s.call(
      euclidean_distance_cs1, simple::euclidean_distance_cs1, one, other, a.stride, a.rows, a.cols);
}

template <int32_t most, auto library, auto simple_form>
void on_row(scene &s) {
  const bytes drawn = s.row(s.count(std::min(most, kPixels), most));
  uint8_t *row = s.guarded(drawn);
  s.call(library, simple_form, row, s.told(drawn.size()));
}

void deviation_of_doubles(scene &s) {
  std::vector<double> drawn(s.count(200, 3000));
  random_source random(s.in.byte());
  const uint32_t exponents = 1u + s.in.byte();
  for (double &number : drawn) {
    const auto digits = static_cast<double>(static_cast<int64_t>(random.next()));
    number = std::ldexp(digits, static_cast<int>(random.below(exponents)));
  }
  // At times an infinity, no number or one of whatever bits.
  double odd[] = {HUGE_VAL, -HUGE_VAL, NAN, 0};
  const auto raw = s.in.bytes(sizeof odd[3]);
  memcpy(&odd[3], raw.data(), raw.size());
  const uint32_t choice = s.in.below(16);
  if (choice < std::size(odd) && !drawn.empty()) drawn[drawn.size() / 2] = odd[choice];
  const double *values = s.guarded(drawn);
  s.call(calculate_sd, simple::calculate_sd, values, s.told(drawn.size()));
}

// ---- Raw frames, minimum and thresholds ---------------------------------------------------------

std::vector<uint16_t> raw_frame(scene &s, frame_size size) {
  const bytes low = s.frame(size);
  const uint8_t saturated = s.in.byte();
  std::vector<uint16_t> samples(low.size());
  for (size_t i = 0; i < low.size(); ++i) {
    samples[i] = low[i] >= saturated ? uint16_t{65535} : static_cast<uint16_t>(low[i] * 256 + i);
  }
  return samples;
}

void white_noise(scene &s) {
  const frame_size size = s.size(kPixels);
  const uint16_t *frame = s.guarded(raw_frame(s, size));
  s.call(is_mq4xx_white_noise, simple::is_mq4xx_white_noise, frame,
      static_cast<uint32_t>(size.width), static_cast<uint32_t>(size.height));
}

void offset(scene &s) {
  const frame_size size = s.size(kPixels);
  uint8_t *image = s.guarded(s.frame(size));
  bytes drawn = s.mask(size);
  drawn.resize(size.pixels());
  const uint8_t *mask = s.guarded(drawn);
  s.call(offset_min, simple::offset_min, image, mask, size.width, size.height);
}

template <typename Mean, auto library, auto simple_form>
void otsu(scene &s) {
  const frame_size size = s.size(kOtsuPixels, 9000);
  const uint8_t *image = s.guarded(s.frame(size));
  const uint8_t *mask = s.guarded_or_null(s.mask(size));
  uint32_t *counts = s.guarded(std::vector<uint32_t>(2));
  Mean *means = s.guarded(std::vector<Mean>(2));
  s.call(library, simple_form, image, size.width, size.height, &counts[0], &counts[1], &means[0],
      &means[1], mask);
}

// Rows whose best thresholds only rounding tells apart are rare.
void otsu_of_many_rows(scene &s) {
  constexpr size_t kRows = 16;
  random_source random(s.in.below(1 << 24));
  bytes all;
  size_t ends[kRows];
  for (size_t &end : ends) {
    const bytes row = few_levels(random);
    all.insert(all.end(), row.begin(), row.end());
    end = all.size();
  }
  const uint8_t *image = s.guarded(all);
  const uint8_t *mask = s.guarded_or_null(s.mask({static_cast<int32_t>(all.size()), 1}));
  uint32_t *counts = s.guarded(std::vector<uint32_t>(2 * kRows));
  double *means = s.guarded(std::vector<double>(2 * kRows));
  size_t at = 0;
  for (const size_t end : ends) {
    s.call(ucFindOtsuThCS1, simple::ucFindOtsuThCS1, image + at, static_cast<int32_t>(end - at), 1,
        counts, counts + 1, means, means + 1, mask == nullptr ? mask : mask + at);
    counts += 2;
    means += 2;
    at = end;
  }
}

// Both block functions; the first has a mode for quadrants, the second an unused argument.
template <auto library, auto simple_form, typename... Unused>
void blocks(scene &s, Unused... unused) {
  const frame_size size = s.size(kOtsuPixels, 5000);
  const uint8_t *image = s.guarded(s.frame(size));
  const uint8_t *mask = s.guarded_or_null(s.mask(size));
  const uint32_t mode = s.in.below(6);
  static constexpr uint8_t kSides[] = {1, 2, 3, 8, 16, 17, 31, 200};
  const uint8_t choice = s.in.byte();
  const uint8_t side = choice < 200 ? kSides[choice % std::size(kSides)] : s.in.byte();
  const bool quadrants = sizeof...(unused) == 0 && mode == 4;
  const bool none = size.pixels() == 0 || side == 0;
  const int32_t count = quadrants ? 4 : none ? 0 : size.width / side * (size.height / side);
  uint8_t *values = s.guarded(bytes(static_cast<size_t>(count), 0xA5));
  uint32_t *place = s.guarded(std::vector<uint32_t>{mode});
  set_image_size(size);
  s.call(library, simple_form, image, unused..., place, values, mask, side);
}

// ---- Noise and medians --------------------------------------------------------------------------

noise_check_param *noise_param(scene &s, frame_size) {
  const uint32_t flags = s.in.byte(), margin = static_cast<uint32_t>(s.in.number());
  return s.guarded(std::vector<noise_check_param>{{flags, 7, 8, margin}});
}

void median(scene &s) {
  const frame_size size = s.size(kPixels);
  uint8_t *image = s.guarded(s.frame(size));
  uint8_t *work = s.guarded(bytes(size.pixels(), 0x3C));
  s.call(median_filter, simple::median_filter, image, work, size.width, size.height);
}

// The first row of the source is never read, and so lies outside the buffer.
void stack_median(scene &s) {
  const auto n = static_cast<int32_t>(s.in.below(10));
  const size_t length = s.count(500, 5000);
  uint8_t *dst = s.guarded(s.row(length));
  const uint8_t *rows = s.guarded(s.row(length * static_cast<size_t>(std::max(n - 1, 1))));
  s.call(get_median, simple::get_median, dst, rows - length, s.told(length), n);
}

void stack_median_overlapping(scene &s) {
  const uint32_t n = 4 + s.in.below(4);
  const uint32_t length = s.in.below(200);
  const size_t at = s.in.below(length * n + 1);
  uint8_t *memory = s.guarded(s.row(length * (n + 1)));
  s.call(get_median, simple::get_median, memory + at, memory, static_cast<int32_t>(length),
      static_cast<int32_t>(n));
}

// ---- Layout and files ---------------------------------------------------------------------------

void flips(scene &s) {
  uint32_t count = s.in.below(5);
  const uint8_t mode = s.in.byte();
  const frame_size size = s.size(kPixels / 4);
  const auto frames_high = static_cast<int32_t>(count);
  uint8_t *frames = s.guarded(
      s.frame(size.pixels() == 0 ? size : frame_size{size.width, size.height * frames_high}));
  if (size.pixels() == 0 || mode % 4 == 0) count = static_cast<uint32_t>(s.in.number());
  s.call(images_flips, simple::images_flips, frames, size.width, size.height, count, mode);
}

void dummy_removal(scene &s) {
  const frame_size size = s.size(kPixels);
  const uint32_t kind = s.in.below(3);  // as stored, transposed, transposed and kept
  const uint16_t *src = s.guarded(raw_frame(s, size));
  const int32_t dummy = kind < 2 && size.pixels() != 0 ? 1 : 0;
  const frame_size left = {size.width - dummy, size.height - dummy};
  uint16_t *dst = s.guarded(std::vector<uint16_t>(left.pixels()));
  if (kind == 0) {
    s.call(remove_T_dummy, simple::remove_T_dummy, src, size.width, size.height, dst);
  } else {
    s.call(transpose_remove_T_dummy, simple::transpose_remove_T_dummy, src, size.width, size.height,
        kind == 2 ? 1 : 0, dst);
  }
}

// A file that ends with its last pixel.
void bmp(scene &s) {
  const frame_size size = s.size(kPixels);
  const uint32_t pixel_offset = 26 + s.in.below(1100);
  const auto row = static_cast<size_t>(size.width), rows = static_cast<size_t>(size.height);
  bytes drawn =
      s.row(pixel_offset + (size.pixels() == 0 ? 0 : (rows - 1) * ((row + 3) / 4 * 4) + row));
  const auto put = [&](size_t at, uint32_t field) {
    for (size_t i = 0; i < 4; ++i) drawn[at + i] = static_cast<uint8_t>(field >> 8 * i);
  };
  put(10, pixel_offset);
  put(18, static_cast<uint32_t>(size.width));
  put(22, static_cast<uint32_t>(size.height));
  const uint8_t *file = s.guarded(drawn);
  uint8_t *dst = s.guarded(bytes(size.pixels(), 0x3C));
  int32_t *told = s.guarded(std::vector<int32_t>{7, 8});
  const uint32_t asked = s.in.below(4);
  s.call(get_raw_data_from_bmp, simple::get_raw_data_from_bmp, file, dst,
      (asked & 1) != 0 ? nullptr : &told[0], (asked & 2) != 0 ? nullptr : &told[1]);
}

constexpr comparison kComparisons[] = {
    {"evaluate_image", evaluate},
    {"is_water", on_frame_of<20000, is_water, simple::is_water>},
    {"count_intensity_cs1", intensity<count_intensity_cs1, simple::count_intensity_cs1>},
    {"count_average_intensity_cs1",
        intensity<count_average_intensity_cs1, simple::count_average_intensity_cs1>},
    {"euclidean_distance_cs1", distance},
    {"calculate_minimum", on_frame<calculate_minimum, simple::calculate_minimum,
                              box_side<&frame_size::width>, box_side<&frame_size::height>>},
    {"standard_deviation", on_row<INT32_MAX, standard_deviation, simple::standard_deviation>},
    {"calculate_sd", deviation_of_doubles},
    {"is_mq4xx_white_noise", white_noise},
    {"image_center_mean", on_frame<image_center_mean, simple::image_center_mean, centre_side>},
    {"offset_min", offset},
    {"find_otsu_th", otsu<uint8_t, find_otsu_th, simple::find_otsu_th>},
    {"ucFindOtsuThCS1", otsu<double, ucFindOtsuThCS1, simple::ucFindOtsuThCS1>},
    {"ucFindOtsuThCS1, many rows", otsu_of_many_rows},
    {"vCalculateBlockDRCS1", blocks<vCalculateBlockDRCS1, simple::vCalculateBlockDRCS1>},
    {"vCalculateBlockDROtsuCS1",
        [](scene &s) {
          blocks<vCalculateBlockDROtsuCS1, simple::vCalculateBlockDROtsuCS1>(s, nullptr);
        }},
    {"sort", on_row<500, sort, simple::sort>},
    {"fr_has_noise", on_frame<fr_has_noise, simple::fr_has_noise, noise_param>},
    {"remove_noise_use_median_filter", on_frame<remove_noise_use_median_filter,
                                           simple::remove_noise_use_median_filter, any_number>},
    {"median_filter", median},
    {"histeq", on_frame<histeq, simple::histeq>},
    {"histeq_white", on_frame<histeq_white, simple::histeq_white, any_percent>},
    {"OVHistEqW", on_frame<OVHistEqW, simple::histeq_white, any_percent>},
    {"get_median", stack_median},
    {"get_median, overlapping", stack_median_overlapping},
    {"flip_vertical", on_frame<flip_vertical, simple::flip_vertical>},
    {"flip_horizontal", on_frame<flip_horizontal, simple::flip_horizontal>},
    {"image_reverse", on_frame<image_reverse, simple::image_reverse>},
    {"images_flips", flips},
    {"remove_T_dummy, transpose_remove_T_dummy", dummy_removal},
    {"get_raw_data_from_bmp", bmp},
};

}  // namespace

std::span<const comparison> comparisons() { return kComparisons; }

}  // namespace support
