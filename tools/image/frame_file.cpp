#include "tools/image/frame_file.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iostream>
#include <locale>
#include <lodepng.h>
#include <sstream>
#include <string_view>

#include "simulator/json_reader.h"
#include "tools/image/canvas.h"
#include "tools/image/text.h"
#include "tools/output_file.h"

namespace tools {

namespace {

namespace fs = std::filesystem;
using bytes = std::vector<uint8_t>;

static_assert(std::endian::native == std::endian::little, "raw samples and BMP are little-endian");

constexpr size_t kLargestFile = 256u << 20;
constexpr int64_t kBmpFileHeader = 14;
constexpr int64_t kBmpHeaders = kBmpFileHeader + 40;
// The text by which our own pictures are known.
constexpr char kSoftware[] = "Software", kSheet[] = "orva-fp sheet";

std::string extension_of(const fs::path &file) {
  std::string extension = file.extension().string();
  for (char &c : extension) c = std::tolower(c, std::locale::classic());
  return extension.empty() ? extension : extension.substr(1);
}

// The bytes of a file, and what is wrong with them.
struct input {
  const fs::path &file;
  std::string content;

  template <typename... Parts>
  void need(bool holds, fmt::format_string<Parts...> reason, Parts &&...parts) const {
    if (!holds) throw frame_error(file, fmt::format(reason, std::forward<Parts>(parts)...));
  }
  void need_bytes(int64_t needed) const {
    need(needed <= std::ssize(content), "truncated: {} bytes instead of {}", content.size(),
         needed);
  }
  // A frame of that size, without pixels.
  frame sized(int64_t width, int64_t height) const {
    need(width > 0 && height > 0, "{} x {} holds no pixel", width, height);
    need(width <= kLongestSide && height <= kLongestSide && width * height <= kLargestFrame,
         "{} x {} is more than the {} pixels a frame may have, or {} on a side", width, height,
         kLargestFrame, kLongestSide);
    return {static_cast<int32_t>(width), static_cast<int32_t>(height), {}, {}};
  }
  uint8_t *at(int64_t place) { return reinterpret_cast<uint8_t *>(content.data()) + place; }
  uint32_t word(int64_t at) const {
    uint32_t value;
    memcpy(&value, content.data() + at, sizeof value);
    return value;
  }
};

// The library's reader takes the header at its word, so all of it is looked at here.
frame load_bmp(input &in) {
  in.need_bytes(kBmpHeaders);
  const int64_t offset = in.word(10), palette = kBmpFileHeader + in.word(14);
  const auto width = static_cast<int32_t>(in.word(18));
  const int64_t stored_height = static_cast<int32_t>(in.word(22)), height = std::abs(stored_height);
  const uint32_t bits = in.word(28) & 0xffff, compression = in.word(30), colours = in.word(46);

  in.need(palette >= kBmpHeaders, "a BMP of an outdated kind");
  in.need(bits == 8, "a BMP of {} bits per pixel, not 8", bits);
  in.need(compression == 0, "a compressed BMP");
  frame f = in.sized(width, height);
  in.need(offset >= kBmpHeaders, "the BMP's pixels would begin inside its header");
  in.need_bytes(offset + (int64_t{width} + 3) / 4 * 4 * height);

  const int64_t entries = std::min<int64_t>(colours == 0 ? 256 : colours, (offset - palette) / 4);
  for (int64_t i = 0; i < entries; ++i) {
    in.need((in.word(palette + 4 * i) & 0xffffff) == i * 0x010101,
            "a BMP with a palette that is not grey level by level");
  }

  // A top-down file is stored upright, but the reader skips negative heights.
  memcpy(&in.content[22], &f.height, sizeof f.height);
  f.pixels.resize(f.size());
  get_raw_data_from_bmp(in.at(0), f.pixels.data(), nullptr, nullptr);
  if (stored_height > 0) flip_vertical(f.pixels.data(), f.width, f.height);
  return f;
}

// Decoded as colours of 16 bits, of which grey has three equal ones and 8 bits two equal halves.
frame load_png(input &in) {
  lodepng::State png;
  png.info_raw.colortype = LCT_RGB;
  png.info_raw.bitdepth = 16;
  const auto need_none = [&](unsigned error) {
    in.need(error == 0, "damaged PNG: {}", lodepng_error_text(error));
  };
  unsigned width = 0, height = 0;
  bytes colours;
  need_none(lodepng_inspect(&width, &height, &png, in.at(0), in.content.size()));
  frame f = in.sized(width, height);
  need_none(lodepng::decode(colours, width, height, png, in.at(0), in.content.size()));
  for (size_t i = 0; i < png.info_png.text_num; ++i) {
    if (png.info_png.text_strings[i] == std::string_view(kSheet)) {
      throw sheet_error(in.file, "a sheet, not a frame");
    }
  }
  for (size_t i = 0; i < colours.size(); i += 6) {
    const uint8_t *c = &colours[i];
    in.need(memcmp(c, c + 2, 4) == 0, "a colour image");
    if (png.info_png.color.bitdepth == 16) {
      f.samples.push_back(static_cast<uint16_t>(c[0] << 8 | c[1]));
    } else {
      f.pixels.push_back(c[0]);
    }
  }
  return f;
}

frame load_pgm(input &in) {
  std::istringstream header(in.content.substr(0, 4096));
  header.ignore(2);
  int64_t numbers[3];  // width, height and the largest level, between which there may be comments
  for (int64_t &number : numbers) {
    while ((header >> std::ws).peek() == '#') header.ignore(4096, '\n');
    in.need(!!(header >> number), "damaged PGM: the header lacks a number");
  }
  const auto [width, height, largest] = numbers;
  frame f = in.sized(width, height);
  in.need(largest >= 255 && largest <= 65535, "a PGM with levels to {}, not 255 to 65535", largest);
  header.clear();  // of an end right behind the numbers
  const int64_t start = static_cast<int64_t>(header.tellg()) + 1;  // after one white space
  in.need_bytes(start + width * height * (largest > 255 ? 2 : 1));

  const uint8_t *data = in.at(start);
  if (largest == 255) {
    f.pixels.assign(data, data + f.size());
    return f;
  }
  f.largest = static_cast<int32_t>(largest);
  f.sample_bits = std::bit_width(static_cast<uint16_t>(largest));
  for (size_t i = 0; i < f.size(); ++i) {
    const int32_t sample = data[2 * i] << 8 | data[2 * i + 1];
    in.need(sample <= largest, "damaged PGM: a sample of {} where {} is the largest", sample,
            largest);
    f.samples.push_back(static_cast<uint16_t>(sample));
  }
  return f;
}

frame load_raw(input &in, const raw_layout &layout) {
  in.need(layout.width != 0 && layout.height != 0, "raw samples need --width and --height");
  frame f = in.sized(layout.width, layout.height);
  const size_t size = in.content.size(), count = f.size();
  const bool wide = layout.bits != 0 ? layout.bits == 16 : size != count;
  in.need(size == (wide ? 2 : 1) * count,
          "{} bytes; a raw frame of {} x {} has {} (8 bits) or {} (16 bits)", size, f.width,
          f.height, count, 2 * count);
  if (wide) {
    f.samples.resize(count);
    memcpy(f.samples.data(), in.content.data(), size);
  } else {
    f.pixels.assign(in.at(0), in.at(std::ssize(in.content)));
  }
  return f;
}

// 8 bits with a grey palette.
bytes bmp_bytes(const frame &f) {
  constexpr uint32_t kOffset = kBmpHeaders + 4 * 256, kDotsPerMetre = 2835;
  const auto width = static_cast<uint32_t>(f.width), height = static_cast<uint32_t>(f.height);
  const uint32_t stride = (width + 3) / 4 * 4, size = stride * height;
  std::vector<uint32_t> words = {kOffset + size, 0,           kOffset, 40,   width,
                                 height,         1 | 8 << 16, 0,       size, kDotsPerMetre,
                                 kDotsPerMetre,  256,         0};
  for (uint32_t level = 0; level < 256; ++level) words.push_back(level * 0x010101u);
  bytes out = {'B', 'M'};
  out.resize(kOffset + size);
  memcpy(&out[2], words.data(), kOffset - 2);
  for (size_t row = 0; row < height; ++row) {
    memcpy(&out[out.size() - (row + 1) * stride], &f.pixels[row * width], width);
  }
  return out;
}

bytes pgm_bytes(const frame &f) {
  int32_t largest = 255;
  if (f.is_raw()) {
    largest = (1 << f.sample_bits) - 1;
    if (*std::ranges::max_element(f.samples) > largest) largest = 65535;
  }
  const std::string header = fmt::format("P5\n{} {}\n{}\n", f.width, f.height, largest);
  bytes out(header.begin(), header.end());
  out.insert(out.end(), f.pixels.begin(), f.pixels.end());
  for (const uint16_t sample : f.samples) {
    out.push_back(static_cast<uint8_t>(sample >> 8));
    out.push_back(static_cast<uint8_t>(sample));
  }
  return out;
}

bytes raw_bytes(const frame &f) {
  const auto *samples = reinterpret_cast<const uint8_t *>(f.samples.data());
  return f.is_raw() ? bytes(samples, samples + 2 * f.samples.size()) : f.pixels;
}

bytes png_bytes(const frame &f) {
  bytes out;
  lodepng::encode(out, f.pixels, static_cast<unsigned>(f.width), static_cast<unsigned>(f.height),
                  LCT_GREY);
  return out;
}

struct file_format {
  std::string_view name;
  bool any_depth;
  bytes (*encode)(const frame &);
  // Of those that are known by how they begin.
  std::string_view begin = {};
  frame (*load)(input &) = nullptr;
};
constexpr file_format kFormats[] = {
    {"png", false, png_bytes, "\x89PNG\r\n\x1a\n", load_png},
    {"pgm", true, pgm_bytes, "P5", load_pgm},
    {"bmp", false, bmp_bytes, "BM", load_bmp},
    {"raw", true, raw_bytes},
    {"bin", true, raw_bytes},
};

frame decode(input &in, const raw_layout &layout) {
  const auto *named = std::ranges::find(kFormats, extension_of(in.file), &file_format::name);
  const bool known = named != std::end(kFormats);
  if (layout.always || (known && named->load == nullptr)) return load_raw(in, layout);
  for (const file_format &format : kFormats) {
    if (format.load != nullptr && in.content.starts_with(format.begin)) return format.load(in);
  }
  throw frame_error(in.file, known ? fmt::format("damaged: does not begin like a {}", named->name)
                                   : "neither BMP nor PNG nor PGM; raw samples need --raw");
}

}  // namespace

frame_error::frame_error(const fs::path &file, const std::string &reason)
    : command_error(kBadFrame, printable(file) + ": " + reason) {}

frame load_frame(const fs::path &file, const raw_layout &layout) {
  std::string problem;
  const auto content = file == kStandardStream
                           ? simulator::read_bytes(std::cin, kLargestFile, problem)
                           : simulator::read_bytes(file, kLargestFile, problem);
  if (!content) throw frame_error(file, problem);
  input in{file, *content};
  in.need(!in.content.empty(), "the file is empty");
  frame f = decode(in, layout);
  if (layout.sample_bits != 0) f.sample_bits = layout.sample_bits;
  if (!f.is_raw() || !layout.transposed) return f;
  frame upright = f;
  std::swap(upright.width, upright.height);
  transpose_remove_T_dummy(f.samples.data(), upright.width, upright.height, 1,
                           upright.samples.data());
  return upright;
}

std::vector<std::string> output_formats() {
  std::vector<std::string> names;
  for (const file_format &format : kFormats) names.emplace_back(format.name);
  return names;
}

std::string output_format(const fs::path &file, const std::string &given, bool raw_samples) {
  const std::string name = !given.empty()            ? given
                           : file == kStandardStream ? "pgm"
                                                     : extension_of(file);
  const auto *format = std::ranges::find(kFormats, name, &file_format::name);
  need(format != std::end(kFormats), kBadOutput,
       "{}: the extension must be .png, .pgm, .bmp, .raw or .bin", printable(file));
  need(format->any_depth || !raw_samples, kBadOutput,
       "{}: 16-bit samples can be kept in .pgm, .raw and .bin only", printable(file));
  return name;
}

void save_frame(const fs::path &file, const std::string &format, const frame &f) {
  write_output_file(file, std::ranges::find(kFormats, format, &file_format::name)->encode(f));
}

void save_sheet(const fs::path &file, const canvas &drawn) {
  lodepng::State png;
  png.info_raw.colortype = LCT_RGB;
  lodepng_add_text(&png.info_png, kSoftware, kSheet);
  bytes out;
  lodepng::encode(out, drawn.rgb(), static_cast<unsigned>(drawn.width()),
                  static_cast<unsigned>(drawn.height()), png);
  write_output_file(file, out);
}

}  // namespace tools
