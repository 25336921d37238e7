#include "tools/image/sheet.h"

#include <cmath>
#include <fmt/format.h>
#include <set>
#include <utility>

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

// 1, 2 or 5 times a power of ten: the first of at least least.
int32_t round_step(double least) {
  for (int32_t power = 1;; power *= 10) {
    for (const int32_t step : {power, 2 * power, 5 * power}) {
      if (step >= least) return step;
    }
  }
}

// 0xRRGGBB.
uint32_t packed(colour c) {
  const auto byte = [](double part) { return static_cast<uint32_t>(std::lround(part * 255)); };
  return byte(c.red) << 16 | byte(c.green) << 8 | byte(c.blue);
}

}  // namespace

std::string key(const mark &m) {
  return fmt::format("<span foreground='#{:06x}' size='larger' weight='bold'>{}</span>",
                     packed(m.c), m.glyph);
}

colour shading::at(int32_t level) const {
  const size_t steps = colours.size() - 1;
  const double part = static_cast<double>(std::clamp(level, low, high) - low) / (high - low);
  const double place = part * static_cast<double>(steps);
  const size_t step = std::min(static_cast<size_t>(place), steps - 1);
  const double rest = place - static_cast<double>(step);
  const colour &from = colours[step], &to = colours[step + 1];
  return {std::lerp(from.red, to.red, rest), std::lerp(from.green, to.green, rest),
          std::lerp(from.blue, to.blue, rest)};
}

std::vector<uint32_t> shading::table() const {
  std::vector<uint32_t> shades;
  for (int32_t level = low; level <= high; ++level) shades.push_back(packed(at(level)));
  return shades;
}

// Whole pixels where the frame is small enough to be enlarged.
sheet::sheet(int32_t frame_width, int32_t frame_height, int32_t columns, int32_t rows)
    : columns_(columns),
      frame_width_(frame_width),
      frame_height_(frame_height),
      top_(columns == 1 ? kMargin : kHeader),
      scale_(whole_if_large((columns == 1 ? 1024.0 : 340.0) / std::max(frame_width, frame_height))),
      width_(std::max(std::ceil(frame_width * scale_), kNarrowest) + kLeftRim + kRightRim),
      height_(std::max(std::ceil(frame_height * scale_), kLowest) + kTopRim + kBottomRim),
      canvas_(2 * kMargin + columns * (width_ + kGap) - kGap,
              top_ + rows * (kTitle + height_ + kCaption + kGap) - kGap + kMargin) {}

void sheet::header(const std::string &title, const std::string &line,
                   const std::vector<badge> &badges) {
  const text_style style = {.size = 13, .ink = kPaper, .bold = true, .markup = true};
  double right = canvas_.width() - kMargin;
  for (const badge &b : badges) {
    constexpr double kPad = 14;
    const double left = right - canvas_.text_width(b.text, style) - 2 * kPad;
    canvas_.line({left + kPad, 42}, {right - kPad, 42}, 2 * kPad, b.c);
    canvas_.text(left + kPad, 47, b.text, style);
    right = left - 10;
  }
  canvas_.text(kMargin, 46, title, {.size = 20, .bold = true, .widest = right - kMargin - 10});
  canvas_.text(kMargin, 70, line,
               {.size = 13, .ink = kFaint, .widest = canvas_.width() - 2 * kMargin});
}

void sheet::begin(const std::string &title) {
  const int32_t column = panels_ % columns_, row = panels_ / columns_;
  ++panels_;
  x_ = kMargin + column * (width_ + kGap);
  y_ = top_ + row * (kTitle + height_ + kCaption + kGap) + kTitle;
  canvas_.text(x_, y_ - 8, title, {.size = 14, .bold = true, .widest = width_ - 100});
  canvas_.fill({x_, y_, width_, height_}, kMat);
  const double width = std::max(frame_width_ * scale_, 1.0);
  const double height = std::max(frame_height_ * scale_, 1.0);
  picture_ = {x_ + kLeftRim + std::floor((width_ - kLeftRim - kRightRim - width) / 2),
              y_ + kTopRim + std::floor((height_ - kTopRim - kBottomRim - height) / 2), width,
              height};
}

void sheet::caption(const std::string &first, const std::string &second) {
  const double base = y_ + height_ + 17;
  canvas_.text(x_, base, first, {.widest = width_, .markup = true});
  canvas_.text(x_, base + 17, second, {.ink = kFaint, .widest = width_, .markup = true});
}

void sheet::instead(const std::string &note) {
  canvas_.text(x_ + width_ / 2, y_ + height_ / 2, note,
               {.size = 13, .ink = kFaint, .where = align::kCentre, .widest = width_});
}

void sheet::scale(const shading &s) {
  constexpr int32_t kLength = 44;
  const text_style style = {.size = kTickText, .ink = kFaint, .where = align::kRight};
  const std::string low = fmt::format("{}", s.low);
  const std::string high = fmt::format("{}{}", s.low < 0 ? "+" : "", s.high);
  const double left = std::floor(x_ + width_ - canvas_.text_width(high, style) - 4 - kLength);
  canvas_.text(x_ + width_, y_ - 8.5, high, style);
  for (int32_t i = 0; i < kLength; ++i) {
    canvas_.fill({left + i, y_ - 17, 1, 9}, s.at(s.low + (s.high - s.low) * i / (kLength - 1)));
  }
  canvas_.frame({left - 1, y_ - 18, kLength + 2, 11}, 1, kIdle);
  canvas_.text(left - 4, y_ - 8.5, low, style);
}

// Columns below the picture and rows left of it, at the middles of their pixels.
void sheet::ticks() {
  constexpr double kApart = 36, kLength = 4;
  const int32_t step = round_step(kApart / scale_);
  const double bottom = picture_.y + picture_.height, left = picture_.x;
  for (int32_t x = 0; x < frame_width_; x += step) {
    const double at = left + (x + 0.5) * scale_;
    canvas_.fill({at - 0.5, bottom, 1, kLength}, kInk);
    canvas_.text(at, bottom + 14, fmt::format("{}", x),
                 {.size = kTickText, .where = align::kCentre});
  }
  for (int32_t y = 0; y < frame_height_; y += step) {
    const double at = picture_.y + (y + 0.5) * scale_;
    canvas_.fill({left - kLength, at - 0.5, kLength, 1}, kInk);
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

int64_t sheet::draw_marks(const mark &m, const std::function<bool(size_t)> &marked) {
  std::set<std::pair<int32_t, int32_t>> taken;
  int64_t count = 0;
  for (size_t i = 0; i < static_cast<size_t>(frame_width_) * static_cast<size_t>(frame_height_);
       ++i) {
    if (!marked(i)) continue;
    ++count;
    const box b = pixel(i);
    if (!taken.insert({static_cast<int32_t>(b.x), static_cast<int32_t>(b.y)}).second) continue;
    std::vector<point> corners = m.corners;
    for (point &p : corners) p = {b.x + p.x * b.width, b.y + p.y * b.height};
    canvas_.fill(corners, m.c);
  }
  return count;
}

void sheet::label(point at, const std::string &text, colour c) {
  const text_style style = {.ink = c, .bold = true, .halo = true};
  const double most = x_ + width_ - 4 - canvas_.text_width(text, style);
  canvas_.text(std::clamp(at.x, x_ + 4, std::max(most, x_ + 4)),
               std::clamp(at.y, y_ + style.size + 2, y_ + height_ - 4), text, style);
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
  const int32_t most = std::max(*std::ranges::max_element(counts), 1);
  const auto rise = [&](int32_t count) { return height * std::sqrt(1.0 * count / most); };
  const auto across = [&](int32_t level) { return left + bar * (level - first + 0.5); };

  double below = 0;
  for (int32_t count = 0; count <= most; count = round_step(count + 1)) {
    const double y = bottom - rise(count);
    if (count != 0 && rise(count) - below < 22) continue;
    below = rise(count);
    if (count != 0) canvas_.fill({left, y - 0.5, bar * levels, 1}, grey(0.82));
    canvas_.fill({left - 4, y - 0.5, 4, 1}, kInk);
    canvas_.text(left - 6, y + 3.5, fmt::format("{}", count),
                 {.size = kTickText, .where = align::kRight, .widest = kLeftRim - 8});
  }
  for (size_t i = 0; i < counts.size(); ++i) {
    const double top = rise(counts[i]);
    canvas_.fill({left + bar * static_cast<double>(i), bottom - top, bar, top}, grey(0.35));
  }
  canvas_.fill({left - 0.5, bottom - height, 1, height}, kInk);
  canvas_.fill({left, bottom, bar * levels, 1}, kInk);
  const int32_t last = first + static_cast<int32_t>(counts.size()) - 1;
  for (int32_t i = first; i < last + step; i += step) {
    const int32_t level = std::min(i, last);
    canvas_.fill({across(level) - 0.5, bottom, 1, 4}, kInk);
    canvas_.text(across(level), bottom + 14, fmt::format("{}", level),
                 {.size = kTickText, .where = align::kCentre});
  }
  double base = y_ + kTopRim + 7;
  for (const chart_line &line : lines) {
    const double x = across(line.level);
    if (line.level >= first && line.level <= last) {
      canvas_.line({x, bottom}, {x, base + 3}, 1.5, kPurple, line.dashes);
    }
    label({x - 8, base}, line.name, kPurple);
    base += kName;
  }
}

}  // namespace tools
