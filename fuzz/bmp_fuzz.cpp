// get_raw_data_from_bmp on files and destinations that end and begin at unreadable pages, compared
// with a bytewise form.
#include <cstring>
#include <vector>

#include <orva_fp/image.h>

#include "fuzz/expect.h"
#include "support/guarded_buffer.h"
#include "support/input.h"

namespace {

using support::guard;
using support::guarded_buffer;

constexpr size_t kHeaderSize = 26;
constexpr size_t kLargestFile = 20000;

uint32_t read32(const std::vector<uint8_t> &file, size_t at) {
  return file[at] | file[at + 1] * 256u | file[at + 2] * 65536u | file[at + 3] * 16777216u;
}

void write32(std::vector<uint8_t> *file, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) (*file)[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// Where row y's pixel x is stored.
size_t place(uint32_t offset, int32_t width, int32_t y, int32_t x) {
  size_t stride = static_cast<size_t>(width);
  while (stride % 4 != 0) ++stride;
  return offset + static_cast<size_t>(y) * stride + static_cast<size_t>(x);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  support::input in(data, size);
  const uint8_t choices = in.byte();
  const guard side = (choices & 1) != 0 ? guard::kStart : guard::kEnd;
  const auto raw = in.bytes(size);
  std::vector<uint8_t> file(raw.begin(), raw.end());
  if (file.size() < kHeaderSize) file.resize(kHeaderSize);

  int32_t width = static_cast<int32_t>(read32(file, 18));
  int32_t height = static_cast<int32_t>(read32(file, 22));
  size_t pixels = 0;
  if (width > 0 && height > 0) {
    // The caller's duty: a file that is complete.
    width = (width - 1) % 300 + 1;
    height = (height - 1) % 40 + 1;
    const uint32_t offset = std::max<uint32_t>(read32(file, 10) % 2000, kHeaderSize);
    pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    write32(&file, 10, offset);
    write32(&file, 18, static_cast<uint32_t>(width));
    write32(&file, 22, static_cast<uint32_t>(height));
    const size_t had = file.size();
    file.resize(std::min(place(offset, width, height - 1, width), kLargestFile));
    for (size_t i = had; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i * 7);
  }

  const guarded_buffer<uint8_t> bmp(file, side);
  guarded_buffer<uint8_t> frame(pixels, side);
  int32_t told_width = 77;
  int32_t told_height = 77;
  const bool tell_width = (choices & 2) == 0;
  const bool tell_height = (choices & 4) == 0;
  const int32_t result =
      get_raw_data_from_bmp(bmp.data(), frame.data(), tell_width ? &told_width : nullptr,
                            tell_height ? &told_height : nullptr);
  fuzz::expect(result == 1, "bmp", "result");
  fuzz::expect(told_width == (tell_width ? width : 77), "bmp", "width");
  fuzz::expect(told_height == (tell_height ? height : 77), "bmp", "height");
  fuzz::expect(memcmp(bmp.data(), file.data(), file.size()) == 0, "bmp", "the file has changed");
  fuzz::expect(frame.red_zone_intact(), "bmp", "red zone");
  if (pixels == 0) return 0;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const uint8_t copied = frame.data()[y * width + x];
      fuzz::expect(copied == file[place(read32(file, 10), width, y, x)], "bmp", "pixel");
    }
  }
  return 0;
}
