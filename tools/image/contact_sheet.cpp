#include "tools/image/contact_sheet.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "tools/image/sheet.h"

namespace tools {

namespace {

using namespace palette;
using fmt::format;

constexpr sheet::plan kContactPlan = {4, 3, 340, true};
constexpr sheet::plan kSinglePlan = {1, 1, 1024, false};

badge badge_for(const verdict &v, const char *found, const char *clear) {
  if (!v.possible) return {shape::kDash, kIdle, format("{}: not applicable", found)};
  return v.found ? badge{shape::kCross, kBad, found} : badge{shape::kTick, kGood, clear};
}

std::vector<int32_t> counts_of(const std::vector<uint8_t> &pixels) {
  std::vector<int32_t> counts(256);
  for (const uint8_t p : pixels) ++counts[p];
  return counts;
}

std::string levels_in(const std::vector<uint8_t> &pixels) {
  return format("grey levels: {}", 256 - std::ranges::count(counts_of(pixels), 0));
}

class contact_sheet : public sheet {
 public:
  contact_sheet(const analysis &a, const inspect_settings &settings, const plan &p)
      : sheet(a.shown.width, a.shown.height, p), a_(a), settings_(settings) {}

  void draw(const std::string &title) {
    header(title, frame_facts(a_),
           {badge_for(a_.white_noise, "white noise", "no white noise"),
            badge_for(a_.noise, "noise", "no noise"), badge_for(a_.water, "water", "no water"),
            badge_for(a_.defect, "defect", "no defect")});
    for (const panel &p : kPanels) draw_panel(p, p.title);
  }

  void draw_one(const std::string &name, const std::string &title) {
    const panel &p = *std::ranges::find(kPanels, name, &panel::name);
    draw_panel(p, format("{}: {}", title, p.title));
  }

  struct panel {
    std::string_view name;
    const char *title;
    void (contact_sheet::*draw)();
  };
  static const panel kPanels[12];

 private:
  void draw_panel(const panel &p, const std::string &title) {
    begin(title);
    (this->*p.draw)();
  }

  void frame_panel() {
    picture(a_.shown.pixels);
    caption(
        format("mean {}, minimum {}, standard deviation {:.1f}", a_.mean, a_.minimum, a_.std_dev),
        format("middle {0} x {0}: {1}; quarters {2}", a_.center,
               a_.center_mean < 0 ? "does not fit" : format("{}", a_.center_mean),
               format("{} {} / {} {}", a_.quadrant_means[0], a_.quadrant_means[1],
                      a_.quadrant_means[2], a_.quadrant_means[3])));
  }

  // The box around each cluster and the band around the longest run; the marks are drawn into them.
  void outline_shapes() {
    for (const pixel_cluster &c : a_.marked.clusters) {
      const box b = area(c.first.x, c.first.y, c.last.x - c.first.x + 1, c.last.y - c.first.y + 1,
                         kLeastMark);
      canvas_.frame({b.x - 4, b.y - 4, b.width + 8, b.height + 8}, 2, kPurple);
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
    pale_picture(a_.shown.pixels);
    outline_shapes();
    const auto draw_kind = [&](uint8_t kind, shape s, colour c) {
      draw_marks(s, c, [&](size_t i) { return (e.marks[i] & kind) != 0; });
    };
    draw_kind(MARK_DEVIATION, shape::kSquare, kYellow);
    draw_kind(MARK_LOW, shape::kDown, kBlue);
    draw_kind(MARK_HIGH, shape::kUp, kVermilion);
    const pixel_run &run = e.longest_run;
    if (run.length > 1) {
      const box start = pixel(static_cast<size_t>(run.start.y * a_.shown.width + run.start.x));
      label({start.x, start.y - 7},
            format("run {}: {},{} to {},{}", run.length, run.start.x, run.start.y, run.last().x,
                   run.last().y),
            kInk);
    }
    const auto bright = std::ranges::count(e.clusters, true, &pixel_cluster::bright);
    legend({{shape::kUp, kVermilion, format("high {}", e.high_count)},
            {shape::kDown, kBlue, format("low {}", e.low_count)},
            {shape::kSquare, kYellow, format("deviating {}", e.deviation_count)},
            {shape::kRing, kPurple,
             format("clusters {} bright, {} dark", bright, std::ssize(e.clusters) - bright)}});
    std::string limits = format("high > {}, low < {}, deviation > {}", settings_.high,
                                settings_.low, settings_.deviation);
    if (e.tiles > 1) limits += format("; in {} tiles", e.tiles);
    caption("", limits);
  }

  void water_panel() {
    pale_picture(a_.shown.pixels);
    // Narrower than a line, so that rows and columns show their direction.
    constexpr double kSide = 0.2;
    const auto strips = [&](const dark_lines &dark, bool rows, colour c) {
      for (size_t i = 0; i < dark.lines.size(); ++i) {
        if (!dark.lines[i]) continue;
        const auto [first, length] = *dark.lines[i];
        const double at = static_cast<double>(i) + kSide, wide = 1 - 2 * kSide;
        canvas_.fill(rows ? area(first, at, length, wide) : area(at, first, wide, length),
                     dark.in_water[i] ? c : grey(0.35));
      }
    };
    strips(a_.dark_rows, true, kBlue);
    strips(a_.dark_columns, false, kVermilion);
    legend({{shape::kAcross, kBlue, format("rows {}", a_.dark_rows.qualifying)},
            {shape::kUpright, kVermilion, format("columns {}", a_.dark_columns.qualifying)},
            {shape::kSquare, grey(0.35), "in too short a streak"}});
    caption("", format("longest streaks {} rows, {} columns; water from {}",
                       a_.dark_rows.longest_streak, a_.dark_columns.longest_streak,
                       WATER_STREAK_LIMIT + 1));
  }

  void otsu_panel() {
    if (!a_.has_otsu_split()) return instead("All pixels have one level.", "");
    constexpr colour kLowClass = grey(0.15), kHighClass = grey(0.82);
    picture([&](size_t i) {
      return packed(a_.shown.pixels[i] <= a_.otsu_threshold ? kLowClass : kHighClass);
    });
    legend({{shape::kSquare, kLowClass,
             format("{} of at most {}, mean {:.1f}", a_.otsu_low_count, a_.otsu_threshold,
                    a_.otsu_low_mean)}});
    legend({{shape::kSquare, kHighClass,
             format("{} above, mean {:.1f}", a_.otsu_high_count, a_.otsu_high_mean)}},
           1);
  }

  template <typename Colour>
  void block_panel(const std::vector<uint8_t> &values, Colour colour_of, double light,
                   const std::string &figures) {
    const block_summary &b = a_.blocks;
    scale(colour_of, "0", "255");
    if (values.empty()) {
      return instead("No block fits the frame.", format("Blocks have {0} x {0} pixels.", b.side));
    }
    pale_picture(a_.shown.pixels);
    std::vector<uint32_t> rgb;
    for (const uint8_t value : values) rgb.push_back(packed(colour_of(value / 255.0)));
    canvas_.image(area(b.left, b.top, b.columns * b.side, b.rows * b.side), rgb, b.columns, b.rows);
    const double cell = b.side * scale_;
    constexpr double kRoomForNumbers = 22;
    for (size_t i = 0; i < values.size() && cell >= kRoomForNumbers; ++i) {
      const auto columns = static_cast<size_t>(b.columns);
      const box at = area(b.left + b.side * static_cast<double>(i % columns),
                          b.top + b.side * static_cast<double>(i / columns), b.side, b.side);
      const double size = std::min(cell * 0.38, 13.0);
      canvas_.text(at.x + cell / 2, at.y + cell / 2 + size * 0.36, format("{}", values[i]),
                   {.size = size,
                    .ink = values[i] / 255.0 > light ? kInk : kPaper,
                    .where = align::kCentre});
    }
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    caption(format("{} x {} blocks of {} x {} pixels", b.columns, b.rows, b.side, b.side),
            format("{} to {}, {}", *low, *high, figures));
  }

  void block_means_panel() {
    block_panel(a_.blocks.means, grey, 0.5,
                format("standard deviation {:.1f}", a_.blocks.means_sd));
  }

  void block_ranges_panel() {
    double sum = 0;
    for (const uint8_t range : a_.blocks.ranges) sum += range;
    block_panel(a_.blocks.ranges, heat, 0.6,
                format("mean {:.1f}", sum / static_cast<double>(a_.blocks.ranges.size())));
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
    for (const auto &[rim, thickness, c] : {ring{3, 3.5, kPaper}, ring{2, 1.5, kPurple}}) {
      for (size_t i = 0; i < a_.despiked.size(); ++i) {
        if (a_.despiked[i] == a_.shown.pixels[i]) continue;
        const box b = pixel(i, kLeastMark);
        canvas_.frame({b.x - rim, b.y - rim, b.width + 2 * rim, b.height + 2 * rim}, thickness, c);
      }
    }
    legend({{shape::kRing, kPurple,
             format("replaced {}, margin {}", a_.spikes_removed, settings_.spike_delta)}});
    caption("", format("spikes: strong {} (noise from {}), delta {} (from {})",
                       a_.spikes.strong_spike_count, a_.strong_spike_limit + 1,
                       a_.spikes.delta_spike_count, NOISE_DELTA_LIMIT + 1));
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
            format("highest bar {} pixels", *std::max_element(counts.begin(), counts.end())));
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
  contact_sheet s(a, settings, panel.empty() ? kContactPlan : kSinglePlan);
  if (panel.empty()) {
    s.draw(title);
  } else {
    s.draw_one(panel, title);
  }
  s.write(file);
}

}  // namespace tools
