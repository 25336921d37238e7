// A picture to draw frames, shapes and text on.
#pragma once

#include <algorithm>
#include <cairo.h>
#include <cmath>
#include <cstdint>
#include <memory>
#include <pango/pangocairo.h>
#include <string>
#include <vector>

namespace tools {

struct colour {
  double red, green, blue;
};

constexpr colour grey(double level) { return {level, level, level}; }

// They hold apart for colour-blind eyes too, and by their brightness.
inline constexpr colour kPaper = grey(1);
inline constexpr colour kInk = grey(0.12);
inline constexpr colour kFaint = grey(0.40);
inline constexpr colour kIdle = grey(0.50);
inline constexpr colour kMat = {0.92, 0.93, 0.95};
inline constexpr colour kVermilion = {0.84, 0.30, 0.00};
inline constexpr colour kBlue = {0.00, 0.36, 0.72};
inline constexpr colour kYellow = {1.00, 0.84, 0.10};
inline constexpr colour kPurple = {0.52, 0.05, 0.50};
inline constexpr colour kGood = {0.00, 0.45, 0.38};
inline constexpr colour kBad = {0.76, 0.20, 0.00};

struct point {
  double x, y;
};

struct box {
  double x, y, width, height;

  point middle() const { return {x + width / 2, y + height / 2}; }
  box grown(double across, double down) const {
    return {x - across, y - down, width + 2 * across, height + 2 * down};
  }
  box grown(double by) const { return grown(by, by); }
  box at_least(double side) const {
    return grown(std::max(side - width, 0.0) / 2, std::max(side - height, 0.0) / 2);
  }
};

struct text_style {
  double size = 11.5;
  colour ink = kInk;
  double where = 0;  // the part of its width that lies left of its place
  bool bold = false;
  double widest = INFINITY;  // a longer text is set narrower
  bool halo = false;         // a white rim, for text on a picture
  bool markup = false;       // pango's: text in several colours
};

class canvas {
 public:
  void fill(box b, colour c);
  void fill(const std::vector<point> &corners, colour c);
  // Just inside the box.
  void outline(box b, double thickness, colour c);
  // With round ends, unless it has dashes: lengths of ink and gap by turns.
  void line(point from, point to, double thickness, colour c,
            const std::vector<double> &dashes = {});

  // y is the base line's. Scripts that the font lacks come from others that fontconfig knows.
  void text(double x, double y, const std::string &text, const text_style &style);
  double text_width(const std::string &text, const text_style &style);

  // Pixels (0xRRGGBB) scaled to the box: enlarged without smoothing, made smaller with it.
  void image(box b, const std::vector<uint32_t> &rgb, int32_t width, int32_t height);

  int32_t width() const { return cairo_image_surface_get_width(surface_.get()); }
  int32_t height() const { return cairo_image_surface_get_height(surface_.get()); }
  std::vector<uint8_t> rgb() const;

 protected:
  canvas(double width, double height);

 private:
  // An object of a C library with the function that ends it.
  template <typename T, auto End>
  using owned = std::unique_ptr<T, std::integral_constant<decltype(End), End>>;
  using surface = owned<cairo_surface_t, cairo_surface_destroy>;

  void set(colour c);

  surface surface_;
  owned<cairo_t, cairo_destroy> context_;
  owned<PangoLayout, g_object_unref> layout_;
};

}  // namespace tools
