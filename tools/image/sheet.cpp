#include "tools/image/sheet.h"

#include <cmath>
#include <fmt/format.h>
#include <numeric>
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
panel_grid::panel_grid(const frame &shown, int32_t columns)
    : columns_(columns),
      top_(columns == 1 ? kMargin : kHeader),
      zoom_(whole_if_large((columns == 1 ? 1024.0 : 340.0) / std::max(shown.width, shown.height))),
      width_(std::max(std::ceil(shown.width * zoom_), kNarrowest) + kLeftRim + kRightRim),
      height_(std::max(std::ceil(shown.height * zoom_), kLowest) + kTopRim + kBottomRim) {}

sheet::sheet(const frame &shown, int32_t columns, int32_t rows)
    : panel_grid(shown, columns),
      canvas(2 * kMargin + columns * (width_ + kGap) - kGap,
             top_ + rows * (kTitle + height_ + kCaption + kGap) - kGap + kMargin),
      frame_width_(shown.width),
      frame_height_(shown.height) {}

void sheet::header(const std::string &title, const std::string &facts,
                   const std::vector<badge> &badges) {
  const text_style style = {.size = 13, .ink = kPaper, .bold = true, .markup = true};
  double right = width() - kMargin;
  for (const badge &b : badges) {
    constexpr double kPad = 14;
    const double left = right - text_width(b.text, style) - 2 * kPad;
    line({left + kPad, 42}, {right - kPad, 42}, 2 * kPad, b.c);
    text(left + kPad, 47, b.text, style);
    right = left - 10;
  }
  text(kMargin, 46, title, {.size = 20, .bold = true, .widest = right - kMargin - 10});
  text(kMargin, 70, facts, {.size = 13, .ink = kFaint, .widest = width() - 2 * kMargin});
}

void sheet::begin(const std::string &title) {
  const int32_t column = panels_ % columns_, row = panels_ / columns_;
  ++panels_;
  mat_ = {kMargin + column * (width_ + kGap),
          top_ + row * (kTitle + height_ + kCaption + kGap) + kTitle, width_, height_};
  text(mat_.x, mat_.y - 8, title, {.size = 14, .bold = true, .widest = width_ - 100});
  fill(mat_, kMat);
  const double width = std::max(frame_width_ * zoom_, 1.0);
  const double height = std::max(frame_height_ * zoom_, 1.0);
  picture_ = {mat_.x + kLeftRim + std::floor((width_ - kLeftRim - kRightRim - width) / 2),
              mat_.y + kTopRim + std::floor((height_ - kTopRim - kBottomRim - height) / 2), width,
              height};
}

void sheet::caption(const std::string &first, const std::string &second) {
  const double base = mat_.y + height_ + 17;
  text(mat_.x, base, first, {.widest = width_, .markup = true});
  text(mat_.x, base + 17, second, {.ink = kFaint, .widest = width_, .markup = true});
}

void sheet::scale(const shading &s) {
  constexpr int32_t kLength = 44;
  constexpr double kRoomForHigh = 32;
  const double left = mat_.x + width_ - kRoomForHigh - kLength, base = mat_.y - 8.5;
  std::vector<int32_t> steps(kLength);
  std::iota(steps.begin(), steps.end(), 0);
  outline({left - 1, base - 9.5, kLength + 2, 11}, 1, kIdle);
  image({left, base - 8.5, kLength, 9}, steps, {s.colours, 0, kLength - 1}, kLength, 1);
  text(left - 4, base, fmt::format("{}", s.low), {.size = kTickText, .ink = kFaint, .where = 1});
  text(left + kLength + 4, base, fmt::format("{}{}", s.low < 0 ? "+" : "", s.high),
       {.size = kTickText, .ink = kFaint});
}

void sheet::tick(double x, double y, bool below, int32_t number) {
  constexpr double kLength = 4;
  fill(below ? box{x - 0.5, y, 1, kLength} : box{x - kLength, y - 0.5, kLength, 1}, kInk);
  const text_style style = {
      .size = kTickText, .where = below ? 0.5 : 1.0, .widest = below ? 34.0 : 24.0};
  text(below ? x : x - 6, below ? y + 14 : y + 3.5, fmt::format("{}", number), style);
}

// Columns below the picture and rows left of it, at the middles of their pixels.
void sheet::ticks() {
  constexpr double kApart = 36;
  const int32_t step = round_step(kApart / zoom_);
  for (int32_t x = 0; x < frame_width_; x += step) {
    tick(picture_.x + (x + 0.5) * zoom_, picture_.y + picture_.height, true, x);
  }
  for (int32_t y = 0; y < frame_height_; y += step) {
    tick(picture_.x, picture_.y + (y + 0.5) * zoom_, false, y);
  }
}

box sheet::area(double x, double y, double width, double height) const {
  return {picture_.x + x * zoom_, picture_.y + y * zoom_, width * zoom_, height * zoom_};
}

box sheet::pixel(size_t i) const {
  const auto width = static_cast<size_t>(frame_width_);
  return area(static_cast<double>(i % width), static_cast<double>(i / width), 1, 1)
      .at_least(kLeastMark);
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
    fill(corners, m.c);
  }
  return count;
}

void sheet::label(point at, const std::string &name, colour c) {
  const double x = std::clamp(at.x, mat_.x, mat_.x + width_);
  text(x, std::max(at.y, mat_.y + 14), name,
       {.ink = c, .where = (x - mat_.x) / width_, .bold = true, .halo = true});
}

void sheet::chart(const std::vector<int32_t> &counts, int32_t first, int32_t step,
                  const std::vector<chart_line> &lines) {
  const double levels = static_cast<double>(counts.size());
  const double bar = std::floor((width_ - kLeftRim - kRightRim) / levels * 4) / 4;
  const double left =
      mat_.x + kLeftRim + std::floor((width_ - kLeftRim - kRightRim - bar * levels) / 2);
  const double bottom = mat_.y + height_ - kBottomRim;
  // The lines' names stand above one another, so that neighbours do not run into each other.
  constexpr double kName = 13;
  const double height = height_ - kBottomRim - kTopRim - kName * static_cast<double>(lines.size());
  const int32_t most = std::max(std::ranges::max(counts), 1);
  const auto rise = [&](int32_t count) { return height * std::sqrt(1.0 * count / most); };
  const auto across = [&](int32_t level) { return left + bar * (level - first + 0.5); };

  double last_rise = 0;
  for (int32_t count = 0; count <= most; count = round_step(count + 1)) {
    if (count != 0 && rise(count) - last_rise < 22) continue;
    last_rise = rise(count);
    fill({left, bottom - last_rise - 0.5, bar * levels, 1}, grey(0.82));
    tick(left, bottom - last_rise, false, count);
  }
  for (size_t i = 0; i < counts.size(); ++i) {
    const double top = rise(counts[i]);
    fill({left + bar * static_cast<double>(i), bottom - top, bar, top}, grey(0.35));
  }
  fill({left - 0.5, bottom - height, 1, height}, kInk);
  fill({left, bottom, bar * levels, 1}, kInk);
  const int32_t last = first + static_cast<int32_t>(counts.size()) - 1;
  for (int32_t level = first; level < last + step; level += step) {
    tick(across(std::min(level, last)), bottom, true, std::min(level, last));
  }
  double base = mat_.y + kTopRim + 7;
  for (const auto &[level, name, dashes] : lines) {
    const double x = across(level);
    if (level >= first && level <= last) line({x, bottom}, {x, base + 3}, 1.5, kPurple, dashes);
    label({x, base}, name, kPurple);
    base += kName;
  }
}

}  // namespace tools
