// A picture of panels, each of which shows a frame of one size, or a chart, above a caption.
#ifndef ORVA_TOOLS_IMAGE_SHEET_H
#define ORVA_TOOLS_IMAGE_SHEET_H

#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/image/canvas.h"

namespace tools {

inline constexpr double kSmallText = 11.5;

// No mark is drawn smaller, however large the frame.
inline constexpr double kLeastMark = 5;

// The colours hold apart for colour-blind eyes too, and by their brightness.
namespace palette {
inline constexpr colour kPaper = grey(1);
inline constexpr colour kInk = grey(0.12);
inline constexpr colour kFaint = grey(0.40);
inline constexpr colour kMat = {0.92, 0.93, 0.95};
inline constexpr colour kVermilion = {0.84, 0.30, 0.00};
inline constexpr colour kBlue = {0.00, 0.36, 0.72};
inline constexpr colour kYellow = {1.00, 0.84, 0.10};
inline constexpr colour kPurple = {0.52, 0.05, 0.50};
inline constexpr colour kGood = {0.00, 0.45, 0.38};
inline constexpr colour kBad = {0.76, 0.20, 0.00};
inline constexpr colour kIdle = grey(0.50);
}  // namespace palette

uint32_t packed(colour c);

// Dark violet over green to yellow for 0 to 1: rises in brightness, so that it also reads without
// colours.
colour heat(double part);

struct legend_entry {
  shape mark;
  colour c;
  std::string text;
};

struct badge {
  shape glyph;
  colour c;
  std::string text;
};

class sheet {
 public:
  struct plan {
    int32_t columns;
    int32_t rows;
    double largest;  // side of a picture
    bool header;     // a title above the panels
  };

  void write(const std::filesystem::path &file);

 protected:
  sheet(int32_t frame_width, int32_t frame_height, const plan &p);

  // Badges from right to left.
  void header(const std::string &title, const std::string &line, const std::vector<badge> &badges);

  // Begins the next panel: its title and the mat that its picture lies on.
  void begin(const std::string &title);
  void caption(const std::string &first, const std::string &second = "");
  // As a line of the caption.
  void legend(const std::vector<legend_entry> &entries, int32_t line = 0);
  // A note in the panel's middle, in place of a picture.
  void instead(const std::string &first, const std::string &second);
  // Beside the title: what a colour means, from one end to the other.
  template <typename Colour>
  void scale(Colour colour_of, const std::string &low, const std::string &high) {
    std::vector<uint32_t> rgb;
    for (int32_t i = 0; i < kScaleLength; ++i) {
      rgb.push_back(packed(colour_of(i / (kScaleLength - 1.0))));
    }
    draw_scale(rgb, low, high);
  }

  // level_of tells a pixel's 0xRRGGBB from its index.
  template <typename Level>
  void picture(Level level_of) {
    std::vector<uint32_t> rgb(static_cast<size_t>(frame_width_) *
                              static_cast<size_t>(frame_height_));
    for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = level_of(i);
    canvas_.image(picture_, rgb, frame_width_, frame_height_);
    ticks();
  }
  void picture(const std::vector<uint8_t> &pixels) {
    picture([&](size_t i) { return uint32_t{pixels[i]} * 0x010101u; });
  }
  // Towards a light grey, so that colours stand out.
  void pale_picture(const std::vector<uint8_t> &pixels) {
    picture([&](size_t i) { return (150 + pixels[i] * 80u / 255) * 0x010101u; });
  }

  // Of the frame's pixels in the picture, and no smaller than least.
  box area(double x, double y, double width, double height, double least = 0) const;
  box pixel(size_t i, double least = 0) const;

  // Of the pixels whose indices are marked, and returns how many there are. Those that would hide
  // one another are drawn once.
  template <typename Marked>
  int64_t draw_marks(shape s, colour c, Marked marked) {
    std::set<std::pair<int32_t, int32_t>> taken;
    int64_t count = 0;
    for (size_t i = 0; i < static_cast<size_t>(frame_width_) * static_cast<size_t>(frame_height_);
         ++i) {
      if (!marked(i)) continue;
      const box b = pixel(i, kLeastMark);
      const auto place = std::pair(static_cast<int32_t>(b.x), static_cast<int32_t>(b.y));
      if (taken.insert(place).second) canvas_.draw(s, b, c);
      ++count;
    }
    return count;
  }

  // Bars for counts of levels from first on, on a square root scale: a few full levels do not
  // flatten all others.
  struct chart_line {
    int32_t level;
    std::string name;
    std::vector<double> dashes;
  };
  void chart(const std::vector<int32_t> &counts, int32_t first, int32_t step,
             const std::vector<chart_line> &lines);

  // Keeps a label of such a width inside the picture.
  void label(point at, const std::string &text, colour c);

  const plan plan_;
  const int32_t frame_width_;
  const int32_t frame_height_;
  const double scale_;  // from the frame's pixels to the picture's
  const double width_;  // of a panel's mat
  const double height_;
  canvas canvas_;

 private:
  static constexpr int32_t kScaleLength = 44;

  double panel_height() const;
  void ticks();
  void draw_scale(const std::vector<uint32_t> &rgb, const std::string &low,
                  const std::string &high);

  int32_t panels_ = 0;    // begun so far
  double x_ = 0, y_ = 0;  // of the current panel's mat
  box picture_{};
};

}  // namespace tools

#endif
