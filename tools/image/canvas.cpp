#include "tools/image/canvas.h"

#include <cstring>
#include <numbers>

#include "tools/image/frame_file.h"

namespace tools {

canvas::canvas(int32_t width, int32_t height, colour background)
    : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      context_(cairo_create(surface_.get())) {
  set(background);
  cairo_paint(context_.get());
  // Widths in whole pixels would not scale.
  cairo_font_options_t *options = cairo_font_options_create();
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_set_font_options(context_.get(), options);
  cairo_font_options_destroy(options);
}

void canvas::set(colour c) {
  cairo_set_source_rgba(context_.get(), c.red, c.green, c.blue, c.alpha);
}

void canvas::fill(box b, colour c) {
  set(c);
  cairo_rectangle(context_.get(), b.x, b.y, b.width, b.height);
  cairo_fill(context_.get());
}

void canvas::fill_rounded(box b, double radius, colour c) {
  constexpr double kQuarter = std::numbers::pi / 2;
  const double left = b.x + radius, right = b.x + b.width - radius;
  const double top = b.y + radius, bottom = b.y + b.height - radius;
  set(c);
  cairo_new_path(context_.get());
  cairo_arc(context_.get(), right, top, radius, -kQuarter, 0);
  cairo_arc(context_.get(), right, bottom, radius, 0, kQuarter);
  cairo_arc(context_.get(), left, bottom, radius, kQuarter, 2 * kQuarter);
  cairo_arc(context_.get(), left, top, radius, 2 * kQuarter, 3 * kQuarter);
  cairo_fill(context_.get());
}

void canvas::frame(box b, double thickness, colour c) {
  set(c);
  cairo_set_line_width(context_.get(), thickness);
  cairo_rectangle(context_.get(), b.x + thickness / 2, b.y + thickness / 2, b.width - thickness,
                  b.height - thickness);
  cairo_stroke(context_.get());
}

void canvas::line(double x1, double y1, double x2, double y2, double thickness, colour c) {
  set(c);
  cairo_set_line_width(context_.get(), thickness);
  cairo_set_line_cap(context_.get(), CAIRO_LINE_CAP_ROUND);
  cairo_move_to(context_.get(), x1, y1);
  cairo_line_to(context_.get(), x2, y2);
  cairo_stroke(context_.get());
}

void canvas::set_font(double size, bool bold) {
  cairo_select_font_face(context_.get(), "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                         bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(context_.get(), size);
}

double canvas::text_width(const std::string &text, double size, bool bold) {
  set_font(size, bold);
  cairo_text_extents_t extents;
  cairo_text_extents(context_.get(), text.c_str(), &extents);
  return extents.x_advance;
}

void canvas::text(double x, double y, const std::string &text, double size, colour c, align where,
                  bool bold, double widest) {
  double width = text_width(text, size, bold);
  const double squeeze = widest > 0 && width > widest ? widest / width : 1;
  width *= squeeze;
  cairo_save(context_.get());
  cairo_translate(context_.get(),
                  where == align::kLeft     ? x
                  : where == align::kCentre ? x - width / 2
                                            : x - width,
                  y);
  cairo_scale(context_.get(), squeeze, 1);
  set(c);
  cairo_move_to(context_.get(), 0, 0);
  cairo_show_text(context_.get(), text.c_str());
  cairo_restore(context_.get());
}

void canvas::image(box b, const std::vector<uint32_t> &rgb, int32_t width, int32_t height) {
  const surface source(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  cairo_surface_flush(source.get());
  uint8_t *data = cairo_image_surface_get_data(source.get());
  const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(source.get()));
  const auto row = static_cast<size_t>(width);
  for (size_t y = 0; y < static_cast<size_t>(height); ++y) {
    memcpy(data + y * stride, &rgb[y * row], row * sizeof rgb[0]);
  }
  cairo_surface_mark_dirty(source.get());

  cairo_save(context_.get());
  cairo_translate(context_.get(), b.x, b.y);
  cairo_scale(context_.get(), b.width / width, b.height / height);
  cairo_set_source_surface(context_.get(), source.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(context_.get()),
                           b.width >= width ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_GOOD);
  cairo_rectangle(context_.get(), 0, 0, width, height);
  cairo_fill(context_.get());
  cairo_restore(context_.get());
}

void canvas::write_png(const std::filesystem::path &file) {
  const cairo_status_t status = cairo_surface_write_to_png(surface_.get(), file.c_str());
  if (status != CAIRO_STATUS_SUCCESS) {
    throw frame_error(file, std::string("cannot be written: ") + cairo_status_to_string(status));
  }
}

}  // namespace tools
