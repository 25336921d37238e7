#include "simple/simple_forms.h"

namespace simple {

int32_t get_raw_data_from_bmp(const uint8_t *bmp, uint8_t *dst, int32_t *width, int32_t *height) {
  uint32_t fields[3] = {};  // pixel offset, width, height
  static constexpr int32_t kPlaces[3] = {10, 18, 22};
  for (int32_t k = 0; k < 3; ++k) {
    for (int32_t i = 3; i >= 0; --i) fields[k] = fields[k] * 256 + bmp[kPlaces[k] + i];
  }
  const int32_t columns = static_cast<int32_t>(fields[1]);
  const int32_t rows = static_cast<int32_t>(fields[2]);
  int64_t stored = columns;
  while (stored % 4 != 0) ++stored;
  for (int32_t y = 0; !is_empty(columns, rows) && y < rows; ++y) {
    for (int32_t x = 0; x < columns; ++x) dst[y * columns + x] = bmp[fields[0] + y * stored + x];
  }
  if (width != nullptr) *width = columns;
  if (height != nullptr) *height = rows;
  return 1;
}

}  // namespace simple
