#include "tools/image/analysis.h"

#include <algorithm>
#include <bit>
#include <mutex>

namespace tools {

namespace {

// A dark line has at least 32 dark pixels, and water at least 21 dark lines.
constexpr int32_t kDarkMargin = 5;
constexpr int32_t kDarkRun = 31;

// The functions that take the size from g_img_alg_sd run one at a time; they are the quick ones.
std::mutex size_mutex;

frame upright(frame f, bool transposed) {
  if (!transposed) return f;
  frame result{f.height, f.width, {}, std::vector<uint16_t>(f.samples.size())};
  transpose_remove_T_dummy(f.samples.data(), result.width, result.height, 1, result.samples.data());
  return result;
}

// Sensors deliver fewer than 16 bits: the upper 8 of those that occur keep all levels in
// proportion.
void show_samples(analysis &a, const std::vector<uint16_t> &samples) {
  uint16_t used = 0;
  for (const uint16_t s : samples) {
    if (s == 65535) {
      ++a.raw->saturated;
    } else {
      used |= s;
    }
  }
  a.raw->sample_bits = std::max(static_cast<int32_t>(std::bit_width(used)), 8);
  const int32_t shift = a.raw->sample_bits - 8;
  a.shown.pixels.reserve(samples.size());
  for (const uint16_t s : samples) {
    a.shown.pixels.push_back(static_cast<uint8_t>(s == 65535 ? 255 : s >> shift));
  }
}

void take_raw(analysis &a, const std::filesystem::path &file, frame f,
              const inspect_settings &settings) {
  f = upright(std::move(f), settings.transposed);
  const auto width = static_cast<uint32_t>(f.width), height = static_cast<uint32_t>(f.height);
  const bool white_noise = is_mq4xx_white_noise(f.samples.data(), width, height) != 0;
  a.raw = raw_facts{f.width, f.height, white_noise, 0, 0, !settings.keep_dummy};
  if (!settings.keep_dummy) {
    if (f.width < 2 || f.height < 2) {
      throw frame_error(file, "nothing is left without the T dummy; see --keep-dummy");
    }
    std::vector<uint16_t> kept(static_cast<size_t>(f.width - 1) *
                               static_cast<size_t>(f.height - 1));
    remove_T_dummy(f.samples.data(), f.width, f.height, kept.data());
    f = {f.width - 1, f.height - 1, {}, std::move(kept)};
  }
  a.shown.width = f.width;
  a.shown.height = f.height;
  show_samples(a, f.samples);
}

// The evaluation tells the length of the longest run, not where it lies.
void find_marked_shapes(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const auto marked = [&](int32_t x, int32_t y) {
    return x >= 0 && y >= 0 && x < width && y < height &&
           a.evaluation->mark_map[y * width + x] != 0;
  };
  constexpr pixel_place kSteps[] = {{1, 0}, {0, 1}, {1, 1}, {-1, 1}};
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      if (!marked(x, y)) continue;
      for (const pixel_place step : kSteps) {
        if (marked(x - step.x, y - step.y)) continue;
        int32_t length = 1;
        while (marked(x + step.x * length, y + step.y * length)) ++length;
        if (length > a.longest_run.length) a.longest_run = {{x, y}, step, length};
      }
      if (marked(x + 1, y) && marked(x, y + 1) && marked(x + 1, y + 1))
        a.clusters.push_back({x, y});
    }
  }
}

void evaluate(analysis &a, const inspect_settings &settings) {
  if (a.shown.pixels.size() > EVAL_MARK_MAP_SIZE) return;
  image_eval_record record{};
  record.check_flags = EVAL_CHECK_HIGH | EVAL_CHECK_LOW | EVAL_CHECK_DEVIATION;
  if (settings.spread_low) record.check_flags |= EVAL_SPREAD_LOW;
  record.high_threshold = settings.high;
  record.low_threshold = settings.low;
  record.deviation_threshold = settings.deviation;
  record.line_check = 1;
  record.image = a.shown.pixels.data();
  {
    const std::lock_guard lock(size_mutex);
    g_img_alg_sd = {a.shown.width, a.shown.height};
    evaluate_image(&record);
  }
  a.evaluation = record;
  find_marked_shapes(a);
}

void summarise_blocks(analysis &a, const inspect_settings &settings) {
  const int32_t width = a.shown.width, height = a.shown.height, side = settings.block;
  block_summary &b = a.blocks;
  b = {side, width / side, height / side, width % side / 2, height % side / 2, {}, {}, 0};
  b.means.resize(static_cast<size_t>(b.columns) * static_cast<size_t>(b.rows));
  b.ranges.resize(b.means.size());
  const uint8_t *pixels = a.shown.pixels.data();
  const auto slice = static_cast<uint8_t>(side);
  {
    const std::lock_guard lock(size_mutex);
    g_img_alg_sd = {width, height};
    uint32_t count = 4;
    vCalculateBlockDRCS1(pixels, &count, a.quadrant_means.data(), nullptr, slice);
    count = 0;
    vCalculateBlockDRCS1(pixels, &count, b.means.data(), nullptr, slice);
    vCalculateBlockDROtsuCS1(pixels, nullptr, &count, b.ranges.data(), nullptr, slice);
  }
  const std::vector<double> means(b.means.begin(), b.means.end());
  if (!means.empty()) b.means_sd = calculate_sd(means.data(), static_cast<int32_t>(means.size()));
}

// The longest stretch of one line that is_water would count. first is the first pixel that may
// start a stretch; the mean takes in all of them.
template <typename Pixel>
std::optional<dark_lines::stretch> dark_stretch(Pixel pixel, int32_t length, int32_t first) {
  int64_t sum = 0;
  for (int32_t i = 0; i < length; ++i) sum += pixel(i);
  const int64_t threshold = sum / length - kDarkMargin;
  if (threshold < 0) return {};
  std::optional<dark_lines::stretch> longest;
  int32_t start = -1;
  for (int32_t i = first; i < length; ++i) {
    if (start < 0) {
      if (pixel(i) < threshold) start = i;
    } else if (pixel(i) > threshold) {
      const int32_t dark = i - start;
      if (dark > kDarkRun && (!longest || dark > longest->length)) longest = {start, dark};
      start = -1;
    }
  }
  return longest;
}

void add_line(dark_lines &to, std::optional<dark_lines::stretch> stretch, int32_t &streak) {
  to.lines.push_back(stretch);
  if (stretch) {
    ++to.qualifying;
    ++streak;
  } else {
    to.longest_streak = std::max(to.longest_streak, streak);
    streak = 0;
  }
}

void look_for_water(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const uint8_t *pixels = a.shown.pixels.data();
  a.water = is_water(pixels, width, height) != 0;
  const auto at = [&](int32_t x, int32_t y) {
    return int64_t{
        pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)]};
  };
  int32_t streak = 0;
  for (int32_t y = 0; y < height; ++y) {
    add_line(a.dark_rows, dark_stretch([&](int32_t i) { return at(i, y); }, width, 1), streak);
  }
  streak = 0;
  for (int32_t x = 0; x < width; ++x) {
    add_line(a.dark_columns, dark_stretch([&](int32_t i) { return at(x, i); }, height, 0), streak);
  }
}

void look_for_noise(analysis &a, const inspect_settings &settings) {
  const int32_t width = a.shown.width, height = a.shown.height;
  a.noise.noise_flags = NOISE_CHECK_STRONG | NOISE_CHECK_DELTA;
  a.noise.spike_delta = static_cast<uint32_t>(settings.spike_delta);
  a.noise_result = fr_has_noise(a.shown.pixels.data(), width, height, &a.noise);
  a.strong_spike_limit = 3 * (width / 48);

  a.despiked = a.shown.pixels;
  a.spikes_removed =
      remove_noise_use_median_filter(a.despiked.data(), width, height, settings.spike_delta);

  a.median = a.shown.pixels;
  std::vector<uint8_t> work(a.median.size());
  median_filter(a.median.data(), work.data(), width, height);
  a.median_distance =
      euclidean_distance_cs1(a.shown.pixels.data(), a.median.data(), width, height, width);
}

void measure_levels(analysis &a, const inspect_settings &settings) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const uint8_t *pixels = a.shown.pixels.data();
  a.mean = count_average_intensity_cs1(pixels, width, height, width, 0);
  a.minimum = calculate_minimum(pixels, width, height, width, height);
  a.std_dev = standard_deviation(pixels, width * height);
  a.center = settings.center != 0 ? settings.center : std::max(std::min(width, height) / 2, 1);
  a.center_mean = image_center_mean(pixels, width, height, a.center);
  a.otsu_threshold = ucFindOtsuThCS1(pixels, width, height, &a.otsu_low_count, &a.otsu_high_count,
                                     &a.otsu_low_mean, &a.otsu_high_mean, nullptr);
  a.equalised = a.shown.pixels;
  histeq(a.equalised.data(), width, height);
  a.equalised_white = a.shown.pixels;
  histeq_white(a.equalised_white.data(), width, height, settings.white_percent);
}

}  // namespace

analysis analyse(const std::filesystem::path &file, frame f, const inspect_settings &settings) {
  analysis a;
  if (f.is_raw()) {
    take_raw(a, file, std::move(f), settings);
  } else {
    a.shown = std::move(f);
  }
  measure_levels(a, settings);
  evaluate(a, settings);
  look_for_water(a);
  summarise_blocks(a, settings);
  look_for_noise(a, settings);
  return a;
}

}  // namespace tools
