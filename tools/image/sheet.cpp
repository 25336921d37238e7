#include "tools/image/sheet.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

#include "tools/image/frame_file.h"

namespace tools {

namespace {

constexpr double kMargin = 24;
constexpr double kGap = 22;
constexpr double kTitle = 24;
constexpr double kCaption = 42;
constexpr double kHeader = 92;

// Of the mat around a picture or a chart, with room for the numbers of ticks.
constexpr double kLeftRim = 32;
constexpr double kRightRim = 10;
constexpr double kTopRim = 8;
constexpr double kBottomRim = 20;
constexpr double kNarrowest = 256;
constexpr double kLowest = 190;

constexpr double kTickText = 10;

double whole_if_large(double scale) { return scale > 1 ? std::floor(scale) : scale; }

double placed(int32_t index, double side, double gap) { return index * (side + gap); }

// 1, 2 or 5 times a power of ten: the first of at least least.
int32_t round_step(double least) {
  for (int32_t power = 1;; power *= 10) {
    for (const int32_t step : {power, 2 * power, 5 * power}) {
      if (step >= least) return step;
    }
  }
}

}  // namespace

uint32_t packed(colour c) {
  const auto byte = [](double part) { return static_cast<uint32_t>(std::lround(part * 255)); };
  return byte(c.red) << 16 | byte(c.green) << 8 | byte(c.blue);
}

colour heat(double part) {
  constexpr std::array<colour, 5> kStops = {{{0.27, 0.00, 0.33},
                                             {0.23, 0.32, 0.55},
                                             {0.13, 0.57, 0.55},
                                             {0.37, 0.79, 0.38},
                                             {0.99, 0.91, 0.14}}};
  constexpr size_t kLast = kStops.size() - 1;
  const double at = std::clamp(part, 0.0, 1.0) * kLast;
  const size_t stop = std::min(static_cast<size_t>(at), kLast - 1);
  const double rest = at - static_cast<double>(stop);
  const colour &from = kStops[stop], &to = kStops[stop + 1];
  return {std::lerp(from.red, to.red, rest), std::lerp(from.green, to.green, rest),
          std::lerp(from.blue, to.blue, rest)};
}

double sheet::panel_height() const { return kTitle + height_ + kCaption; }

// Whole pixels where the frame is small enough to be enlarged.
sheet::sheet(int32_t frame_width, int32_t frame_height, const plan &p)
    : plan_(p),
      frame_width_(frame_width),
      frame_height_(frame_height),
      scale_(whole_if_large(p.largest / std::max(frame_width, frame_height))),
      width_(std::max(std::ceil(frame_width * scale_), kNarrowest) + kLeftRim + kRightRim),
      height_(std::max(std::ceil(frame_height * scale_), kLowest) + kTopRim + kBottomRim),
      canvas_(static_cast<int32_t>(2 * kMargin + placed(p.columns, width_, kGap) - kGap),
              static_cast<int32_t>((p.header ? kHeader : kMargin) +
                                   placed(p.rows, panel_height(), kGap) - kGap + kMargin),
              palette::kPaper) {}

void sheet::write(const std::filesystem::path &file) { save_sheet(file, canvas_.png()); }

void sheet::header(const std::string &title, const std::string &line,
                   const std::vector<badge> &badges) {
  constexpr double kGlyph = 13, kPad = 14;
  const text_style style = {.size = 13, .ink = palette::kPaper, .bold = true};
  double right = canvas_.width() - kMargin;
  for (const badge &b : badges) {
    const double width = canvas_.text_width(b.text, style) + kGlyph + 7 + 2 * kPad;
    right -= width;
    canvas_.line({right + 14, 42}, {right + width - 14, 42}, 28, b.c);
    canvas_.draw(b.glyph, {right + kPad, 35.5, kGlyph, kGlyph}, palette::kPaper);
    canvas_.text(right + kPad + kGlyph + 7, 47, b.text, style);
    right -= 10;
  }
  canvas_.text(kMargin, 46, title, {.size = 20, .bold = true, .widest = right - kMargin - 10});
  canvas_.text(kMargin, 70, line,
               {.size = 13, .ink = palette::kFaint, .widest = canvas_.width() - 2 * kMargin});
}

void sheet::begin(const std::string &title) {
  const int32_t column = panels_ % plan_.columns, row = panels_ / plan_.columns;
  ++panels_;
  x_ = kMargin + placed(column, width_, kGap);
  y_ = (plan_.header ? kHeader : kMargin) + placed(row, panel_height(), kGap);
  canvas_.text(x_, y_ + kTitle - 8, title, {.size = 14, .bold = true, .widest = width_ - 100});
  y_ += kTitle;
  canvas_.fill({x_, y_, width_, height_}, palette::kMat);
  const double width = std::max(frame_width_ * scale_, 1.0);
  const double height = std::max(frame_height_ * scale_, 1.0);
  picture_ = {x_ + kLeftRim + std::floor((width_ - kLeftRim - kRightRim - width) / 2),
              y_ + kTopRim + std::floor((height_ - kTopRim - kBottomRim - height) / 2), width,
              height};
}

void sheet::caption(const std::string &first, const std::string &second) {
  canvas_.text(x_, y_ + height_ + 17, first, {.widest = width_});
  canvas_.text(x_, y_ + height_ + 34, second, {.ink = palette::kFaint, .widest = width_});
}

void sheet::legend(const std::vector<legend_entry> &entries, int32_t line) {
  constexpr double kSwatch = 10, kAfterSwatch = 5, kAfterText = 12;
  double length = -kAfterText;
  for (const legend_entry &entry : entries) {
    length += kSwatch + kAfterSwatch + canvas_.text_width(entry.text, {}) + kAfterText;
  }
  const double shrink = std::min(1.0, width_ / length);
  const double base = y_ + height_ + 17 + line * 17;
  double x = x_;
  for (const legend_entry &entry : entries) {
    canvas_.draw(entry.mark, {x, base - kSwatch + 0.5, kSwatch * shrink, kSwatch}, entry.c);
    x += (kSwatch + kAfterSwatch) * shrink;
    const double width = canvas_.text_width(entry.text, {}) * shrink;
    canvas_.text(x, base, entry.text, {.widest = width});
    x += width + kAfterText * shrink;
  }
}

void sheet::instead(const std::string &first, const std::string &second) {
  const text_style style = {.size = 13, .ink = palette::kFaint, .where = align::kCentre};
  canvas_.text(x_ + width_ / 2, y_ + height_ / 2 - 4, first, style);
  canvas_.text(x_ + width_ / 2, y_ + height_ / 2 + 15, second, style);
}

void sheet::draw_scale(const std::vector<uint32_t> &rgb, const std::string &low,
                       const std::string &high) {
  text_style style = {.size = kTickText, .ink = palette::kFaint, .where = align::kRight};
  const double right = x_ + width_ - canvas_.text_width(high, style) - 4;
  canvas_.text(x_ + width_, y_ - 8.5, high, style);
  canvas_.image({right - kScaleLength, y_ - 17, kScaleLength, 9}, rgb, kScaleLength, 1);
  canvas_.frame({right - kScaleLength - 1, y_ - 18, kScaleLength + 2, 11}, 1, palette::kIdle);
  canvas_.text(right - kScaleLength - 4, y_ - 8.5, low, style);
}

// Columns below the picture and rows left of it, at the middles of their pixels.
void sheet::ticks() {
  constexpr double kApart = 36, kLength = 4;
  const int32_t step = round_step(kApart / scale_);
  const double bottom = picture_.y + picture_.height, left = picture_.x;
  for (int32_t x = 0; x < frame_width_; x += step) {
    const double at = left + (x + 0.5) * scale_;
    canvas_.fill({at - 0.5, bottom, 1, kLength}, palette::kInk);
    canvas_.text(at, bottom + 14, fmt::format("{}", x),
                 {.size = kTickText, .where = align::kCentre});
  }
  for (int32_t y = 0; y < frame_height_; y += step) {
    const double at = picture_.y + (y + 0.5) * scale_;
    canvas_.fill({left - kLength, at - 0.5, kLength, 1}, palette::kInk);
    canvas_.text(left - kLength - 2, at + 3.5, fmt::format("{}", y),
                 {.size = kTickText, .where = align::kRight, .widest = kLeftRim - kLength - 4});
  }
}

box sheet::area(double x, double y, double width, double height, double least) const {
  const double across = std::max(width * scale_, least), down = std::max(height * scale_, least);
  return {picture_.x + (x + width / 2) * scale_ - across / 2,
          picture_.y + (y + height / 2) * scale_ - down / 2, across, down};
}

box sheet::pixel(size_t i, double least) const {
  const auto width = static_cast<size_t>(frame_width_);
  return area(static_cast<double>(i % width), static_cast<double>(i / width), 1, 1, least);
}

void sheet::label(point at, const std::string &text, colour c) {
  const text_style style = {.ink = c, .bold = true, .halo = true};
  const double most = x_ + width_ - 4 - canvas_.text_width(text, style);
  canvas_.text(std::clamp(at.x, x_ + 4, std::max(most, x_ + 4)),
               std::clamp(at.y, y_ + kSmallText + 2, y_ + height_ - 4), text, style);
}

void sheet::chart(const std::vector<int32_t> &counts, int32_t first, int32_t step,
                  const std::vector<chart_line> &lines) {
  const double levels = static_cast<double>(counts.size());
  const double bar = std::floor((width_ - kLeftRim - kRightRim) / levels * 4) / 4;
  const double left =
      x_ + kLeftRim + std::floor((width_ - kLeftRim - kRightRim - bar * levels) / 2);
  const double bottom = y_ + height_ - kBottomRim;
  // The lines' names stand above one another, so that neighbours do not run into each other.
  constexpr double kName = 13;
  const double head = kTopRim + kName * static_cast<double>(lines.size());
  const double height = height_ - kBottomRim - head;
  const int32_t most = std::max(*std::max_element(counts.begin(), counts.end()), 1);
  const auto rise = [&](int32_t count) { return height * std::sqrt(1.0 * count / most); };
  const auto across = [&](int32_t level) { return left + bar * (level - first + 0.5); };

  double below = 0;
  for (int32_t count = 0; count <= most; count = round_step(count + 1)) {
    const double y = bottom - rise(count);
    if (count != 0 && rise(count) - below < 22) continue;
    below = rise(count);
    if (count != 0) canvas_.fill({left, y - 0.5, bar * levels, 1}, grey(0.82));
    canvas_.fill({left - 4, y - 0.5, 4, 1}, palette::kInk);
    canvas_.text(left - 6, y + 3.5, fmt::format("{}", count),
                 {.size = kTickText, .where = align::kRight, .widest = kLeftRim - 8});
  }
  for (size_t i = 0; i < counts.size(); ++i) {
    const double top = rise(counts[i]);
    canvas_.fill({left + bar * static_cast<double>(i), bottom - top, bar, top}, grey(0.35));
  }
  canvas_.fill({left - 0.5, bottom - height, 1, height}, palette::kInk);
  canvas_.fill({left, bottom, bar * levels, 1}, palette::kInk);
  const int32_t last = first + static_cast<int32_t>(counts.size()) - 1;
  for (int32_t i = first; i < last + step; i += step) {
    const int32_t level = std::min(i, last);
    canvas_.fill({across(level) - 0.5, bottom, 1, 4}, palette::kInk);
    canvas_.text(across(level), bottom + 14, fmt::format("{}", level),
                 {.size = kTickText, .where = align::kCentre});
  }
  const auto base = [&](size_t i) { return y_ + kTopRim + 7 + kName * static_cast<double>(i); };
  for (size_t i = 0; i < lines.size(); ++i) {
    const double x = across(lines[i].level);
    if (lines[i].level < first || lines[i].level > last) continue;
    canvas_.line({x, bottom}, {x, base(i) + 3}, 1.5, palette::kPurple, lines[i].dashes);
  }
  for (size_t i = 0; i < lines.size(); ++i) {
    label({across(lines[i].level) - 8, base(i)}, lines[i].name, palette::kPurple);
  }
}

}  // namespace tools
