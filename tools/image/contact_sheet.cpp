#include "tools/image/contact_sheet.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numeric>

#include "tools/image/sheet.h"

namespace tools {

namespace {

using fmt::format;

const mark kRing = {kPurple, "\u22a1"};

badge badge_for(const verdict &v, const char *name) {
  if (!v.possible) return {kIdle, format("<big>\u2212</big> {}: not applicable", name)};
  return v.found ? badge{kBad, format("<big>\u2716</big> {}", name)}
                 : badge{kGood, format("<big>\u2714</big> no {}", name)};
}

std::vector<int32_t> counts_of(const std::vector<uint8_t> &pixels) {
  std::vector<int32_t> counts(256);
  for (const uint8_t p : pixels) ++counts[p];
  return counts;
}

std::string levels_in(const std::vector<uint8_t> &pixels) {
  return format("grey levels: {}", 256 - std::ranges::count(counts_of(pixels), 0));
}

void draw_frame(sheet &s, const analysis &a) {
  s.picture(a.shown.pixels);
  s.caption(
      format("mean {}, minimum {}, standard deviation {:.1f}", a.mean, a.minimum, a.std_dev),
      format("middle {0} x {0}: {1}; quarters {2} {3} / {4} {5}", a.center,
             a.center_mean < 0 ? "does not fit" : format("{}", a.center_mean), a.quadrant_means[0],
             a.quadrant_means[1], a.quadrant_means[2], a.quadrant_means[3]));
}

// A box around each cluster and a band around the longest run, with the marks in them.
void draw_marks(sheet &s, const analysis &a) {
  const evaluation &e = a.marked;
  s.picture(a.shown.pixels, kPale);
  for (const pixel_cluster &c : e.clusters) {
    const box b = s.area(c.first.x, c.first.y, c.last.x - c.first.x + 1, c.last.y - c.first.y + 1);
    s.outline(b.at_least(kLeastMark).grown(4), 2, kPurple);
  }
  const pixel_run &run = e.longest_run;
  const box from = s.pixel(a.shown.index(run.start.x, run.start.y));
  const box to = s.pixel(a.shown.index(run.last().x, run.last().y));
  for (const auto &[rim, c] : {std::pair(7.0, kInk), std::pair(3.0, kPaper)}) {
    if (run.length > 1) s.line(from.middle(), to.middle(), from.width + rim, c);
  }
  const auto draw_kind = [&](const mark &m, uint8_t kind) {
    s.draw_marks(m, [&](size_t i) { return (e.marks[i] & kind) != 0; });
  };
  draw_kind(kSquare, MARK_DEVIATION);
  draw_kind(kDown, MARK_LOW);
  draw_kind(kUp, MARK_HIGH);
  if (run.length > 1) {
    s.label({from.x, from.y - 7}, format("run {}: {},{} to {},{}", run.length, run.start.x,
                                         run.start.y, run.last().x, run.last().y));
  }
  const auto bright = std::ranges::count(e.clusters, true, &pixel_cluster::bright);
  s.caption(format("{} high {}   {} low {}   {} deviating {}   {} clusters {} bright, {} dark",
                   key(kUp), e.high_count, key(kDown), e.low_count, key(kSquare), e.deviation_count,
                   key(kRing), bright, std::ssize(e.clusters) - bright),
            format("high > {}, low &lt; {}, deviation > {}{}", a.settings.high, a.settings.low,
                   a.settings.deviation, e.tiles > 1 ? format("; in {} tiles", e.tiles) : ""));
}

void draw_water(sheet &s, const analysis &a) {
  const mark rows = {kBlue, "\u25ac"}, columns = {kVermilion, "\u25ae"};
  const mark too_few = {grey(0.35), "\u25a0"};
  s.picture(a.shown.pixels, kPale);
  const auto strips = [&](const dark_lines &dark, bool across, const mark &m) {
    for (size_t i = 0; i < dark.lines.size(); ++i) {
      if (!dark.lines[i]) continue;
      const auto [first, length] = *dark.lines[i];
      // Narrower than a line, so that rows and columns show their direction.
      const double at = static_cast<double>(i) + 0.2, width = 0.6;
      s.fill(across ? s.area(first, at, length, width) : s.area(at, first, width, length),
             dark.in_water[i] ? m.c : too_few.c);
    }
  };
  strips(a.dark_rows, true, rows);
  strips(a.dark_columns, false, columns);
  s.caption(format("{} rows {}   {} columns {}   {} in too short a streak", key(rows),
                   a.dark_rows.qualifying, key(columns), a.dark_columns.qualifying, key(too_few)),
            format("longest streaks {} rows, {} columns; water from {}", a.dark_rows.longest_streak,
                   a.dark_columns.longest_streak, WATER_STREAK_LIMIT + 1));
}

void draw_otsu(sheet &s, const analysis &a) {
  const mark low = {grey(0.15), "\u25a0"}, high = {grey(0.82), "\u25a0"};
  s.picture(a.shown.pixels, {{low.c, high.c}, a.otsu_threshold, a.otsu_threshold + 1});
  if (!a.has_otsu_split()) return s.caption("All pixels have one level.");
  s.caption(format("{} {} of at most {}, mean {:.1f}", key(low), a.otsu_low_count, a.otsu_threshold,
                   a.otsu_low_mean),
            format("{} {} above, mean {:.1f}", key(high), a.otsu_high_count, a.otsu_high_mean));
}

void draw_blocks(sheet &s, const analysis &a, const std::vector<uint8_t> &values,
                 const shading &colours, const std::string &figures) {
  const block_summary &b = a.blocks;
  s.picture(a.shown.pixels, kPale);
  s.scale(colours);
  if (values.empty()) return s.caption(format("No block of {0} x {0} pixels fits.", b.side));
  s.image(s.area(b.left, b.top, b.columns * b.side, b.rows * b.side), values, colours, b.columns,
          b.rows);
  for (int32_t i = 0; i < b.columns * b.rows; ++i) {
    const box at =
        s.area(b.left + b.side * (i % b.columns), b.top + b.side * (i / b.columns), b.side, b.side);
    constexpr double kRoomForNumbers = 22;
    if (at.width < kRoomForNumbers) break;
    const double size = std::min(at.width * 0.38, 13.0);
    const uint8_t value = values[static_cast<size_t>(i)];
    const colour behind = colours.at(value);
    const bool light = 0.3 * behind.red + 0.6 * behind.green + 0.1 * behind.blue > 0.5;
    s.text(at.middle().x, at.middle().y + size * 0.36, format("{}", value),
           {.size = size, .ink = light ? kInk : kPaper, .where = 0.5});
  }
  const auto [low, high] = std::ranges::minmax(values);
  s.caption(format("{} x {} blocks of {} x {} pixels", b.columns, b.rows, b.side, b.side),
            format("{} to {}, {}", low, high, figures));
}

void draw_block_means(sheet &s, const analysis &a) {
  draw_blocks(s, a, a.blocks.means, kGreys, format("standard deviation {:.1f}", a.blocks.means_sd));
}

void draw_block_ranges(sheet &s, const analysis &a) {
  const std::vector<uint8_t> &ranges = a.blocks.ranges;
  const double sum = std::accumulate(ranges.begin(), ranges.end(), 0.0);
  draw_blocks(s, a, ranges, {kHeat},
              format("mean {:.1f}", sum / static_cast<double>(ranges.size())));
}

void draw_median(sheet &s, const analysis &a) {
  s.picture(a.median);
  const double mean = static_cast<double>(a.median_distance) / static_cast<double>(a.shown.size());
  s.caption(format("root mean square change {:.1f}", std::sqrt(mean)),
            format("sum of squared differences {}", a.median_distance));
}

void draw_spikes(sheet &s, const analysis &a) {
  s.picture(a.despiked);
  // All white rims first, so that none hides a ring beside it.
  for (const bool rim : {true, false}) {
    for (size_t i = 0; i < a.despiked.size(); ++i) {
      if (a.despiked[i] == a.shown.pixels[i]) continue;
      s.outline(s.pixel(i).grown(rim ? 3 : 2), rim ? 3.5 : 1.5, rim ? kPaper : kRing.c);
    }
  }
  s.caption(
      format("{} replaced {}, margin {}", key(kRing), a.spikes_removed, a.settings.spike_delta),
      format("spikes: strong {} (noise from {}), delta {} (from {})", a.spikes.strong_spike_count,
             a.strong_spike_limit + 1, a.spikes.delta_spike_count, NOISE_DELTA_LIMIT + 1));
}

void draw_equalised(sheet &s, const analysis &a) {
  s.picture(a.equalised);
  s.caption(levels_in(a.equalised), levels_in(a.shown.pixels) + " in the frame");
}

void draw_equalised_white(sheet &s, const analysis &a) {
  s.picture(a.equalised_white);
  s.caption(
      format("brightest {} % kept, {}", a.settings.white_percent, levels_in(a.equalised_white)),
      levels_in(a.shown.pixels) + " in the frame");
}

void draw_histogram_of(sheet &s, const std::vector<uint8_t> &pixels,
                       const std::vector<chart_line> &lines) {
  const std::vector<int32_t> counts = counts_of(pixels);
  s.chart(counts, 0, 64, lines);
  s.caption("pixels per level, square root scale",
            format("highest bar {} pixels", std::ranges::max(counts)));
}

void draw_histogram(sheet &s, const analysis &a) {
  std::vector<chart_line> lines = {
      {a.settings.low, format("low < {}", a.settings.low), {2, 3}},
      {a.mean, format("mean {}", a.mean), {}},
      {a.settings.high, format("high > {}", a.settings.high), {8, 3, 2, 3}},
  };
  if (a.has_otsu_split()) {
    lines.push_back({a.otsu_threshold, format("Otsu {}", a.otsu_threshold), {6, 3}});
  }
  draw_histogram_of(s, a.shown.pixels, lines);
}

struct panel {
  std::string_view name;
  const char *title;
  void (*draw)(sheet &s, const analysis &a);
};
const panel kPanels[] = {
    {"frame", "Frame", draw_frame},
    {"marks", "Defect marks", draw_marks},
    {"water", "Dark rows and columns", draw_water},
    {"otsu", "Otsu split", draw_otsu},
    {"block-means", "Block means", draw_block_means},
    {"block-ranges", "Block dynamic range", draw_block_ranges},
    {"median", "Median filtered", draw_median},
    {"spikes", "Spikes removed", draw_spikes},
    {"equalised", "Equalised", draw_equalised},
    {"histogram", "Histogram", draw_histogram},
    {"histogram-equalised", "Histogram, equalised",
     [](sheet &s, const analysis &a) { draw_histogram_of(s, a.equalised, {}); }},
    {"equalised-white", "Equalised, brightest kept", draw_equalised_white},
};

}  // namespace

std::vector<std::string> panel_names() {
  std::vector<std::string> names;
  for (const panel &p : kPanels) names.emplace_back(p.name);
  return names;
}

std::string frame_facts(const analysis &a) {
  if (!a.raw) return format("{} x {} pixels of 8 bits", a.shown.width, a.shown.height);
  const raw_facts &r = *a.raw;
  return format(
      "{} x {} samples of 16 bits{}; the upper 8 of {} bits; {} saturated, {} others over "
      "the range",
      r.width, r.height, r.dummy_removed ? ", without the T dummy" : "", r.sample_bits, r.saturated,
      r.over_range);
}

void write_contact_sheet(const std::filesystem::path &file, const std::string &title,
                         const analysis &a, const std::string &panel) {
  const bool all = panel.empty();
  sheet s(a.shown, all ? 4 : 1, all ? 3 : 1);
  if (all) {
    s.header(title, frame_facts(a),
             {badge_for(a.white_noise, "white noise"), badge_for(a.noise, "noise"),
              badge_for(a.water, "water"), badge_for(a.defect, "defect")});
  }
  for (const auto &[name, text, draw] : kPanels) {
    if (!all && name != panel) continue;
    s.begin(all ? text : format("{}: {}", title, text));
    draw(s, a);
  }
  save_sheet(file, s.png());
}

}  // namespace tools
