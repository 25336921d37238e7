#include "tools/image/frame_file.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <memory>
#include <sstream>
#include <stb_image.h>
#include <stb_image_write.h>
#include <string_view>
#include <zlib.h>

#include <orva_fp/image.h>

#include "tools/image/text.h"
#include "tools/output_file.h"

namespace tools {

namespace {

namespace fs = std::filesystem;
using bytes = std::vector<uint8_t>;

static_assert(std::endian::native == std::endian::little, "raw samples are little-endian");

constexpr size_t kLargestFile = 256u << 20;
constexpr size_t kBmpFileHeader = 14;
constexpr size_t kBmpHeaders = kBmpFileHeader + 40;
constexpr size_t kBmpPalette = 4 * 256;
constexpr std::string_view kPngSignature = "\x89PNG\r\n\x1a\n";
// The chunk of text that follows the header in our own pictures, with its length and checksum.
constexpr size_t kPngHeader = 33;
constexpr std::string_view kSheetMark(
    "\0\0\0\x16tEXtSoftware\0orva-fp sheet"
    "\xb0\x23\x7b\x31",
    34);

std::string extension_of(const fs::path &file) {
  std::string extension = file.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension.empty() ? extension : extension.substr(1);
}

bytes read_file(const fs::path &file) {
  struct closed {
    void operator()(FILE *stream) const { fclose(stream); }
  };
  std::unique_ptr<FILE, closed> opened;
  FILE *stream = stdin;
  if (file != kStandardStream) {
    opened.reset(fopen(file.c_str(), "rb"));
    stream = opened.get();
    if (stream == nullptr) throw frame_error(file, strerror(errno));
  }
  bytes content;
  size_t size = 0;
  do {
    content.resize(std::max<size_t>(2 * size, 64 << 10));
    size += fread(&content[size], 1, content.size() - size, stream);
    if (ferror(stream)) throw frame_error(file, strerror(errno));
    if (size > kLargestFile) throw frame_error(file, "larger than any frame may be");
  } while (size == content.size());
  if (size == 0) throw frame_error(file, "the file is empty");
  content.resize(size);
  return content;
}

void need_size(const fs::path &file, int64_t width, int64_t height) {
  if (width <= 0 || height <= 0) {
    throw frame_error(file, fmt::format("{} x {} holds no pixel", width, height));
  }
  if (width > kLargestFrame || height > kLargestFrame || width * height > kLargestFrame) {
    throw frame_error(file, fmt::format("{} x {} is more than the {} pixels a frame may have",
                                        width, height, kLargestFrame));
  }
}

void need_bytes(const fs::path &file, int64_t needed, size_t present) {
  if (needed > static_cast<int64_t>(present)) {
    throw frame_error(file, fmt::format("truncated: {} bytes instead of {}", present, needed));
  }
}

uint32_t little_endian(const uint8_t *at, size_t size) {
  uint32_t value = 0;
  for (size_t i = size; i-- > 0;) value = value << 8 | at[i];
  return value;
}

uint32_t big_endian(const uint8_t *at) { return __builtin_bswap32(little_endian(at, 4)); }

// The library's reader takes the header at its word, so all of it is looked at here.
frame load_bmp(const fs::path &file, bytes content) {
  need_bytes(file, kBmpHeaders, content.size());
  const auto word = [&](size_t at) { return little_endian(&content[at], 4); };
  const int64_t offset = word(10), dib_size = word(14);
  const int64_t width = static_cast<int32_t>(word(18));
  const int64_t stored_height = static_cast<int32_t>(word(22));
  const int64_t height = stored_height < 0 ? -stored_height : stored_height;
  const uint32_t bits = little_endian(&content[28], 2), compression = word(30), colours = word(46);

  if (dib_size < 40) throw frame_error(file, "a BMP of an outdated kind");
  if (bits != 8) {
    throw frame_error(file, fmt::format("a BMP of {} bits per pixel, not 8", bits));
  }
  if (compression != 0) throw frame_error(file, "a compressed BMP");
  need_size(file, width, height);
  if (offset < static_cast<int64_t>(kBmpHeaders)) {
    throw frame_error(file, "the BMP's pixels would begin inside its header");
  }
  need_bytes(file, offset + (width + 3) / 4 * 4 * height, content.size());

  const int64_t palette = static_cast<int64_t>(kBmpFileHeader) + dib_size;
  const int64_t entries = std::min<int64_t>(colours == 0 ? 256 : colours, (offset - palette) / 4);
  for (int64_t i = 0; i < entries; ++i) {
    const uint8_t *entry = &content[static_cast<size_t>(palette + 4 * i)];
    if (entry[0] != i || entry[1] != i || entry[2] != i) {
      throw frame_error(file, "a BMP with a palette that is not grey level by level");
    }
  }

  // A top-down file is stored upright, but the reader skips negative heights.
  if (stored_height < 0) {
    for (size_t i = 0; i < 4; ++i) content[22 + i] = static_cast<uint8_t>(height >> (8 * i));
  }
  frame f;
  f.pixels.resize(static_cast<size_t>(width * height));
  get_raw_data_from_bmp(content.data(), f.pixels.data(), &f.width, &f.height);
  if (stored_height > 0) flip_vertical(f.pixels.data(), f.width, f.height);
  return f;
}

// stb looks at no checksum, and takes what is there of a cut file.
void check_png_chunks(const fs::path &file, const bytes &content) {
  for (size_t at = kPngSignature.size();;) {
    constexpr size_t kAround = 12;  // length, kind and checksum
    const size_t left = content.size() - at;
    const uint32_t length = left < kAround ? UINT32_MAX : big_endian(&content[at]);
    if (left < kAround || length > left - kAround) {
      throw frame_error(file, fmt::format("damaged PNG: truncated after {} bytes", content.size()));
    }
    const uint8_t *kind = &content[at + 4];
    if (crc32(0, kind, length + 4) != big_endian(kind + 4 + length)) {
      throw frame_error(file, "damaged PNG: a checksum is wrong");
    }
    if (memcmp(kind, "IEND", 4) == 0) return;
    at += kAround + length;
  }
}

frame load_png(const fs::path &file, const bytes &content) {
  check_png_chunks(file, content);
  if (content.size() > kPngHeader + kSheetMark.size() &&
      memcmp(&content[kPngHeader], kSheetMark.data(), kSheetMark.size()) == 0) {
    throw sheet_error(file);
  }
  const auto length = static_cast<int>(content.size());
  frame f;
  int channels = 0;
  const bool known =
      stbi_info_from_memory(content.data(), length, &f.width, &f.height, &channels) != 0;
  if (known) need_size(file, f.width, f.height);
  // Levels of 8 bits come as both halves of 16.
  const size_t kept = channels > 2 ? 3 : 1;
  const std::unique_ptr<stbi_us, decltype(&stbi_image_free)> samples(
      known ? stbi_load_16_from_memory(content.data(), length, &f.width, &f.height, &channels,
                                       static_cast<int>(kept))
            : nullptr,
      stbi_image_free);
  if (!samples) {
    const char *reason = stbi_failure_reason();
    throw frame_error(file, fmt::format("damaged PNG: {}", reason ? reason : "unknown reason"));
  }
  for (const stbi_us *s = samples.get(), *end = s + f.size() * kept; s != end; s += kept) {
    if (s[0] != s[kept - 1] || s[0] != s[kept / 2]) throw frame_error(file, "a colour image");
    f.samples.push_back(s[0]);
  }
  if (!stbi_is_16_bit_from_memory(content.data(), length)) {
    f.pixels.assign(f.samples.begin(), f.samples.end());
    f.samples.clear();
  }
  return f;
}

// stb does not tell the largest level of a PGM, leaves 16-bit samples in the order of the file and
// takes cut files.
frame load_pgm(const fs::path &file, const bytes &content) {
  std::istringstream header(std::string(
      content.begin(), content.begin() + std::min<ptrdiff_t>(std::ssize(content), 4096)));
  header.ignore(2);
  int64_t numbers[3];  // width, height and the largest level, between which there may be comments
  for (int64_t &number : numbers) {
    while ((header >> std::ws).peek() == '#') header.ignore(4096, '\n');
    if (!(header >> number)) throw frame_error(file, "damaged PGM: the header lacks a number");
  }
  const auto [width, height, largest] = numbers;
  need_size(file, width, height);
  if (largest < 255 || largest > 65535) {
    throw frame_error(file, fmt::format("a PGM with levels to {}, not 255 to 65535", largest));
  }
  const int64_t start = static_cast<int64_t>(header.tellg()) + 1;  // after one white space
  need_bytes(file, start + width * height * (largest > 255 ? 2 : 1), content.size());

  frame f{static_cast<int32_t>(width), static_cast<int32_t>(height), {}, {}};
  const uint8_t *data = content.data() + start;
  if (largest == 255) {
    f.pixels.assign(data, data + f.size());
    return f;
  }
  f.sample_bits = static_cast<int32_t>(std::bit_width(static_cast<uint32_t>(largest)));
  f.samples.reserve(f.size());
  for (size_t i = 0; i < f.size(); ++i) {
    f.samples.push_back(static_cast<uint16_t>(data[2 * i] << 8 | data[2 * i + 1]));
    if (f.samples[i] > largest) {
      throw frame_error(file, fmt::format("damaged PGM: a sample of {} where {} is the largest",
                                          f.samples[i], largest));
    }
  }
  return f;
}

frame load_raw(const fs::path &file, const bytes &content, const raw_layout &layout) {
  if (layout.width == 0 || layout.height == 0) {
    throw frame_error(file, "raw samples need --width and --height");
  }
  need_size(file, layout.width, layout.height);
  frame f{layout.width, layout.height, {}, {}};
  const size_t count = f.size();
  if (layout.bits != 16 && content.size() == count) {
    f.pixels = content;
  } else if (layout.bits != 8 && content.size() == 2 * count) {
    f.samples.resize(count);
    memcpy(f.samples.data(), content.data(), content.size());
  } else {
    const std::string needed = layout.bits != 0
                                   ? fmt::format("{}", count * static_cast<size_t>(layout.bits / 8))
                                   : fmt::format("{} (8 bits) or {} (16 bits)", count, 2 * count);
    throw frame_error(file, fmt::format("{} bytes; a raw frame of {} x {} has {}", content.size(),
                                        f.width, f.height, needed));
  }
  return f;
}

// 8 bits with a grey palette; stb writes colours only.
bytes bmp_bytes(const frame &f) {
  const auto width = static_cast<size_t>(f.width);
  const size_t stride = (width + 3) / 4 * 4;
  constexpr uint32_t kOffset = kBmpHeaders + kBmpPalette;
  const auto size = static_cast<uint32_t>(stride * static_cast<size_t>(f.height));
  constexpr uint32_t kDotsPerMetre = 2835;
  std::vector<uint32_t> words = {kOffset + size,
                                 0,
                                 kOffset,
                                 40,
                                 static_cast<uint32_t>(f.width),
                                 static_cast<uint32_t>(f.height),
                                 1 | 8 << 16,
                                 0,
                                 size,
                                 kDotsPerMetre,
                                 kDotsPerMetre,
                                 256,
                                 0};
  for (uint32_t level = 0; level < 256; ++level) words.push_back(level * 0x010101u);
  bytes out(kOffset + size);
  memcpy(out.data(), "BM", 2);
  memcpy(&out[2], words.data(), words.size() * sizeof words[0]);
  for (size_t row = 0; row < static_cast<size_t>(f.height); ++row) {
    memcpy(&out[out.size() - (row + 1) * stride], &f.pixels[row * width], width);
  }
  return out;
}

bytes pgm_bytes(const frame &f) {
  int32_t largest = 255;
  if (f.is_raw()) {
    largest = (1 << f.sample_bits) - 1;
    if (*std::max_element(f.samples.begin(), f.samples.end()) > largest) largest = 65535;
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
  bytes out = f.pixels;
  out.resize(f.pixels.size() + 2 * f.samples.size());
  if (f.is_raw()) memcpy(out.data(), f.samples.data(), out.size());
  return out;
}

bytes png_bytes(const frame &f) {
  bytes out;
  const auto collect = [](void *context, void *data, int size) {
    const auto *begin = static_cast<const uint8_t *>(data);
    auto *to = static_cast<bytes *>(context);
    to->insert(to->end(), begin, begin + size);
  };
  stbi_write_png_to_func(collect, &out, f.width, f.height, 1, f.pixels.data(), f.width);
  return out;
}

}  // namespace

frame_error::frame_error(const fs::path &file, const std::string &reason)
    : command_error(kBadFrame, printable(file) + ": " + reason) {}

sheet_error::sheet_error(const fs::path &file) : frame_error(file, "a sheet, not a frame") {}

frame load_frame(const fs::path &file, const raw_layout &layout) {
  bytes content = read_file(file);
  const auto begins_with = [&](std::string_view magic) {
    return content.size() >= magic.size() &&
           memcmp(content.data(), magic.data(), magic.size()) == 0;
  };
  const std::string extension = extension_of(file);
  if (layout.always || extension == "raw" || extension == "bin") {
    return load_raw(file, content, layout);
  }
  if (begins_with("BM")) return load_bmp(file, std::move(content));
  if (begins_with(kPngSignature)) return load_png(file, content);
  if (begins_with("P5")) return load_pgm(file, content);
  for (const std::string known : {"png", "bmp", "pgm"}) {
    if (extension == known) throw frame_error(file, "damaged: does not begin like a " + known);
  }
  throw frame_error(file, "neither BMP nor PNG nor PGM; raw samples need --raw");
}

std::string output_format(const fs::path &file, const std::string &given, bool raw_samples) {
  const std::string format = !given.empty()            ? given
                             : file == kStandardStream ? "pgm"
                                                       : extension_of(file);
  const bool any_depth = format == "pgm" || format == "raw" || format == "bin";
  const auto refuse = [&](const char *why) {
    throw command_error(kBadOutput, printable(file) + ": " + why);
  };
  if (!any_depth && format != "png" && format != "bmp") {
    refuse("the extension must be .png, .pgm, .bmp, .raw or .bin");
  }
  if (raw_samples && !any_depth) refuse("16-bit samples can be kept in .pgm, .raw and .bin only");
  return format;
}

void save_frame(const fs::path &file, const std::string &format, const frame &f) {
  write_output_file(file, format == "png"   ? png_bytes(f)
                          : format == "bmp" ? bmp_bytes(f)
                          : format == "pgm" ? pgm_bytes(f)
                                            : raw_bytes(f));
}

void save_sheet(const fs::path &file, bytes png) {
  png.insert(png.begin() + kPngHeader, kSheetMark.begin(), kSheetMark.end());
  write_output_file(file, png);
}

}  // namespace tools
