// A picture to draw frames, shapes and text on.
#ifndef ORVA_TOOLS_IMAGE_CANVAS_H
#define ORVA_TOOLS_IMAGE_CANVAS_H

#include <cairo.h>
#include <cstdint>
#include <memory>
#include <pango/pangocairo.h>
#include <span>
#include <string>
#include <vector>

namespace tools {

struct colour {
  double red;
  double green;
  double blue;
};

constexpr colour grey(double level) { return {level, level, level}; }

struct point {
  double x;
  double y;
};

struct box {
  double x;
  double y;
  double width;
  double height;
};

// Shapes that tell kinds apart without their colours.
enum class shape : uint8_t { kSquare, kUp, kDown, kRing, kAcross, kUpright, kTick, kCross, kDash };

enum class align : uint8_t { kLeft, kCentre, kRight };

struct text_style {
  double size = 11.5;
  colour ink = grey(0.12);
  align where = align::kLeft;
  bool bold = false;
  double widest = 0;  // a longer text is set narrower; 0 for no limit
  bool halo = false;  // a white rim, for text on a picture
};

class canvas {
 public:
  canvas(int32_t width, int32_t height, colour background);

  void fill(box b, colour c);
  // Just inside the box.
  void frame(box b, double thickness, colour c);
  // With round ends, unless it has dashes: lengths of ink and gap by turns.
  void line(point from, point to, double thickness, colour c, std::span<const double> dashes = {});
  void draw(shape s, box b, colour c);

  // y is the base line's. Scripts that the font lacks come from others that fontconfig knows.
  void text(double x, double y, const std::string &text, const text_style &style);
  double text_width(const std::string &text, const text_style &style);

  // RGB pixels (0xRRGGBB) scaled to the box: enlarged without smoothing, made smaller with it.
  void image(box b, const std::vector<uint32_t> &rgb, int32_t width, int32_t height);

  int32_t width() const { return cairo_image_surface_get_width(surface_.get()); }
  std::vector<uint8_t> png() const;

 private:
  // An object of a C library with the function that ends it.
  template <typename T, auto End>
  using owned = std::unique_ptr<T, std::integral_constant<decltype(End), End>>;
  using surface = owned<cairo_surface_t, cairo_surface_destroy>;

  void set(colour c);
  void set_text(const std::string &text, const text_style &style);

  surface surface_;
  owned<cairo_t, cairo_destroy> context_;
  owned<PangoLayout, g_object_unref> layout_;
};

}  // namespace tools

#endif
