#include "simple/simple_forms.h"

namespace simple {

namespace {

// A line of length pixels, step bytes apart, walked from pixel first on.
bool line_qualifies(const uint8_t *line, int32_t length, int32_t step, int32_t first) {
  uint64_t sum = 0;
  for (int32_t i = 0; i < length; ++i) sum += line[i * step];
  const uint32_t mean = static_cast<uint32_t>(sum / static_cast<uint64_t>(length));
  const uint32_t threshold = mean - 5;

  bool dark = false;
  int32_t run = 0;
  int32_t longest = 0;
  for (int32_t i = first; i < length; ++i) {
    const uint32_t pixel = line[i * step];
    if (!dark) {
      if (pixel < threshold) dark = true;
    } else if (pixel <= threshold) {
      ++run;
    } else {
      if (run > longest) longest = run;
      run = 0;
      dark = false;
    }
  }
  return longest > 30;
}

// The longest streak of qualifying lines that is closed by a line that does not qualify.
class streak_counter {
 public:
  void add(bool qualifies) {
    if (qualifies) {
      ++open_;
    } else {
      if (open_ > longest_) longest_ = open_;
      open_ = 0;
    }
  }
  int32_t longest() const { return longest_; }

 private:
  int32_t open_ = 0;
  int32_t longest_ = 0;
};

}  // namespace

int32_t is_water(const uint8_t *image, int32_t width, int32_t height) {
  if (is_empty(width, height)) return 0;
  streak_counter rows;
  for (int32_t row = 0; row < height; ++row) {
    rows.add(line_qualifies(image + row * width, width, 1, 1));
  }
  streak_counter columns;
  for (int32_t col = 0; col < width; ++col) {
    columns.add(line_qualifies(image + col, height, width, 0));
  }
  return rows.longest() > 20 || columns.longest() > 20 ? 1 : 0;
}

}  // namespace simple
