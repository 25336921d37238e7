#include "tools/image/canvas.h"

#include <algorithm>
#include <fmt/format.h>
#include <new>

namespace tools {

canvas::canvas(double width, double height)
    : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width),
                                          static_cast<int>(height))),
      context_(cairo_create(surface_.get())),
      layout_(pango_cairo_create_layout(context_.get())) {
  set(kPaper);
  cairo_paint(context_.get());
  // Widths in whole pixels would not scale.
  pango_context_set_round_glyph_positions(pango_layout_get_context(layout_.get()), false);
  pango_layout_set_single_paragraph_mode(layout_.get(), true);
}

void canvas::set(colour c) { cairo_set_source_rgb(context_.get(), c.red, c.green, c.blue); }

void canvas::fill(box b, colour c) {
  set(c);
  cairo_rectangle(context_.get(), b.x, b.y, b.width, b.height);
  cairo_fill(context_.get());
}

void canvas::fill(const std::vector<point> &corners, colour c) {
  set(c);
  for (const point &p : corners) cairo_line_to(context_.get(), p.x, p.y);
  cairo_fill(context_.get());
}

void canvas::outline(box b, double thickness, colour c) {
  set(c);
  const box middle = b.grown(-thickness / 2);
  cairo_set_line_width(context_.get(), thickness);
  cairo_rectangle(context_.get(), middle.x, middle.y, middle.width, middle.height);
  cairo_stroke(context_.get());
}

void canvas::line(point from, point to, double thickness, colour c,
                  const std::vector<double> &dashes) {
  set(c);
  cairo_set_line_width(context_.get(), thickness);
  cairo_set_line_cap(context_.get(), dashes.empty() ? CAIRO_LINE_CAP_ROUND : CAIRO_LINE_CAP_BUTT);
  cairo_set_dash(context_.get(), dashes.data(), static_cast<int>(dashes.size()), 0);
  cairo_move_to(context_.get(), from.x, from.y);
  cairo_line_to(context_.get(), to.x, to.y);
  cairo_stroke(context_.get());
  cairo_set_dash(context_.get(), nullptr, 0, 0);
}

double canvas::text_width(const std::string &text, const text_style &style) {
  const std::string name = fmt::format("DejaVu Sans {}{}px", style.bold ? "Bold " : "", style.size);
  PangoFontDescription *font = pango_font_description_from_string(name.c_str());
  pango_layout_set_font_description(layout_.get(), font);
  pango_font_description_free(font);
  pango_layout_set_attributes(layout_.get(), nullptr);
  const auto set_text = style.markup ? pango_layout_set_markup : pango_layout_set_text;
  set_text(layout_.get(), text.data(), static_cast<int>(text.size()));
  PangoRectangle extents;
  pango_layout_get_extents(layout_.get(), nullptr, &extents);
  return static_cast<double>(extents.width) / PANGO_SCALE;
}

void canvas::text(double x, double y, const std::string &text, const text_style &style) {
  const double width = text_width(text, style);  // lays it out as well
  const double squeeze = std::min(1.0, style.widest / width);
  const double base = static_cast<double>(pango_layout_get_baseline(layout_.get())) / PANGO_SCALE;
  cairo_save(context_.get());
  cairo_translate(context_.get(), x - width * squeeze * style.where, y - base);
  cairo_scale(context_.get(), squeeze, 1);
  if (style.halo) {
    set(kPaper);
    cairo_set_line_width(context_.get(), 3.5);
    cairo_set_line_join(context_.get(), CAIRO_LINE_JOIN_ROUND);
    pango_cairo_layout_path(context_.get(), layout_.get());
    cairo_stroke(context_.get());
  }
  set(style.ink);
  pango_cairo_show_layout(context_.get(), layout_.get());
  cairo_restore(context_.get());
}

void canvas::image(box b, const std::vector<uint32_t> &rgb, int32_t width, int32_t height) {
  // Only read.
  auto *pixels = const_cast<uint8_t *>(reinterpret_cast<const uint8_t *>(rgb.data()));
  const surface source(
      cairo_image_surface_create_for_data(pixels, CAIRO_FORMAT_RGB24, width, height, width * 4));
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

std::vector<uint8_t> canvas::rgb() const {
  cairo_surface_flush(surface_.get());
  const uint8_t *data = cairo_image_surface_get_data(surface_.get());
  if (data == nullptr) throw std::bad_alloc();
  const int32_t size = cairo_image_surface_get_stride(surface_.get()) * height();
  std::vector<uint8_t> colours;
  for (int32_t i = 0; i < size; i += 4) {
    colours.insert(colours.end(), {data[i + 2], data[i + 1], data[i]});
  }
  return colours;
}

}  // namespace tools
