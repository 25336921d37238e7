// Pixel rows of 8-bit BMP files that are held in memory.
#include <cstddef>
#include <cstring>

#include "algorithm/plane.h"
#include "orva_fp/image.h"

namespace {

constexpr size_t kPixelOffsetField = 10;
constexpr size_t kWidthField = 18;
constexpr size_t kHeightField = 22;

// Stored rows are filled up to a multiple of this.
constexpr int64_t kRowAlignment = 4;

// Little-endian on any processor and at any alignment.
uint32_t read_field(const uint8_t *bmp, size_t offset) {
  uint32_t value = 0;
  for (size_t i = 0; i < sizeof value; ++i) {
    value |= static_cast<uint32_t>(bmp[offset + i]) << (8 * i);
  }
  return value;
}

}  // namespace

int32_t get_raw_data_from_bmp(const uint8_t *bmp, uint8_t *dst, int32_t *width, int32_t *height) {
  const int32_t columns = static_cast<int32_t>(read_field(bmp, kWidthField));
  const int32_t rows = static_cast<int32_t>(read_field(bmp, kHeightField));
  const int64_t stored_row = (int64_t{columns} + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  const auto stored =
      orva::plane(bmp + read_field(bmp, kPixelOffsetField), columns, rows, stored_row).joined();
  for (size_t y = 0; y < stored.height; ++y) {
    memcpy(dst + y * stored.width, stored.row(y), stored.width);
  }
  if (width != nullptr) *width = columns;
  if (height != nullptr) *height = rows;
  return 1;
}

int32_t save_raw_data_to_bmp(uint8_t * /*bmp*/, const uint8_t * /*src*/, const int32_t * /*width*/,
                             const int32_t * /*height*/) {
  return 1;
}
