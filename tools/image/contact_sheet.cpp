#include "tools/image/contact_sheet.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numeric>

#include "tools/image/sheet.h"

namespace tools {

namespace {

using fmt::format;

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

const mark kRing = {kPurple, "\u22a1"};

class contact_sheet : public sheet {
 public:
  contact_sheet(const analysis &a, const inspect_settings &settings, int32_t columns, int32_t rows)
      : sheet(a.shown.width, a.shown.height, columns, rows), a_(a), settings_(settings) {}

  struct panel {
    std::string_view name;
    const char *title;
    void (contact_sheet::*draw)();
  };
  static const panel kPanels[12];

  // The named panel or, without a name, all.
  void draw(const std::string &title, const std::string &name) {
    if (name.empty()) {
      header(title, frame_facts(a_),
             {badge_for(a_.white_noise, "white noise"), badge_for(a_.noise, "noise"),
              badge_for(a_.water, "water"), badge_for(a_.defect, "defect")});
    }
    for (const panel &p : kPanels) {
      if (!name.empty() && name != p.name) continue;
      begin(name.empty() ? p.title : format("{}: {}", title, p.title));
      (this->*p.draw)();
    }
  }

 private:
  void frame_panel() {
    picture(a_.shown.pixels);
    caption(
        format("mean {}, minimum {}, standard deviation {:.1f}", a_.mean, a_.minimum, a_.std_dev),
        format("middle {0} x {0}: {1}; quarters {2} {3} / {4} {5}", a_.center,
               a_.center_mean < 0 ? "does not fit" : format("{}", a_.center_mean),
               a_.quadrant_means[0], a_.quadrant_means[1], a_.quadrant_means[2],
               a_.quadrant_means[3]));
  }

  // The box around each cluster and the band around the longest run; the marks are drawn into them.
  void outline_shapes() {
    for (const pixel_cluster &c : a_.marked.clusters) {
      const box b = area(c.first.x, c.first.y, c.last.x - c.first.x + 1, c.last.y - c.first.y + 1,
                         kLeastMark);
      canvas_.frame(b.grown(4), 2, kPurple);
    }
    const pixel_run &run = a_.marked.longest_run;
    if (run.length < 2) return;
    const box from = area(run.start.x + 0.5, run.start.y + 0.5, 0, 0);
    const box to = area(run.last().x + 0.5, run.last().y + 0.5, 0, 0);
    const double thickness = std::max(scale_, kLeastMark);
    for (const auto &[rim, c] : {std::pair(7.0, kInk), std::pair(3.0, kPaper)}) {
      canvas_.line({from.x, from.y}, {to.x, to.y}, thickness + rim, c);
    }
  }

  void marks_panel() {
    const evaluation &e = a_.marked;
    picture(a_.shown.pixels, kPale);
    outline_shapes();
    const auto draw_kind = [&](const mark &m, uint8_t kind) {
      draw_marks(m, [&](size_t i) { return (e.marks[i] & kind) != 0; });
    };
    draw_kind(kSquare, MARK_DEVIATION);
    draw_kind(kDown, MARK_LOW);
    draw_kind(kUp, MARK_HIGH);
    const pixel_run &run = e.longest_run;
    if (run.length > 1) {
      const box start = pixel(a_.shown.index(run.start.x, run.start.y), 0);
      label({start.x, start.y - 7},
            format("run {}: {},{} to {},{}", run.length, run.start.x, run.start.y, run.last().x,
                   run.last().y),
            kInk);
    }
    const auto bright = std::ranges::count(e.clusters, true, &pixel_cluster::bright);
    caption(format("{} high {}   {} low {}   {} deviating {}   {} clusters {} bright, {} dark",
                   key(kUp), e.high_count, key(kDown), e.low_count, key(kSquare), e.deviation_count,
                   key(kRing), bright, std::ssize(e.clusters) - bright),
            format("high > {}, low &lt; {}, deviation > {}{}", settings_.high, settings_.low,
                   settings_.deviation,
                   e.tiles > 1 ? format("; in {} tiles", e.tiles) : std::string()));
  }

  void water_panel() {
    const mark rows = {kBlue, "\u25ac"}, columns = {kVermilion, "\u25ae"};
    const mark too_few = {grey(0.35), "\u25a0"};
    picture(a_.shown.pixels, kPale);
    const auto strips = [&](const dark_lines &dark, const mark &m) {
      // Narrower than a line, so that rows and columns show their direction.
      constexpr double kWidth = 0.6;
      for (size_t i = 0; i < dark.lines.size(); ++i) {
        if (!dark.lines[i]) continue;
        const auto [first, length] = *dark.lines[i];
        const double at = static_cast<double>(i) + (1 - kWidth) / 2;
        canvas_.fill(&dark == &a_.dark_rows ? area(first, at, length, kWidth)
                                            : area(at, first, kWidth, length),
                     dark.in_water[i] ? m.c : too_few.c);
      }
    };
    strips(a_.dark_rows, rows);
    strips(a_.dark_columns, columns);
    caption(
        format("{} rows {}   {} columns {}   {} in too short a streak", key(rows),
               a_.dark_rows.qualifying, key(columns), a_.dark_columns.qualifying, key(too_few)),
        format("longest streaks {} rows, {} columns; water from {}", a_.dark_rows.longest_streak,
               a_.dark_columns.longest_streak, WATER_STREAK_LIMIT + 1));
  }

  void otsu_panel() {
    if (!a_.has_otsu_split()) return instead("All pixels have one level.");
    const mark low = {grey(0.15), "\u25a0"}, high = {grey(0.82), "\u25a0"};
    picture(a_.shown.pixels, {{low.c, high.c}, a_.otsu_threshold, a_.otsu_threshold + 1});
    caption(format("{} {} of at most {}, mean {:.1f}", key(low), a_.otsu_low_count,
                   a_.otsu_threshold, a_.otsu_low_mean),
            format("{} {} above, mean {:.1f}", key(high), a_.otsu_high_count, a_.otsu_high_mean));
  }

  void block_panel(const std::vector<uint8_t> &values, const shading &s,
                   const std::string &figures) {
    const block_summary &b = a_.blocks;
    scale(s);
    if (values.empty()) return instead(format("No block of {0} x {0} pixels fits.", b.side));
    picture(a_.shown.pixels, kPale);
    image(area(b.left, b.top, b.columns * b.side, b.rows * b.side), values, s, b.columns, b.rows);
    const double cell = b.side * scale_, size = std::min(cell * 0.38, 13.0);
    constexpr double kRoomForNumbers = 22;
    for (size_t i = 0; i < values.size() && cell >= kRoomForNumbers; ++i) {
      const auto columns = static_cast<size_t>(b.columns);
      const box at = area(b.left + b.side * static_cast<double>(i % columns),
                          b.top + b.side * static_cast<double>(i / columns), b.side, b.side);
      const colour behind = s.at(values[i]);
      const bool light = 0.3 * behind.red + 0.6 * behind.green + 0.1 * behind.blue > 0.5;
      canvas_.text(at.x + cell / 2, at.y + cell / 2 + size * 0.36, format("{}", values[i]),
                   {.size = size, .ink = light ? kInk : kPaper, .where = align::kCentre});
    }
    const auto [low, high] = std::ranges::minmax(values);
    caption(format("{} x {} blocks of {} x {} pixels", b.columns, b.rows, b.side, b.side),
            format("{} to {}, {}", low, high, figures));
  }

  void block_means_panel() {
    block_panel(a_.blocks.means, kGreys, format("standard deviation {:.1f}", a_.blocks.means_sd));
  }

  void block_ranges_panel() {
    const std::vector<uint8_t> &ranges = a_.blocks.ranges;
    const double sum = std::accumulate(ranges.begin(), ranges.end(), 0.0);
    block_panel(ranges, {kHeat}, format("mean {:.1f}", sum / static_cast<double>(ranges.size())));
  }

  void median_panel() {
    picture(a_.median);
    const double pixels = static_cast<double>(a_.shown.size());
    caption(format("root mean square change {:.1f}",
                   std::sqrt(static_cast<double>(a_.median_distance) / pixels)),
            format("sum of squared differences {}", a_.median_distance));
  }

  void spikes_panel() {
    struct ring {
      double rim;
      double thickness;
      colour c;
    };
    picture(a_.despiked);
    for (const auto &[rim, thickness, c] : {ring{3, 3.5, kPaper}, ring{2, 1.5, kRing.c}}) {
      for (size_t i = 0; i < a_.despiked.size(); ++i) {
        if (a_.despiked[i] == a_.shown.pixels[i]) continue;
        canvas_.frame(pixel(i).grown(rim), thickness, c);
      }
    }
    caption(
        format("{} replaced {}, margin {}", key(kRing), a_.spikes_removed, settings_.spike_delta),
        format("spikes: strong {} (noise from {}), delta {} (from {})",
               a_.spikes.strong_spike_count, a_.strong_spike_limit + 1, a_.spikes.delta_spike_count,
               NOISE_DELTA_LIMIT + 1));
  }

  void equalised_panel() {
    picture(a_.equalised);
    caption(levels_in(a_.equalised), format("{} in the frame", levels_in(a_.shown.pixels)));
  }

  void equalised_white_panel() {
    picture(a_.equalised_white);
    caption(
        format("brightest {} % kept, {}", settings_.white_percent, levels_in(a_.equalised_white)),
        format("{} in the frame", levels_in(a_.shown.pixels)));
  }

  void histogram(const std::vector<uint8_t> &pixels, const std::vector<chart_line> &lines) {
    const std::vector<int32_t> counts = counts_of(pixels);
    chart(counts, 0, 64, lines);
    caption("pixels per level, square root scale",
            format("highest bar {} pixels", std::ranges::max(counts)));
  }

  void histogram_panel() {
    std::vector<chart_line> lines = {
        {settings_.low, format("low < {}", settings_.low), {2, 3}},
        {a_.mean, format("mean {}", a_.mean), {}},
        {settings_.high, format("high > {}", settings_.high), {8, 3, 2, 3}},
    };
    if (a_.has_otsu_split()) {
      lines.push_back({a_.otsu_threshold, format("Otsu {}", a_.otsu_threshold), {6, 3}});
    }
    histogram(a_.shown.pixels, lines);
  }

  void histogram_equalised_panel() { histogram(a_.equalised, {}); }

  const analysis &a_;
  const inspect_settings &settings_;
};

const contact_sheet::panel contact_sheet::kPanels[] = {
    {"frame", "Frame", &contact_sheet::frame_panel},
    {"marks", "Defect marks", &contact_sheet::marks_panel},
    {"water", "Dark rows and columns", &contact_sheet::water_panel},
    {"otsu", "Otsu split", &contact_sheet::otsu_panel},
    {"block-means", "Block means", &contact_sheet::block_means_panel},
    {"block-ranges", "Block dynamic range", &contact_sheet::block_ranges_panel},
    {"median", "Median filtered", &contact_sheet::median_panel},
    {"spikes", "Spikes removed", &contact_sheet::spikes_panel},
    {"equalised", "Equalised", &contact_sheet::equalised_panel},
    {"histogram", "Histogram", &contact_sheet::histogram_panel},
    {"histogram-equalised", "Histogram, equalised", &contact_sheet::histogram_equalised_panel},
    {"equalised-white", "Equalised, brightest kept", &contact_sheet::equalised_white_panel},
};

}  // namespace

std::vector<std::string> panel_names() {
  std::vector<std::string> names;
  for (const contact_sheet::panel &p : contact_sheet::kPanels) names.emplace_back(p.name);
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
                         const analysis &a, const inspect_settings &settings,
                         const std::string &panel) {
  contact_sheet s(a, settings, panel.empty() ? 4 : 1, panel.empty() ? 3 : 1);
  s.draw(title, panel);
  save_sheet(file, s.png());
}

}  // namespace tools
