#include "tools/image/analysis.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace tools {

namespace {

constexpr int32_t kWaterStreak = WATER_STREAK_LIMIT + 1;

// standard_deviation adds in 32 bits, and no pixel is farther than 128 from the mean of all.
constexpr size_t kLargestSpread = 264208;

// The functions that take the size from g_img_alg_sd run one at a time; they are the quick ones.
std::mutex size_mutex;

frame upright(frame f, bool transposed) {
  if (!transposed) return f;
  frame result{f.height, f.width, {}, std::vector<uint16_t>(f.samples.size())};
  transpose_remove_T_dummy(f.samples.data(), result.width, result.height, 1, result.samples.data());
  return result;
}

void take_raw(analysis &a, const std::filesystem::path &file, frame f,
              const inspect_settings &settings) {
  const int32_t bits = settings.sample_bits != 0 ? settings.sample_bits : f.sample_bits;
  const bool can_saturate = f.sample_bits == 16;
  f = upright(std::move(f), settings.transposed);
  const auto width = static_cast<uint32_t>(f.width), height = static_cast<uint32_t>(f.height);
  a.white_noise = {can_saturate && f.width > 2 && f.size() - 2 * height >= WHITE_NOISE_MIN_COUNT,
                   is_mq4xx_white_noise(f.samples.data(), width, height) != 0};
  a.raw = raw_facts{f.width, f.height, bits, 0, 0, !settings.keep_dummy};
  if (!settings.keep_dummy) {
    if (f.width < 2 || f.height < 2) {
      throw frame_error(file, "nothing is left without the T dummy; see --keep-dummy");
    }
    std::vector<uint16_t> kept(static_cast<size_t>(f.width - 1) *
                               static_cast<size_t>(f.height - 1));
    remove_T_dummy(f.samples.data(), f.width, f.height, kept.data());
    f = {f.width - 1, f.height - 1, {}, std::move(kept)};
  }
  a.raw->saturated = static_cast<int32_t>(std::ranges::count(f.samples, WHITE_NOISE_LEVEL));
  a.raw->over_range = static_cast<int32_t>(
                          std::ranges::count_if(f.samples, [&](int s) { return s >> bits != 0; })) -
                      (bits < 16 ? a.raw->saturated : 0);
  a.shown = {f.width, f.height, upper_bits(f.samples, bits), {}};
}

// The library's sum wraps modulo 2^32, which this many pixels do not reach.
uint64_t squared_distance(const std::vector<uint8_t> &a, const std::vector<uint8_t> &b) {
  constexpr size_t kExact = 65536;
  uint64_t sum = 0;
  for (size_t i = 0; i < a.size(); i += kExact) {
    const auto count = static_cast<int32_t>(std::min(kExact, a.size() - i));
    sum += euclidean_distance_cs1(&a[i], &b[i], count, 1, count);
  }
  return sum;
}

// Sum of the squared distances from the mean.
uint64_t spread(const analysis &a) {
  return squared_distance(a.shown.pixels,
                          std::vector<uint8_t>(a.shown.size(), static_cast<uint8_t>(a.mean)));
}

image_eval_record evaluate_tile(const uint8_t *pixels, image_dims size, uint32_t flags,
                                int32_t high, int32_t low, int32_t deviation) {
  image_eval_record record{};
  record.check_flags = flags;
  record.high_threshold = high;
  record.low_threshold = low;
  record.deviation_threshold = deviation;
  record.line_check = 1;
  record.image = pixels;
  const std::lock_guard lock(size_mutex);
  g_img_alg_sd = size;
  evaluate_image(&record);
  return record;
}

uint32_t level_checks(const inspect_settings &settings) {
  return EVAL_CHECK_HIGH | EVAL_CHECK_LOW | (settings.spread_low ? uint32_t{EVAL_SPREAD_LOW} : 0u);
}

void evaluate_whole(analysis &a, const inspect_settings &settings) {
  const image_eval_record record =
      evaluate_tile(a.shown.pixels.data(), {a.shown.width, a.shown.height},
                    level_checks(settings) | EVAL_CHECK_DEVIATION, settings.high, settings.low,
                    settings.deviation);
  evaluation &e = a.marked;
  e.tiles = 1;
  e.std_dev = record.std_dev;
  e.high_count = record.high_count;
  e.low_count = record.low_count;
  e.deviation_count = record.deviation_count;
  e.max_run = record.max_run;
  e.marks.assign(record.mark_map, record.mark_map + a.shown.size());
  a.defect.found = record.defect_found != 0;
}

// A tile would be held against its own mean, so pixels that deviate are those that lie above or
// below the levels at that distance from the frame's.
void evaluate_tiles(analysis &a, const inspect_settings &settings) {
  constexpr int32_t kMost = EVAL_MARK_MAP_SIZE;
  const int32_t width = a.shown.width, height = a.shown.height;
  const int32_t distance = std::clamp(settings.deviation, -256, 256);
  evaluation &e = a.marked;
  const int32_t columns = std::min(width, kMost), rows = kMost / columns;
  for (int32_t y = 0; y < height; y += rows) {
    for (int32_t x = 0; x < width; x += columns, ++e.tiles) {
      const image_dims size = {std::min(columns, width - x), std::min(rows, height - y)};
      const uint8_t *pixels = &a.shown.pixels[a.shown.index(x, y)];
      const image_eval_record levels =
          evaluate_tile(pixels, size, level_checks(settings), settings.high, settings.low, 0);
      const image_eval_record far = evaluate_tile(pixels, size, EVAL_CHECK_HIGH | EVAL_CHECK_LOW,
                                                  a.mean + distance, a.mean - distance, 0);
      e.high_count += levels.high_count;
      e.low_count += levels.low_count;
      for (int32_t i = 0; i < size.width * size.height; ++i) {
        const bool deviates = far.mark_map[i] != 0;
        e.deviation_count += deviates ? 1 : 0;
        e.marks.push_back(
            static_cast<uint8_t>(levels.mark_map[i] | (deviates ? MARK_DEVIATION : 0)));
      }
    }
  }
  e.std_dev = std::sqrt(static_cast<double>(spread(a)) / static_cast<double>(a.shown.size()));
}

// The evaluation tells the length of the longest run, not where it lies.
void find_longest_run(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const auto marked = [&](int32_t x, int32_t y) {
    return x >= 0 && y >= 0 && x < width && y < height && a.marked.marks[a.shown.index(x, y)] != 0;
  };
  pixel_run &longest = a.marked.longest_run;
  constexpr pixel_place kSteps[] = {{1, 0}, {0, 1}, {1, 1}, {-1, 1}};
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      if (!marked(x, y)) continue;
      for (const pixel_place step : kSteps) {
        if (marked(x - step.x, y - step.y)) continue;
        int32_t length = 1;
        while (marked(x + step.x * length, y + step.y * length)) ++length;
        if (length > longest.length) longest = {{x, y}, step, length};
      }
    }
  }
}

void find_clusters(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const std::vector<uint8_t> &marks = a.marked.marks;
  const auto bright = [&](size_t i) {
    return (marks[i] & MARK_HIGH) != 0 ||
           ((marks[i] & MARK_LOW) == 0 && a.shown.pixels[i] > a.mean);
  };
  std::vector<bool> waiting(marks.size());  // in a marked block, and in no cluster yet
  for (int32_t y = 0; y + 1 < height; ++y) {
    for (int32_t x = 0; x + 1 < width; ++x) {
      const size_t above = a.shown.index(x, y), below = a.shown.index(x, y + 1);
      const size_t block[] = {above, above + 1, below, below + 1};
      if (!std::ranges::all_of(block, [&](size_t i) { return marks[i] != 0; })) continue;
      for (const size_t i : block) waiting[i] = true;
    }
  }
  std::vector<pixel_place> edge;
  for (size_t start = 0; start < marks.size(); ++start) {
    if (!waiting[start]) continue;
    const pixel_place first = {static_cast<int32_t>(start % static_cast<size_t>(width)),
                               static_cast<int32_t>(start / static_cast<size_t>(width))};
    pixel_cluster c = {first, first, 0, bright(start)};
    edge = {first};
    waiting[start] = false;
    while (!edge.empty()) {
      const auto [x, y] = edge.back();
      edge.pop_back();
      ++c.pixels;
      c.first = {std::min(c.first.x, x), std::min(c.first.y, y)};
      c.last = {std::max(c.last.x, x), std::max(c.last.y, y)};
      for (int32_t v = std::max(y - 1, 0); v <= std::min(y + 1, height - 1); ++v) {
        for (int32_t u = std::max(x - 1, 0); u <= std::min(x + 1, width - 1); ++u) {
          const size_t i = a.shown.index(u, v);
          if (!waiting[i] || bright(i) != c.bright) continue;
          waiting[i] = false;
          edge.push_back({u, v});
        }
      }
    }
    a.marked.clusters.push_back(c);
  }
}

void evaluate(analysis &a, const inspect_settings &settings) {
  const int32_t width = a.shown.width, height = a.shown.height;
  evaluation &e = a.marked;
  if (a.shown.size() <= EVAL_MARK_MAP_SIZE) {
    evaluate_whole(a, settings);
  } else {
    evaluate_tiles(a, settings);
  }
  find_longest_run(a);
  find_clusters(a);
  if (e.tiles > 1) {
    e.max_run = std::max(e.longest_run.length, e.clusters.empty() ? 0 : EVAL_DEFECT_RUN);
    a.defect.found = e.max_run >= EVAL_DEFECT_RUN;
  }
  a.defect.possible = (std::max(width, height) >= EVAL_DEFECT_RUN || std::min(width, height) > 1) &&
                      (settings.high < 255 || settings.low > 0 || settings.deviation < 255);
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
    uint32_t count = BLOCK_COUNT_QUADRANTS;
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
  const int64_t threshold = sum / length - WATER_MARGIN;
  if (threshold < 0) return {};
  std::optional<dark_lines::stretch> longest;
  int32_t start = -1;
  for (int32_t i = first; i < length; ++i) {
    if (start < 0) {
      if (pixel(i) < threshold) start = i;
    } else if (pixel(i) > threshold) {
      const int32_t dark = i - start;
      if (dark > WATER_RUN_LIMIT + 1 && (!longest || dark > longest->length))
        longest = {start, dark};
      start = -1;
    }
  }
  return longest;
}

void add_line(dark_lines &to, std::optional<dark_lines::stretch> stretch, int32_t &streak) {
  to.lines.push_back(stretch);
  to.in_water.push_back(false);
  if (stretch) {
    ++to.qualifying;
    ++streak;
    return;
  }
  to.longest_streak = std::max(to.longest_streak, streak);
  if (streak >= kWaterStreak) std::fill_n(to.in_water.end() - 1 - streak, streak, true);
  streak = 0;
}

void look_for_water(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  // A stretch lies between two other pixels, in a row not in the first column, and a line that is
  // not dark follows the streak.
  const bool rows_can = width >= WATER_RUN_LIMIT + 4 && height > kWaterStreak;
  const bool columns_can = height >= WATER_RUN_LIMIT + 3 && width > kWaterStreak;
  a.water = {rows_can || columns_can, is_water(a.shown.pixels.data(), width, height) != 0};
  const auto at = [&](int32_t x, int32_t y) {
    return int64_t{a.shown.pixels[a.shown.index(x, y)]};
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
  a.spikes.noise_flags = NOISE_CHECK_STRONG | NOISE_CHECK_DELTA;
  a.spikes.spike_delta = static_cast<uint32_t>(settings.spike_delta);
  a.noise_result = fr_has_noise(a.shown.pixels.data(), width, height, &a.spikes);
  a.noise = {width > 2 && height > 2, a.noise_result != 0};
  a.strong_spike_limit = NOISE_STRONG_LIMIT * (width / NOISE_STRONG_COLUMNS);

  a.despiked = a.shown.pixels;
  a.spikes_removed =
      remove_noise_use_median_filter(a.despiked.data(), width, height, settings.spike_delta);

  a.median = a.shown.pixels;
  std::vector<uint8_t> work(a.median.size());
  median_filter(a.median.data(), work.data(), width, height);
  a.median_distance = squared_distance(a.shown.pixels, a.median);
}

void measure_levels(analysis &a, const inspect_settings &settings) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const uint8_t *pixels = a.shown.pixels.data();
  a.mean = count_average_intensity_cs1(pixels, width, height, width, 0);
  a.minimum = calculate_minimum(pixels, width, height, width, height);
  a.std_dev = a.shown.size() <= kLargestSpread
                  ? standard_deviation(pixels, width * height)
                  : std::sqrt(static_cast<double>(spread(a) / a.shown.size()));
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

// The shift is the same for all frames of one kind of sensor, so that their levels compare.
std::vector<uint8_t> upper_bits(const std::vector<uint16_t> &samples, int32_t bits) {
  std::vector<uint8_t> pixels;
  pixels.reserve(samples.size());
  for (const uint16_t s : samples) {
    pixels.push_back(static_cast<uint8_t>(std::min(s >> (bits - 8), 255)));
  }
  return pixels;
}

analysis analyse(const std::filesystem::path &file, frame f, const inspect_settings &settings) {
  analysis a;
  a.settings = settings;
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
