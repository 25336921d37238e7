#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "support/guarded_buffer.h"

namespace {

using support::guard;
using support::guarded_buffer;

constexpr size_t kHeaderEnd = 26;
constexpr uint8_t kFill = 0xEE;

void put_field(std::vector<uint8_t> &file, size_t offset, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) file[offset + i] = static_cast<uint8_t>(value >> (8 * i));
}

// A file that ends with the last stored row; everything outside the pixels is kFill.
std::vector<uint8_t> make_bmp(uint32_t pixel_offset, int32_t width, int32_t height) {
  std::vector<uint8_t> file(pixel_offset, kFill);
  put_field(file, 10, pixel_offset);
  put_field(file, 18, static_cast<uint32_t>(width));
  put_field(file, 22, static_cast<uint32_t>(height));
  uint8_t pixel = 0;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) file.push_back(pixel++);
    while ((file.size() - pixel_offset) % 4 != 0) file.push_back(kFill);
  }
  return file;
}

TEST(Bmp, RowsWithoutTheirFillBytesAtAnyAlignment) {
  for (const uint32_t pixel_offset : {26u, 27u, 1078u}) {
    for (const int32_t width : {1, 2, 3, 4, 5, 8, 31, 33}) {
      const size_t count = static_cast<size_t>(width) * 3;
      const guard side = pixel_offset % 2 == 0 ? guard::kEnd : guard::kStart;
      const guarded_buffer<uint8_t> file(make_bmp(pixel_offset, width, 3), side);
      guarded_buffer<uint8_t> dst(count, side);
      int32_t reported_width = 0;
      int32_t reported_height = 0;
      EXPECT_EQ(get_raw_data_from_bmp(file.data(), dst.data(), &reported_width, &reported_height),
                1);
      EXPECT_EQ(reported_width, width);
      EXPECT_EQ(reported_height, 3);
      EXPECT_TRUE(dst.red_zone_intact());
      for (size_t i = 0; i < count; ++i) ASSERT_EQ(dst.data()[i], i) << width;
    }
  }
}

TEST(Bmp, EitherPlaceMayBeNull) {
  const guarded_buffer<uint8_t> file(make_bmp(1078, 5, 2));
  guarded_buffer<uint8_t> dst(10);
  EXPECT_EQ(get_raw_data_from_bmp(file.data(), dst.data(), nullptr, nullptr), 1);
  for (size_t i = 0; i < 10; ++i) EXPECT_EQ(dst.data()[i], i);
  int32_t value = 0;
  EXPECT_EQ(get_raw_data_from_bmp(file.data(), dst.data(), &value, nullptr), 1);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(get_raw_data_from_bmp(file.data(), dst.data(), nullptr, &value), 1);
  EXPECT_EQ(value, 2);
}

TEST(Bmp, WithoutPixelsOnlyTheHeaderIsReported) {
  struct {
    int32_t width;
    int32_t height;
  } const cases[] = {{4, -3}, {4, 0}, {0, 3}, {-5, 3}, {-5, -3}, {INT32_MAX, INT32_MIN}};
  for (const auto &c : cases) {
    std::vector<uint8_t> header(kHeaderEnd, kFill);
    put_field(header, 18, static_cast<uint32_t>(c.width));
    put_field(header, 22, static_cast<uint32_t>(c.height));
    const guarded_buffer<uint8_t> file(header);
    int32_t width = 1;
    int32_t height = 1;
    EXPECT_EQ(get_raw_data_from_bmp(file.data(), nullptr, &width, &height), 1);
    EXPECT_EQ(width, c.width);
    EXPECT_EQ(height, c.height);
  }
}

TEST(Bmp, SavingDoesNothing) {
  const int32_t size = 2;
  guarded_buffer<uint8_t> file(16);
  const uint8_t pixels[4] = {};
  EXPECT_EQ(save_raw_data_to_bmp(file.data(), pixels, &size, &size), 1);
  EXPECT_EQ(std::count(file.data(), file.data() + 16, 0xA5), 16);
  EXPECT_EQ(save_raw_data_to_bmp(nullptr, nullptr, nullptr, nullptr), 1);
}

}  // namespace
