#include "tools/image/contact_sheet.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "tools/image/report.h"
#include "tools/image/sheet.h"

namespace tools {

namespace {

using fmt::format;

const mark kRing = {kPurple, "\u22a1"};

// Of a verdict, which is null where none can be given.
badge badge_for(const json &found, const char *name) {
  if (found.is_null()) return {kIdle, format("<big>\u2212</big> {}: not applicable", name)};
  return found != 0 ? badge{kBad, format("<big>\u2716</big> {}", name)}
                    : badge{kGood, format("<big>\u2714</big> no {}", name)};
}

void caption(sheet &s, const analysis &a, const std::string &first, const std::string &second) {
  s.caption(tell(a.measures, first), tell(a.measures, second));
}

std::vector<int32_t> counts_of(const std::vector<uint8_t> &pixels) {
  std::vector<int32_t> counts(256);
  for (const uint8_t p : pixels) ++counts[p];
  return counts;
}

int64_t levels_in(const std::vector<uint8_t> &pixels) {
  return 256 - std::ranges::count(counts_of(pixels), 0);
}

void draw_frame(sheet &s, const analysis &a) {
  s.picture(a.shown.pixels);
  caption(s, a, "mean {mean}, minimum {minimum}, standard deviation {std_dev:.1f}",
          "middle {center_size} x {center_size}: {center_mean}; quarters {quadrant_means}");
}

// A box around each cluster and a band around the longest run, with the marks in them.
void draw_marks(sheet &s, const analysis &a) {
  s.picture(a.shown.pixels, kPale);
  for (const pixel_cluster &c : a.clusters) {
    const box b = s.area(c.first.x, c.first.y, c.last.x - c.first.x + 1, c.last.y - c.first.y + 1);
    s.outline(b.at_least(kLeastMark).grown(4), 2, kPurple);
  }
  const pixel_run &run = a.longest_run;
  const box from = s.pixel(a.shown.index(run.start.x, run.start.y));
  const box to = s.pixel(a.shown.index(run.last().x, run.last().y));
  for (const auto &[rim, c] : {std::pair(7.0, kInk), std::pair(3.0, kPaper)}) {
    if (run.length > 1) s.line(from.middle(), to.middle(), from.width + rim, c);
  }
  const auto draw_kind = [&](const mark &m, uint8_t kind) {
    s.draw_marks(m, [&](size_t i) { return (a.marks[i] & kind) != 0; });
  };
  draw_kind(kSquare, MARK_DEVIATION);
  draw_kind(kDown, MARK_LOW);
  draw_kind(kUp, MARK_HIGH);
  if (run.length > 1) {
    const double y = from.y - s.pixel(0).y > 14 ? from.y - 7 : from.y + from.height + 21;
    s.label({from.x, y}, format("run {}: {},{} to {},{}", run.length, run.start.x, run.start.y,
                                run.last().x, run.last().y));
  }
  caption(s, a,
          key(kUp) + " {high_count} high   " + key(kDown) + " {low_count} low   " + key(kSquare) +
              " {deviation_count} deviating   " + key(kRing) +
              " clusters: {bright_clusters} bright, {dark_clusters} dark",
          format("high > {}, low &lt; {}, deviation > {}; tiles: {{tiles}}", a.settings.high,
                 a.settings.low, a.settings.deviation));
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
  caption(s, a,
          key(rows) + " rows {dark_rows}   " + key(columns) + " columns {dark_columns}   " +
              key(too_few) + " in too short a streak",
          "longest streaks {dark_row_streak} rows, {dark_column_streak} columns; water from " +
              std::to_string(WATER_STREAK_LIMIT + 1));
}

void draw_otsu(sheet &s, const analysis &a) {
  const mark low = {grey(0.15), "\u25a0"}, high = {grey(0.82), "\u25a0"};
  const json &threshold = a.measures.at("otsu_threshold");
  const int32_t last_low = threshold.is_null() ? UINT8_MAX : threshold.get<int32_t>();
  s.picture(a.shown.pixels, {{low.c, high.c}, last_low, last_low + 1});
  if (threshold.is_null()) return s.caption("All pixels have one level.");
  caption(s, a,
          key(low) + " {otsu_low_count} of at most {otsu_threshold}, mean {otsu_low_mean:.1f}",
          key(high) + " {otsu_high_count} above, mean {otsu_high_mean:.1f}");
}

void draw_blocks(sheet &s, const analysis &a, const std::vector<uint8_t> &values,
                 const shading &colours, const std::string &figures) {
  const block_map &b = a.blocks;
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
  caption(s, a, format("{0} x {1} blocks of {2} x {2} pixels", b.columns, b.rows, b.side),
          format("{} to {}, ", low, high) + figures);
}

void draw_block_means(sheet &s, const analysis &a) {
  draw_blocks(s, a, a.blocks.means, kGreys, "standard deviation {block_mean_sd:.1f}");
}

void draw_block_ranges(sheet &s, const analysis &a) {
  draw_blocks(s, a, a.blocks.ranges, {kHeat}, "mean {block_range:.1f}");
}

void draw_median(sheet &s, const analysis &a) {
  s.picture(a.median);
  const double sum = a.measures.at("median_distance");
  caption(s, a,
          format("root mean square change {:.1f}",
                 std::sqrt(sum / static_cast<double>(a.shown.size()))),
          "sum of squared differences {median_distance}");
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
  caption(s, a,
          format("{} replaced {{spikes_removed}}, margin {}", key(kRing), a.settings.spike_delta),
          "spikes: strong {strong_spikes} (noise above {strong_spike_limit}), delta {delta_spikes} "
          "(above " +
              std::to_string(NOISE_DELTA_LIMIT) + ")");
}

void draw_equalised(sheet &s, const analysis &a) {
  s.picture(a.equalised);
  s.caption(format("grey levels: {}", levels_in(a.equalised)),
            format("in the frame: {}", levels_in(a.shown.pixels)));
}

void draw_equalised_white(sheet &s, const analysis &a) {
  s.picture(a.equalised_white);
  s.caption(format("grey levels: {}", levels_in(a.equalised_white)),
            format("brightest {} % kept", a.settings.white_percent));
}

void draw_histogram_of(sheet &s, const std::vector<uint8_t> &pixels,
                       const std::vector<chart_line> &lines) {
  const std::vector<int32_t> counts = counts_of(pixels);
  s.chart(counts, 0, 64, lines);
  s.caption("pixels per level, square root scale",
            format("highest bar {} pixels", std::ranges::max(counts)));
}

void draw_histogram(sheet &s, const analysis &a) {
  const auto line = [&](const json &level, const char *name, const std::vector<double> &dashes) {
    return chart_line{level, format("{} {}", name, level.dump()), dashes};
  };
  std::vector<chart_line> lines = {line(a.settings.low, "low <", {2, 3}),
                                   line(a.measures.at("mean"), "mean", {}),
                                   line(a.settings.high, "high >", {8, 3, 2, 3})};
  const json &threshold = a.measures.at("otsu_threshold");
  if (!threshold.is_null()) lines.push_back(line(threshold, "Otsu", {6, 3}));
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

void write_contact_sheet(const std::filesystem::path &file, const std::string &title,
                         const analysis &a, const std::string &panel) {
  const bool all = panel.empty();
  sheet s(a.shown, all ? 4 : 1, all ? 3 : 1);
  if (all) {
    const json &m = a.measures;
    s.header(title, a.facts,
             {badge_for(m.at("white_noise"), "white noise"), badge_for(m.at("noise"), "noise"),
              badge_for(m.at("is_water"), "water"), badge_for(m.at("defect_found"), "defect")});
  }
  for (const auto &[name, text, draw] : kPanels) {
    if (!all && name != panel) continue;
    s.begin(all ? text : format("{}: {}", title, text));
    draw(s, a);
  }
  save_sheet(file, s);
}

}  // namespace tools
