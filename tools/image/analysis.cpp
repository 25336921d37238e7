#include "tools/image/analysis.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <mutex>
#include <numeric>
#include <utility>

namespace tools {

namespace {

constexpr int32_t kWaterStreak = WATER_STREAK_LIMIT + 1;

// standard_deviation adds in 32 bits, and no pixel is farther than 128 from the mean of all.
constexpr size_t kLargestSpread = 264208;

// The functions that take the size from g_img_alg_sd run one at a time; they are the quick ones.
std::mutex size_mutex;

// Null where they do not apply.
void add(analysis &a, const json &measures, bool apply = true) {
  for (const auto &[key, value] : measures.items()) a.measures[key] = apply ? value : json();
}

// Only 16-bit frames have a depth of their own, white noise and samples beyond their range.
void take(analysis &a, const std::filesystem::path &file, frame f) {
  const bool raw = f.is_raw(), keep_dummy = a.settings.keep_dummy;
  const auto width = static_cast<uint32_t>(f.width), height = static_cast<uint32_t>(f.height);
  const bool can_be_white = raw && f.largest == WHITE_NOISE_LEVEL && width > 2 &&
                            f.size() - 2 * height >= WHITE_NOISE_MIN_COUNT;
  const bool white = can_be_white && is_mq4xx_white_noise(f.samples.data(), width, height) != 0;
  a.facts =
      fmt::format("{} x {} {}", width, height, raw ? "samples of 16 bits" : "pixels of 8 bits");
  if (raw && !keep_dummy) f = without_dummy(file, f, "; see --keep-dummy");
  const auto saturated = std::ranges::count(f.samples, WHITE_NOISE_LEVEL);
  const auto over_range = std::ranges::count_if(f.samples, [&](int32_t sample) {
    return sample != WHITE_NOISE_LEVEL && sample >> f.sample_bits != 0;
  });
  if (raw) {
    a.facts += fmt::format("{}; the upper 8 of {} bits; {} saturated, {} others over the range",
                           keep_dummy ? "" : ", without the T dummy", f.sample_bits, saturated,
                           over_range);
  }
  a.shown = {f.width, f.height, raw ? upper_bits(f) : std::move(f.pixels), {}};
  add(a, {{"width", f.width}, {"height", f.height}, {"bits", raw ? 16 : 8}});
  add(a, {{"sample_bits", f.sample_bits}}, raw);
  add(a, {{"white_noise", int{white}}}, can_be_white);
  add(a, {{"saturated", saturated}, {"over_range", over_range}}, raw);
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
  const uint8_t mean = a.measures.at("mean");
  return squared_distance(a.shown.pixels, std::vector<uint8_t>(a.shown.size(), mean));
}

image_eval_record evaluate_tile(const uint8_t *pixels, image_dims size, uint32_t checks,
                                int32_t high, int32_t low, int32_t deviation) {
  image_eval_record record{};
  record.check_flags = checks;
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

// The evaluation tells the length of the longest run, not where it lies.
void find_longest_run(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const auto marked = [&](int32_t x, int32_t y) {
    return x >= 0 && y >= 0 && x < width && y < height && a.marks[a.shown.index(x, y)] != 0;
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
    }
  }
}

void find_clusters(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const std::vector<uint8_t> &marks = a.marks;
  const int32_t mean = a.measures.at("mean");
  enum : uint8_t { kNone, kDark, kBright };
  const auto kind_of = [&](size_t i) {
    const bool above = (marks[i] & MARK_LOW) == 0 && a.shown.pixels[i] > mean;
    return (marks[i] & MARK_HIGH) != 0 || above ? kBright : kDark;
  };
  std::vector<uint8_t> waiting(marks.size());  // of pixels in a marked block, and in no cluster yet
  for (int32_t y = 0; y + 1 < height; ++y) {
    for (int32_t x = 0; x + 1 < width; ++x) {
      const size_t above = a.shown.index(x, y), below = a.shown.index(x, y + 1);
      const size_t block[] = {above, above + 1, below, below + 1};
      if (!std::ranges::all_of(block, [&](size_t i) { return marks[i] != 0; })) continue;
      for (const size_t i : block) waiting[i] = kind_of(i);
    }
  }
  for (size_t start = 0; start < marks.size(); ++start) {
    const uint8_t kind = std::exchange(waiting[start], kNone);
    if (kind == kNone) continue;
    const auto columns = static_cast<size_t>(width);
    std::vector<pixel_place> members = {
        {static_cast<int32_t>(start % columns), static_cast<int32_t>(start / columns)}};
    for (size_t next = 0; next < members.size(); ++next) {
      const auto [x, y] = members[next];
      for (int32_t v = std::max(y - 1, 0); v <= std::min(y + 1, height - 1); ++v) {
        for (int32_t u = std::max(x - 1, 0); u <= std::min(x + 1, width - 1); ++u) {
          uint8_t &neighbour = waiting[a.shown.index(u, v)];
          if (neighbour != kind) continue;
          neighbour = kNone;
          members.push_back({u, v});
        }
      }
    }
    const auto [left, right] = std::ranges::minmax(members, {}, &pixel_place::x);
    const auto [top, bottom] = std::ranges::minmax(members, {}, &pixel_place::y);
    a.clusters.push_back({{left.x, top.y},
                          {right.x, bottom.y},
                          static_cast<int32_t>(members.size()),
                          kind == kBright});
  }
}

// A tile would be held against its own mean. Where there are several, pixels that deviate are those
// that lie above or below the levels at that distance from the frame's.
void evaluate(analysis &a) {
  constexpr int32_t kMost = EVAL_MARK_MAP_SIZE;
  constexpr uint32_t kLevels = EVAL_CHECK_HIGH | EVAL_CHECK_LOW;
  const inspect_settings &s = a.settings;
  const int32_t width = a.shown.width, height = a.shown.height, mean = a.measures.at("mean");
  const bool whole = a.shown.size() <= EVAL_MARK_MAP_SIZE;
  uint32_t checks = kLevels;
  if (s.spread_low) checks |= EVAL_SPREAD_LOW;
  if (whole) checks |= EVAL_CHECK_DEVIATION;
  const int32_t distance = std::clamp(s.deviation, -256, 256);
  const int32_t columns = std::min(width, kMost), rows = kMost / columns;
  int32_t tiles = 0;
  image_eval_record all{};
  for (int32_t y = 0; y < height; y += rows) {
    for (int32_t x = 0; x < width; x += columns, ++tiles) {
      const image_dims size = {std::min(columns, width - x), std::min(rows, height - y)};
      const uint8_t *pixels = &a.shown.pixels[a.shown.index(x, y)];
      image_eval_record found = evaluate_tile(pixels, size, checks, s.high, s.low, s.deviation);
      const int32_t count = size.width * size.height;
      if (!whole) {
        const image_eval_record far =
            evaluate_tile(pixels, size, kLevels, mean + distance, mean - distance, 0);
        for (int32_t i = 0; i < count; ++i) {
          if (far.mark_map[i] == 0) continue;
          found.mark_map[i] |= MARK_DEVIATION;
          ++found.deviation_count;
        }
      }
      all.std_dev = found.std_dev;
      all.max_run = found.max_run;
      all.high_count += found.high_count;
      all.low_count += found.low_count;
      all.deviation_count += found.deviation_count;
      a.marks.insert(a.marks.end(), found.mark_map, found.mark_map + count);
    }
  }
  find_longest_run(a);
  find_clusters(a);
  const pixel_run &run = a.longest_run;
  if (!whole) {
    all.std_dev = std::sqrt(static_cast<double>(spread(a)) / static_cast<double>(a.shown.size()));
    all.max_run = std::max(run.length, a.clusters.empty() ? 0 : EVAL_DEFECT_RUN);
  }
  add(a, {{"tiles", tiles}, {"eval_std_dev", all.std_dev}});
  add(a, {{"high_count", all.high_count}, {"low_count", all.low_count}});
  add(a, {{"deviation_count", all.deviation_count}});
  add(a, {{"max_run", all.max_run}, {"run_length", run.length}});
  add(a, {{"run_x", run.start.x}, {"run_y", run.start.y}, {"run_step", {run.step.x, run.step.y}}},
      run.length != 0);
  const auto bright = std::ranges::count(a.clusters, true, &pixel_cluster::bright);
  const auto largest = std::ranges::max_element(a.clusters, {}, &pixel_cluster::pixels);
  const pixel_cluster cluster = largest != a.clusters.end() ? *largest : pixel_cluster{};
  add(a, {{"clusters", a.clusters.size()}, {"bright_clusters", bright}});
  add(a, {{"dark_clusters", std::ssize(a.clusters) - bright}});
  add(a, {{"cluster_x", cluster.first.x}, {"cluster_y", cluster.first.y}}, !a.clusters.empty());
  add(a, {{"cluster_pixels", cluster.pixels}}, !a.clusters.empty());
  add(a, {{"defect_found", all.max_run >= EVAL_DEFECT_RUN ? 1 : 0}},
      (std::max(width, height) >= EVAL_DEFECT_RUN || std::min(width, height) > 1) &&
          (s.high < 255 || s.low > 0 || s.deviation < 255));
}

void summarise_blocks(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height, side = a.settings.block;
  block_map &b = a.blocks;
  b = {side, width / side, height / side, width % side / 2, height % side / 2, {}, {}};
  b.means.resize(static_cast<size_t>(b.columns) * static_cast<size_t>(b.rows));
  b.ranges.resize(b.means.size());
  const uint8_t *pixels = a.shown.pixels.data();
  const auto slice = static_cast<uint8_t>(side);
  uint8_t quadrants[4];
  {
    const std::lock_guard lock(size_mutex);
    g_img_alg_sd = {width, height};
    uint32_t count = BLOCK_COUNT_QUADRANTS;
    vCalculateBlockDRCS1(pixels, &count, quadrants, nullptr, slice);
    count = 0;
    vCalculateBlockDRCS1(pixels, &count, b.means.data(), nullptr, slice);
    vCalculateBlockDROtsuCS1(pixels, nullptr, &count, b.ranges.data(), nullptr, slice);
  }
  add(a, {{"quadrant_means", quadrants}});
  add(a, {{"block_columns", b.columns}, {"block_rows", b.rows}});
  const auto add_values = [&](const std::string &key, std::vector<uint8_t> values) {
    const bool apply = !values.empty();
    if (!apply) values = {0};
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    const auto [least, most] = std::ranges::minmax(values);
    add(a, {{key, sum / static_cast<double>(values.size())}}, apply);
    add(a, {{key + "_min", least}, {key + "_max", most}}, apply);
  };
  add_values("block_mean", b.means);
  const std::vector<double> means(b.means.begin(), b.means.end());
  add(a, {{"block_mean_sd", calculate_sd(means.data(), static_cast<int32_t>(means.size()))}},
      !means.empty());
  add_values("block_range", b.ranges);
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

// pixel(line, i) is the pixel i of a line.
template <typename Pixel>
dark_lines find_dark_lines(Pixel pixel, int32_t lines, int32_t length, int32_t first) {
  dark_lines d;
  d.in_water.resize(static_cast<size_t>(lines));
  int32_t streak = 0;
  for (int32_t line = 0; line < lines; ++line) {
    d.lines.push_back(dark_stretch([&](int32_t i) { return pixel(line, i); }, length, first));
    if (d.lines.back()) {
      ++d.qualifying;
      ++streak;
      continue;
    }
    d.longest_streak = std::max(d.longest_streak, streak);
    if (streak >= kWaterStreak) std::fill_n(d.in_water.begin() + line - streak, streak, true);
    streak = 0;
  }
  return d;
}

void look_for_water(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  // A stretch lies between two other pixels, in a row not in the first column, and a line that is
  // not dark follows the streak.
  const bool rows_can = width >= WATER_RUN_LIMIT + 4 && height > kWaterStreak;
  const bool columns_can = height >= WATER_RUN_LIMIT + 3 && width > kWaterStreak;
  const int32_t found = is_water(a.shown.pixels.data(), width, height);
  const auto at = [&](int32_t x, int32_t y) { return a.shown.pixels[a.shown.index(x, y)]; };
  a.dark_rows = find_dark_lines([&](int32_t y, int32_t x) { return at(x, y); }, height, width, 1);
  a.dark_columns = find_dark_lines(at, width, height, 0);
  add(a, {{"is_water", found}}, rows_can || columns_can);
  add(a, {{"dark_rows", a.dark_rows.qualifying}, {"dark_columns", a.dark_columns.qualifying}});
  add(a, {{"dark_row_streak", a.dark_rows.longest_streak}});
  add(a, {{"dark_column_streak", a.dark_columns.longest_streak}});
}

void look_for_noise(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height, delta = a.settings.spike_delta;
  noise_check_param spikes{};
  spikes.noise_flags = NOISE_CHECK_STRONG | NOISE_CHECK_DELTA;
  spikes.spike_delta = static_cast<uint32_t>(delta);
  const int32_t noise = fr_has_noise(a.shown.pixels.data(), width, height, &spikes);
  add(a, {{"strong_spikes", spikes.strong_spike_count}});
  add(a, {{"strong_spike_limit", NOISE_STRONG_LIMIT * (width / NOISE_STRONG_COLUMNS)}});
  add(a, {{"delta_spikes", spikes.delta_spike_count}});
  add(a, {{"noise", noise}}, width > 2 && height > 2);

  a.despiked = a.shown.pixels;
  add(a, {{"spikes_removed",
           remove_noise_use_median_filter(a.despiked.data(), width, height, delta)}});
  a.median = a.shown.pixels;
  std::vector<uint8_t> work(a.median.size());
  median_filter(a.median.data(), work.data(), width, height);
  add(a, {{"median_distance", squared_distance(a.shown.pixels, a.median)}});
}

void measure_levels(analysis &a) {
  const int32_t width = a.shown.width, height = a.shown.height;
  const uint8_t *pixels = a.shown.pixels.data();
  add(a, {{"mean", count_average_intensity_cs1(pixels, width, height, width, 0)}});
  add(a, {{"minimum", calculate_minimum(pixels, width, height, width, height)}});
  add(a, {{"std_dev", a.shown.size() <= kLargestSpread
                          ? standard_deviation(pixels, width * height)
                          : std::sqrt(static_cast<double>(spread(a) / a.shown.size()))}});
  const int32_t middle = std::max(std::min(width, height) / 2, 1);
  const int32_t center = a.settings.center != 0 ? a.settings.center : middle;
  const int32_t center_mean = image_center_mean(pixels, width, height, center);
  add(a, {{"center_size", center}});
  add(a, {{"center_mean", center_mean}}, center_mean >= 0);
}

// A frame of one level has no split.
void split_levels(analysis &a) {
  uint32_t low_count = 0, high_count = 0;
  double low_mean = 0, high_mean = 0;
  const int32_t threshold =
      ucFindOtsuThCS1(a.shown.pixels.data(), a.shown.width, a.shown.height, &low_count, &high_count,
                      &low_mean, &high_mean, nullptr);
  const bool split = high_count != 0;
  add(a, {{"otsu_threshold", threshold}}, split);
  add(a, {{"otsu_low_count", low_count}, {"otsu_high_count", high_count}}, split);
  add(a, {{"otsu_low_mean", low_mean}, {"otsu_high_mean", high_mean}}, split);
}

void equalise(analysis &a) {
  a.equalised = a.equalised_white = a.shown.pixels;
  histeq(a.equalised.data(), a.shown.width, a.shown.height);
  histeq_white(a.equalised_white.data(), a.shown.width, a.shown.height, a.settings.white_percent);
}

}  // namespace

// The shift is the same for all frames of one kind of sensor, so that their levels compare.
std::vector<uint8_t> upper_bits(const frame &f) {
  std::vector<uint8_t> pixels;
  pixels.reserve(f.size());
  for (const uint16_t sample : f.samples) {
    pixels.push_back(static_cast<uint8_t>(std::min(sample >> (f.sample_bits - 8), 255)));
  }
  return pixels;
}

frame without_dummy(const std::filesystem::path &file, const frame &f, const std::string &hint) {
  if (f.width < 2 || f.height < 2) {
    throw frame_error(file, "nothing is left without the T dummy" + hint);
  }
  frame result = f;
  --result.width;
  --result.height;
  result.samples.resize(result.size());
  remove_T_dummy(f.samples.data(), f.width, f.height, result.samples.data());
  return result;
}

analysis analyse(const std::filesystem::path &file, frame f, const inspect_settings &settings) {
  analysis a;
  a.settings = settings;
  add(a, {{"file", file.string()}});
  take(a, file, std::move(f));
  measure_levels(a);
  evaluate(a);
  look_for_water(a);
  split_levels(a);
  look_for_noise(a);
  summarise_blocks(a);
  equalise(a);
  add(a, {{"sheet", nullptr}, {"panels", json::array()}});
  return a;
}

}  // namespace tools
