// A picture of panels, each of which shows a frame of one size, or a chart, above a caption.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "tools/image/canvas.h"
#include "tools/image/frame_file.h"

namespace tools {

// What tells a kind of mark apart: its shape as well as its colour.
struct mark {
  colour c;
  const char *glyph;                // in a caption
  std::vector<point> corners = {};  // 0 to 1 across and down a pixel
};
inline const mark kSquare = {kYellow, "\u25a0", {{0, 0}, {1, 0}, {1, 1}, {0, 1}}};
inline const mark kUp = {kVermilion, "\u25b2", {{0, 1}, {0.5, 0}, {1, 1}}};
inline const mark kDown = {kBlue, "\u25bc", {{0, 0}, {0.5, 1}, {1, 0}}};

// No mark is drawn smaller, however large the frame.
inline constexpr double kLeastMark = 5;

// The mark in the markup of a caption.
std::string key(const mark &m);

// What levels are drawn as: in the first colour up to low, in the last from high on, and between
// these in steps.
struct shading {
  std::vector<colour> colours;
  int32_t low = 0, high = 255;

  colour at(int32_t level) const;
  std::vector<uint32_t> table() const;  // 0xRRGGBB of low to high
};
inline const shading kGreys = {{grey(0), grey(1)}};
// A frame behind marks: towards a light grey, so that their colours stand out.
inline const shading kPale = {{grey(150 / 255.0), grey(230 / 255.0)}};
// Dark violet over green to yellow: rises in brightness, so that it also reads without colours.
inline const std::vector<colour> kHeat = {{0.27, 0.00, 0.33},
                                          {0.23, 0.32, 0.55},
                                          {0.13, 0.57, 0.55},
                                          {0.37, 0.79, 0.38},
                                          {0.99, 0.91, 0.14}};

struct badge {
  colour c;
  std::string text;
};

struct chart_line {
  int32_t level;
  std::string name;
  std::vector<double> dashes;
};

// So many panels across and down; a single one is large and has no header.
struct panel_grid {
  panel_grid(const frame &shown, int32_t columns);

  const int32_t columns_;
  const double top_;             // of the panels
  const double zoom_;            // from the frame's pixels to the picture's
  const double width_, height_;  // of a panel's mat
};

class sheet : panel_grid, public canvas {
 public:
  sheet(const frame &shown, int32_t columns, int32_t rows);

  // Badges from right to left.
  void header(const std::string &title, const std::string &facts,
              const std::vector<badge> &badges = {});

  // Begins the next panel: its title and the mat that its picture lies on.
  void begin(const std::string &title);
  // In markup.
  void caption(const std::string &first, const std::string &second = "");
  // Beside the title: what the colours mean.
  void scale(const shading &s);

  // Levels of the frame's pixels.
  template <typename Level>
  void picture(const std::vector<Level> &levels, const shading &s = kGreys) {
    image(picture_, levels, s, frame_width_, frame_height_);
    ticks();
  }
  template <typename Level>
  void image(box b, const std::vector<Level> &levels, const shading &s, int32_t width,
             int32_t height) {
    const std::vector<uint32_t> shades = s.table();
    std::vector<uint32_t> rgb;
    for (const int32_t level : levels) {
      rgb.push_back(shades[static_cast<size_t>(std::clamp(level, s.low, s.high) - s.low)]);
    }
    canvas::image(b, rgb, width, height);
  }

  // Of the frame's pixels in the picture.
  box area(double x, double y, double width, double height) const;
  // As a mark covers it.
  box pixel(size_t i) const;

  // Marks the pixels whose indices are marked, and returns how many there are. Marks that would
  // hide one another are drawn once.
  int64_t draw_marks(const mark &m, const std::function<bool(size_t)> &marked);

  // Bars for counts of levels from first on, on a square root scale: a few full levels do not
  // flatten all others.
  void chart(const std::vector<int32_t> &counts, int32_t first, int32_t step,
             const std::vector<chart_line> &lines);

  // On the picture, and never beyond it.
  void label(point at, const std::string &name, colour c = kInk);

 private:
  void ticks();
  void tick(double x, double y, bool below, int32_t number);

  const int32_t frame_width_, frame_height_;
  int32_t panels_ = 0;  // begun so far
  box mat_{};           // of the current panel
  box picture_{};
};

}  // namespace tools
