// A picture to draw frames, rectangles and text on.
#ifndef ORVA_TOOLS_IMAGE_CANVAS_H
#define ORVA_TOOLS_IMAGE_CANVAS_H

#include <cairo.h>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tools {

struct colour {
  double red;
  double green;
  double blue;
  double alpha = 1;
};

constexpr colour grey(double level) { return {level, level, level}; }

struct box {
  double x;
  double y;
  double width;
  double height;
};

enum class align : uint8_t { kLeft, kCentre, kRight };

class canvas {
 public:
  canvas(int32_t width, int32_t height, colour background);

  void fill(box b, colour c);
  void fill_rounded(box b, double radius, colour c);
  // Just inside the box.
  void frame(box b, double thickness, colour c);
  // With round ends.
  void line(double x1, double y1, double x2, double y2, double thickness, colour c);

  // y is the base line's. A text wider than widest is set narrower; 0 for no limit.
  void text(double x, double y, const std::string &text, double size, colour c,
            align where = align::kLeft, bool bold = false, double widest = 0);
  double text_width(const std::string &text, double size, bool bold = false);

  // RGB pixels (0xRRGGBB) scaled to the box: enlarged without smoothing, made smaller with it.
  void image(box b, const std::vector<uint32_t> &rgb, int32_t width, int32_t height);

  // Throws frame_error.
  void write_png(const std::filesystem::path &file);

 private:
  struct surface_end {
    void operator()(cairo_surface_t *surface) const { cairo_surface_destroy(surface); }
  };
  struct context_end {
    void operator()(cairo_t *context) const { cairo_destroy(context); }
  };
  using surface = std::unique_ptr<cairo_surface_t, surface_end>;

  void set(colour c);
  void set_font(double size, bool bold);

  surface surface_;
  std::unique_ptr<cairo_t, context_end> context_;
};

}  // namespace tools

#endif
