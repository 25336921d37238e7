#include <memory>

#include "bench.h"

namespace bench {

namespace {

// A wide dark stretch in 20 of every 21 rows: every row has to be looked at, and no streak is long
// enough.
std::vector<uint8_t> dark_rows(support::frame_size size) {
  std::vector<uint8_t> frame = support::make_frame(support::pattern::kNarrow, size, 1);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      const bool dark = y % 21 < 20 && x > size.width / 4 && x < size.width * 3 / 4;
      if (!dark) frame[static_cast<size_t>(y * size.width + x)] = 200;
    }
  }
  return frame;
}

// A dark band of 22 columns, three quarters of the way to the right.
std::vector<uint8_t> dark_band(support::frame_size size) {
  std::vector<uint8_t> frame = support::make_frame(support::pattern::kNarrow, size, 1);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      const int32_t into_band = x - size.width * 3 / 4;
      const bool dark = into_band >= 0 && into_band < 22 && y < size.height * 3 / 4;
      if (!dark) frame[static_cast<size_t>(y * size.width + x)] = 200;
    }
  }
  return frame;
}

void add_row(const char *name, support::frame_size size, std::vector<uint8_t> frame) {
  const auto image = std::make_shared<std::vector<uint8_t>>(std::move(frame));
  const auto form = [=](auto function) {
    return [=] { consume(function(image->data(), size.width, size.height)); };
  };
  add({name, size, size.pixels(), ceiling::kRead, form(::is_water), form(simple::is_water), {}});
}

}  // namespace

void add_water() {
  for (const support::frame_size size : sizes()) {
    add_row("is_water plain", size, support::make_frame(support::pattern::kRidges, size, 1));
    add_row("is_water many dark rows", size, dark_rows(size));
    add_row("is_water band", size, dark_band(size));
  }
}

}  // namespace bench
