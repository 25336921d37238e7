#include "tools/image/contact_sheet.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "tools/image/canvas.h"

namespace tools {

namespace {

constexpr double kMargin = 24;
constexpr double kGap = 22;
constexpr double kNarrowest = 264;  // mat under a panel's picture: holds a histogram
constexpr double kLowest = 200;
constexpr double kLargestPicture = 340;
constexpr double kRim = 4;  // of the mat around the picture
constexpr double kTitle = 24;
constexpr double kCaption = 42;
constexpr double kHeader = 92;
constexpr double kSmall = 11.5;
constexpr int32_t kColumns = 4;
constexpr int32_t kRows = 3;

constexpr colour kPaper = grey(1);
constexpr colour kInk = grey(0.12);
constexpr colour kFaint = grey(0.42);
constexpr colour kMat = {0.90, 0.91, 0.93};
constexpr colour kHigh = {0.90, 0.16, 0.12};
constexpr colour kLow = {0.10, 0.42, 0.95};
constexpr colour kDeviation = {0.98, 0.74, 0.02};
constexpr colour kHighlight = {0.80, 0.00, 0.75};
constexpr colour kDarkRow = {0.00, 0.62, 0.82};
constexpr colour kDarkColumn = {0.93, 0.45, 0.05};
constexpr colour kChanged = {0.00, 0.70, 0.25};
constexpr colour kGood = {0.10, 0.52, 0.25};
constexpr colour kBad = {0.78, 0.13, 0.13};

std::string format(const char *pattern, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, pattern);
  vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  return text;
}

uint32_t packed(colour c) {
  const auto byte = [](double part) { return static_cast<uint32_t>(std::lround(part * 255)); };
  return byte(c.red) << 16 | byte(c.green) << 8 | byte(c.blue);
}

colour mixed(colour from, colour to, double part) {
  return {from.red + (to.red - from.red) * part, from.green + (to.green - from.green) * part,
          from.blue + (to.blue - from.blue) * part};
}

// Dark violet over green to yellow: rises in brightness, so that it also reads without colours.
colour heat(double part) {
  constexpr colour kStops[] = {{0.27, 0.00, 0.33},
                               {0.23, 0.32, 0.55},
                               {0.13, 0.57, 0.55},
                               {0.37, 0.79, 0.38},
                               {0.99, 0.91, 0.14}};
  constexpr size_t kLast = std::size(kStops) - 1;
  const double at = std::clamp(part, 0.0, 1.0) * kLast;
  const size_t stop = std::min(static_cast<size_t>(at), kLast - 1);
  return mixed(kStops[stop], kStops[stop + 1], at - static_cast<double>(stop));
}

struct legend_entry {
  colour c;
  std::string text;
};

// Whole pixels where the frame is small enough to be enlarged.
double scale_for(const frame &f) {
  const double scale = kLargestPicture / std::max(f.width, f.height);
  return scale > 1 ? std::floor(scale) : scale;
}

double mat_side(int32_t pixels, double scale, double least) {
  return std::max(std::ceil(pixels * scale) + 2 * kRim, least);
}

// The whole sheet's length for so many panels with margins of their own.
double across(int32_t panels, double side) {
  return 2 * kMargin + panels * side + (panels - 1) * kGap;
}

class sheet {
 public:
  sheet(const analysis &a, const inspect_settings &settings)
      : a_(a),
        settings_(settings),
        scale_(scale_for(a.shown)),
        width_(mat_side(a.shown.width, scale_, kNarrowest)),
        height_(mat_side(a.shown.height, scale_, kLowest)),
        canvas_(static_cast<int32_t>(across(kColumns, width_)),
                static_cast<int32_t>(kHeader + across(kRows, panel_height()) - kMargin), kPaper) {}

  void draw(const std::string &title) {
    header(title);
    frame_panel();
    marks_panel();
    water_panel();
    otsu_panel();
    block_panel("Block means", a_.blocks.means, false);
    block_panel("Block dynamic range", a_.blocks.ranges, true);
    median_panel();
    despiked_panel();
    equalised_panel();
    histogram_panel("Histogram", a_.shown.pixels, true);
    histogram_panel("Histogram, equalised", a_.equalised, false);
    equalised_white_panel();
  }

  void write(const std::filesystem::path &file) { canvas_.write_png(file); }

 private:
  double panel_height() const { return kTitle + height_ + kCaption; }

  // Begins the next panel: its title and the mat that its picture lies on.
  void begin(const std::string &title) {
    const int32_t column = panels_ % kColumns, row = panels_ / kColumns;
    ++panels_;
    x_ = kMargin + column * (width_ + kGap);
    y_ = kHeader + row * (panel_height() + kGap);
    canvas_.text(x_, y_ + kTitle - 8, title, 14, kInk, align::kLeft, true);
    y_ += kTitle;
    canvas_.fill({x_, y_, width_, height_}, kMat);
    const double width = a_.shown.width * scale_, height = a_.shown.height * scale_;
    picture_ = {x_ + std::floor((width_ - width) / 2), y_ + std::floor((height_ - height) / 2),
                width, height};
  }

  void caption(const std::string &first, const std::string &second = "") {
    canvas_.text(x_, y_ + height_ + 17, first, kSmall, kInk, align::kLeft, false, width_);
    canvas_.text(x_, y_ + height_ + 34, second, kSmall, kFaint, align::kLeft, false, width_);
  }

  // As a line of the caption.
  void legend(const std::vector<legend_entry> &entries, int32_t line = 0) {
    constexpr double kSwatch = 9, kAfterSwatch = 4, kAfterText = 11;
    double length = -kAfterText;
    for (const legend_entry &entry : entries) {
      length += kSwatch + kAfterSwatch + canvas_.text_width(entry.text, kSmall) + kAfterText;
    }
    const double shrink = std::min(1.0, width_ / length);
    const double base = y_ + height_ + 17 + line * 17;
    double x = x_;
    for (const legend_entry &entry : entries) {
      canvas_.fill({x, base - kSwatch, kSwatch * shrink, kSwatch}, entry.c);
      x += (kSwatch + kAfterSwatch) * shrink;
      const double width = canvas_.text_width(entry.text, kSmall) * shrink;
      canvas_.text(x, base, entry.text, kSmall, line == 0 ? kInk : kFaint, align::kLeft, false,
                   width);
      x += width + kAfterText * shrink;
    }
  }

  // A note in the panel's middle, in place of a picture.
  void instead(const std::string &first, const std::string &second) {
    canvas_.text(x_ + width_ / 2, y_ + height_ / 2 - 4, first, 13, kFaint, align::kCentre);
    canvas_.text(x_ + width_ / 2, y_ + height_ / 2 + 15, second, 13, kFaint, align::kCentre);
  }

  template <typename Level>
  void picture(Level level_of) {
    std::vector<uint32_t> rgb(a_.shown.pixels.size());
    for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = level_of(i);
    canvas_.image(picture_, rgb, a_.shown.width, a_.shown.height);
  }

  void picture(const std::vector<uint8_t> &pixels) {
    picture([&](size_t i) { return uint32_t{pixels[i]} * 0x010101u; });
  }

  // Towards white, so that colours stand out.
  void pale_picture() {
    picture([&](size_t i) { return (110 + a_.shown.pixels[i] * 145u / 255) * 0x010101u; });
  }

  box area(double x, double y, double width, double height) const {
    return {picture_.x + x * scale_, picture_.y + y * scale_, width * scale_, height * scale_};
  }
  box pixel(size_t i) const {
    const auto width = static_cast<size_t>(a_.shown.width);
    return area(static_cast<double>(i % width), static_cast<double>(i / width), 1, 1);
  }

  void chip(double &right, const std::string &text, colour c) {
    const double width = canvas_.text_width(text, 13, true) + 24;
    right -= width;
    canvas_.fill_rounded({right, 28, width, 28}, 8, c);
    canvas_.text(right + 12, 47, text, 13, kPaper, align::kLeft, true);
    right -= 10;
  }

  void header(const std::string &title) {
    double right = across(kColumns, width_) - kMargin;
    if (a_.raw) {
      chip(right, a_.raw->white_noise ? "white noise" : "no white noise",
           a_.raw->white_noise ? kBad : kGood);
    }
    chip(right, a_.noise_result != 0 ? "noise" : "no noise", a_.noise_result != 0 ? kBad : kGood);
    chip(right, a_.water ? "water" : "no water", a_.water ? kBad : kGood);
    if (!a_.evaluation) {
      chip(right, "not evaluated", grey(0.5));
    } else {
      const bool defect = a_.evaluation->defect_found != 0;
      chip(right, defect ? "defect" : "no defect", defect ? kBad : kGood);
    }
    canvas_.text(kMargin, 46, title, 20, kInk, align::kLeft, true, right - kMargin - 10);
    std::string line = format("%d x %d pixels of 8 bits", a_.shown.width, a_.shown.height);
    if (a_.raw) {
      line = format(
          "%d x %d samples of 16 bits%s; the upper 8 of the %d bits in use; %d saturated "
          "(white noise from 100)",
          a_.raw->width, a_.raw->height, a_.raw->dummy_removed ? ", shown without the T dummy" : "",
          a_.raw->sample_bits, a_.raw->saturated);
    }
    canvas_.text(kMargin, 70, line, 13, kFaint);
  }

  void frame_panel() {
    begin("Frame");
    picture(a_.shown.pixels);
    const std::string centre = a_.center_mean < 0 ? "does not fit" : format("%d", a_.center_mean);
    caption(format("mean %d, minimum %d, standard deviation %.1f", a_.mean, a_.minimum, a_.std_dev),
            format("middle %d x %d: ", a_.center, a_.center) + centre +
                format("; quarters %d %d / %d %d", a_.quadrant_means[0], a_.quadrant_means[1],
                       a_.quadrant_means[2], a_.quadrant_means[3]));
  }

  // A band over marked pixels, from the middle of one area to that of another.
  void band(pixel_place first, pixel_place last, int32_t thickness, double rim, colour c) {
    const double middle = thickness / 2.0;
    const box from = area(first.x + middle, first.y + middle, 0, 0);
    const box to = area(last.x + middle, last.y + middle, 0, 0);
    canvas_.line(from.x, from.y, to.x, to.y, thickness * scale_ + 2 * rim, c);
  }

  // The outline that the marks of clusters and of the longest run are then drawn into.
  void outline_shapes() {
    const pixel_run &run = a_.longest_run;
    const int32_t steps = run.length - 1;
    const pixel_place last = {run.start.x + run.step.x * steps, run.start.y + run.step.y * steps};
    for (const auto &[rim, c] : {std::pair(3.5, kHighlight), std::pair(1.25, kPaper)}) {
      for (const pixel_place cluster : a_.clusters) band(cluster, cluster, 2, rim, c);
      if (steps > 0) band(run.start, last, 1, rim, c);
    }
  }

  void marks_panel() {
    begin("Defect marks");
    if (!a_.evaluation) {
      instead("The evaluation takes frames of", format("at most %d pixels.", EVAL_MARK_MAP_SIZE));
      caption("not evaluated", format("this frame has %zu pixels", a_.shown.pixels.size()));
      return;
    }
    const image_eval_record &e = *a_.evaluation;
    pale_picture();
    outline_shapes();
    for (size_t i = 0; i < a_.shown.pixels.size(); ++i) {
      const uint8_t mark = e.mark_map[i];
      if (mark == 0) continue;
      const box b = pixel(i);
      if (mark & MARK_DEVIATION) canvas_.fill(b, kDeviation);
      // A second kind leaves the upper half.
      const double left = mark & MARK_DEVIATION ? b.height / 2 : 0;
      const box inner = {b.x, b.y + left, b.width, b.height - left};
      if (mark & MARK_LOW) canvas_.fill(inner, kLow);
      if (mark & MARK_HIGH) canvas_.fill(inner, kHigh);
    }
    legend({{kHigh, format("high %d", e.high_count)},
            {kLow, format("low %d", e.low_count)},
            {kDeviation, format("deviating %d", e.deviation_count)},
            {kHighlight, format("run %d", e.max_run)}});
    caption("", format("high > %d, low < %d, deviation > %d; %zu clusters", e.high_threshold,
                       e.low_threshold, e.deviation_threshold, a_.clusters.size()));
  }

  void water_panel() {
    begin("Dark rows and columns");
    pale_picture();
    const auto shade = [](colour c, double alpha) { return colour{c.red, c.green, c.blue, alpha}; };
    const auto draw = [&](const dark_lines &dark, colour c, auto place) {
      for (size_t i = 0; i < dark.lines.size(); ++i) {
        if (!dark.lines[i]) continue;
        canvas_.fill(place(static_cast<double>(i), dark.lines[i]->first, dark.lines[i]->length),
                     shade(c, 0.6));
      }
    };
    draw(a_.dark_rows, kDarkRow,
         [&](double i, double first, double length) { return area(first, i, length, 1); });
    draw(a_.dark_columns, kDarkColumn,
         [&](double i, double first, double length) { return area(i, first, 1, length); });
    legend({{kDarkRow, format("rows %d", a_.dark_rows.qualifying)},
            {kDarkColumn, format("columns %d", a_.dark_columns.qualifying)}});
    caption("", format("longest streaks %d, %d (water from 21): ", a_.dark_rows.longest_streak,
                       a_.dark_columns.longest_streak) +
                    (a_.water ? "water" : "none"));
  }

  void otsu_panel() {
    begin("Otsu split");
    picture([&](size_t i) {
      return packed(a_.shown.pixels[i] <= a_.otsu_threshold ? grey(0.15) : grey(0.82));
    });
    legend({{grey(0.15), format("%u of at most %d, mean %.1f", a_.otsu_low_count, a_.otsu_threshold,
                                a_.otsu_low_mean)}});
    legend({{grey(0.82), format("%u above, mean %.1f", a_.otsu_high_count, a_.otsu_high_mean)}}, 1);
  }

  void block_panel(const std::string &title, const std::vector<uint8_t> &values, bool heat_map) {
    begin(title);
    const block_summary &b = a_.blocks;
    if (heat_map) heat_scale();
    if (values.empty()) {
      instead("No block fits the frame.", format("Blocks have %d x %d pixels.", b.side, b.side));
      caption("no block");
      return;
    }
    pale_picture();
    const double cell = b.side * scale_;
    for (size_t i = 0; i < values.size(); ++i) {
      const auto columns = static_cast<size_t>(b.columns);
      const box at = area(b.left + b.side * static_cast<double>(i % columns),
                          b.top + b.side * static_cast<double>(i / columns), b.side, b.side);
      const double part = values[i] / 255.0;
      canvas_.fill(at, heat_map ? heat(part) : grey(part));
      if (cell < 22) continue;
      const bool on_light = part > (heat_map ? 0.6 : 0.5);
      const double size = std::min(cell * 0.38, 13.0);
      canvas_.text(at.x + cell / 2, at.y + cell / 2 + size * 0.36, format("%d", values[i]), size,
                   on_light ? kInk : kPaper, align::kCentre);
    }
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    double sum = 0;
    for (const uint8_t value : values) sum += value;
    caption(format("%d x %d blocks of %d x %d pixels", b.columns, b.rows, b.side, b.side),
            heat_map ? format("%d to %d, mean %.1f", *low, *high,
                              sum / static_cast<double>(values.size()))
                     : format("%d to %d, standard deviation %.1f", *low, *high, b.means_sd));
  }

  // Beside the title.
  void heat_scale() {
    constexpr double kLength = 44;
    const double x = x_ + width_ - kLength - 26, y = y_ - 17;
    for (int32_t i = 0; i < static_cast<int32_t>(kLength); ++i) {
      canvas_.fill({x + i, y, 1, 9}, heat(i / (kLength - 1)));
    }
    canvas_.text(x - 4, y + 8.5, "0", 11, kFaint, align::kRight);
    canvas_.text(x_ + width_, y + 8.5, "255", 11, kFaint, align::kRight);
  }

  void median_panel() {
    begin("Median filtered");
    picture(a_.median);
    const double pixels = static_cast<double>(a_.shown.pixels.size());
    caption(format("root mean square change %.1f", std::sqrt(a_.median_distance / pixels)),
            format("sum of squared differences %u", a_.median_distance));
  }

  void despiked_panel() {
    begin("Spikes removed");
    picture(a_.despiked);
    for (size_t i = 0; i < a_.despiked.size(); ++i) {
      if (a_.despiked[i] == a_.shown.pixels[i]) continue;
      const box b = pixel(i);
      canvas_.frame({b.x - 1.5, b.y - 1.5, b.width + 3, b.height + 3}, 1.5, kChanged);
    }
    legend(
        {{kChanged, format("replaced %d, margin %d", a_.spikes_removed, settings_.spike_delta)}});
    caption("", format("spikes: strong %u (noise from %d), delta %u (from %d)",
                       a_.noise.strong_spike_count, a_.strong_spike_limit + 1,
                       a_.noise.delta_spike_count, NOISE_DELTA_LIMIT + 1));
  }

  void equalised_panel() {
    begin("Equalised");
    picture(a_.equalised);
    caption(format("%d grey levels", levels_in(a_.equalised)),
            format("of %d in the frame", levels_in(a_.shown.pixels)));
  }

  void equalised_white_panel() {
    begin(format("Equalised, top %d %% kept", settings_.white_percent));
    picture(a_.equalised_white);
    caption(format("%d grey levels", levels_in(a_.equalised_white)),
            format("of %d in the frame", levels_in(a_.shown.pixels)));
  }

  static std::vector<int32_t> counts_of(const std::vector<uint8_t> &pixels) {
    std::vector<int32_t> counts(256);
    for (const uint8_t p : pixels) ++counts[p];
    return counts;
  }

  static int32_t levels_in(const std::vector<uint8_t> &pixels) {
    const std::vector<int32_t> counts = counts_of(pixels);
    return static_cast<int32_t>(
        std::count_if(counts.begin(), counts.end(), [](int32_t n) { return n != 0; }));
  }

  // With square roots a few full levels do not flatten all others.
  void histogram_panel(const std::string &title, const std::vector<uint8_t> &pixels,
                       bool with_limits) {
    constexpr double kFoot = 20;
    begin(title);
    const std::vector<int32_t> counts = counts_of(pixels);
    const int32_t most = *std::max_element(counts.begin(), counts.end());
    const double left = x_ + (width_ - 256) / 2, bottom = y_ + height_ - kFoot;
    const double height = height_ - kFoot - 8;
    for (size_t level = 0; level < counts.size(); ++level) {
      const double bar = height * std::sqrt(static_cast<double>(counts[level]) / most);
      canvas_.fill({left + static_cast<double>(level), bottom - bar, 1, bar}, grey(0.3));
    }
    canvas_.fill({left, bottom, 256, 1}, kInk);
    for (const int32_t tick : {0, 64, 128, 192, 255}) {
      canvas_.fill({left + tick, bottom, 1, 4}, kInk);
      const align where = tick == 0 ? align::kLeft : tick == 255 ? align::kRight : align::kCentre;
      canvas_.text(left + tick + (tick == 255 ? 1 : 0), bottom + 15, format("%d", tick), 10, kInk,
                   where);
    }
    const std::string scale = format("square root scale; highest bar %d pixels", most);
    if (!with_limits) {
      caption(scale);
      return;
    }
    const auto limit = [&](int32_t level, colour c) {
      if (level >= 0 && level <= 255) canvas_.fill({left + level, y_ + 4, 1.5, bottom - y_ - 4}, c);
    };
    limit(settings_.low, kLow);
    limit(settings_.high, kHigh);
    limit(a_.otsu_threshold, kHighlight);
    limit(a_.mean, kChanged);
    legend({{kLow, "low"}, {kHigh, "high"}, {kHighlight, "Otsu"}, {kChanged, "mean"}});
    caption("", scale);
  }

  const analysis &a_;
  const inspect_settings &settings_;
  const double scale_;  // from the frame's pixels to the picture's
  const double width_;  // of the mat
  const double height_;
  canvas canvas_;
  int32_t panels_ = 0;    // begun so far
  double x_ = 0, y_ = 0;  // of the current panel's mat
  box picture_{};
};

}  // namespace

void write_contact_sheet(const std::filesystem::path &file, const std::string &title,
                         const analysis &a, const inspect_settings &settings) {
  sheet s(a, settings);
  s.draw(title);
  s.write(file);
}

}  // namespace tools
