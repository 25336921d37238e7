#include "tools/image/frame_file.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <stb_image.h>
#include <stb_image_write.h>
#include <string_view>
#include <system_error>

#include <orva_fp/image.h>

namespace tools {

namespace {

namespace fs = std::filesystem;
using bytes = std::vector<uint8_t>;

static_assert(std::endian::native == std::endian::little, "raw samples are little-endian");

constexpr size_t kLargestFile = 256u << 20;
constexpr size_t kBmpFileHeader = 14;
constexpr size_t kBmpHeaders = kBmpFileHeader + 40;
constexpr size_t kBmpPalette = 4 * 256;

std::string extension_of(const fs::path &file) {
  std::string extension = file.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

bool is_raw_name(const fs::path &file) {
  const std::string extension = extension_of(file);
  return extension == ".raw" || extension == ".bin";
}

std::string by(int64_t width, int64_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

size_t area(const frame &f) { return static_cast<size_t>(f.width) * static_cast<size_t>(f.height); }

bytes read_file(const fs::path &file) {
  std::error_code error;
  if (fs::is_directory(file, error)) throw frame_error(file, strerror(EISDIR));
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw frame_error(file, errno != 0 ? strerror(errno) : "cannot be opened");
  const uintmax_t size = fs::file_size(file, error);
  if (error) throw frame_error(file, "not a regular file");
  if (size == 0) throw frame_error(file, "the file is empty");
  if (size > kLargestFile) throw frame_error(file, "larger than any frame may be");
  bytes content(size);
  stream.read(reinterpret_cast<char *>(content.data()), static_cast<std::streamsize>(size));
  if (static_cast<uintmax_t>(stream.gcount()) != size) throw frame_error(file, "cannot be read");
  return content;
}

void need_size(const fs::path &file, int64_t width, int64_t height) {
  if (width <= 0 || height <= 0) throw frame_error(file, by(width, height) + " holds no pixel");
  if (width > kLargestFrame || height > kLargestFrame || width * height > kLargestFrame) {
    throw frame_error(file, by(width, height) + " is more than the " +
                                std::to_string(kLargestFrame) + " pixels a frame may have");
  }
}

void need_bytes(const fs::path &file, int64_t needed, size_t present) {
  if (needed > static_cast<int64_t>(present)) {
    throw frame_error(file, "truncated: " + std::to_string(present) + " bytes instead of " +
                                std::to_string(needed));
  }
}

uint32_t little_endian(const uint8_t *at, size_t size) {
  uint32_t value = 0;
  for (size_t i = size; i-- > 0;) value = value << 8 | at[i];
  return value;
}

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
    throw frame_error(file, "a BMP of " + std::to_string(bits) + " bits per pixel, not 8");
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

frame load_png(const fs::path &file, const bytes &content) {
  const auto length = static_cast<int>(content.size());
  const auto fail = [&] {
    const char *reason = stbi_failure_reason();
    throw frame_error(file, std::string("damaged PNG: ") + (reason ? reason : "unknown reason"));
  };
  frame f;
  int channels = 0;
  if (!stbi_info_from_memory(content.data(), length, &f.width, &f.height, &channels)) fail();
  need_size(file, f.width, f.height);
  const size_t count = area(f);

  if (stbi_is_16_bit_from_memory(content.data(), length)) {
    if (channels > 2) throw frame_error(file, "a colour image of 16 bits");
    const std::unique_ptr<stbi_us, decltype(&stbi_image_free)> samples(
        stbi_load_16_from_memory(content.data(), length, &f.width, &f.height, &channels, 1),
        stbi_image_free);
    if (!samples) fail();
    f.samples.assign(samples.get(), samples.get() + count);
    return f;
  }
  const size_t kept = channels > 2 ? 3 : 1;
  const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
      stbi_load_from_memory(content.data(), length, &f.width, &f.height, &channels,
                            static_cast<int>(kept)),
      stbi_image_free);
  if (!pixels) fail();
  f.pixels.resize(count);
  for (size_t i = 0; i < count; ++i) {
    const uint8_t *p = pixels.get() + i * kept;
    if (p[0] != p[kept - 1] || p[0] != p[kept / 2]) throw frame_error(file, "a colour image");
    f.pixels[i] = p[0];
  }
  return f;
}

// The three numbers after "P5", between which there may be comments.
int64_t pgm_number(const fs::path &file, const bytes &content, size_t &at) {
  const auto is_space = [](uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  while (at < content.size() && (is_space(content[at]) || content[at] == '#')) {
    if (content[at] == '#') {
      while (at < content.size() && content[at] != '\n') ++at;
    } else {
      ++at;
    }
  }
  int64_t value = 0;
  const size_t start = at;
  for (; at < content.size() && content[at] >= '0' && content[at] <= '9'; ++at) {
    value = std::min<int64_t>(value * 10 + (content[at] - '0'), INT32_MAX);
  }
  if (at == start) throw frame_error(file, "damaged PGM: the header lacks a number");
  return value;
}

frame load_pgm(const fs::path &file, const bytes &content) {
  size_t at = 2;
  const int64_t width = pgm_number(file, content, at);
  const int64_t height = pgm_number(file, content, at);
  const int64_t largest = pgm_number(file, content, at);
  need_size(file, width, height);
  if (largest != 255 && largest != 65535) {
    throw frame_error(
        file, "a PGM with levels to " + std::to_string(largest) + ", neither 255 nor 65535");
  }
  ++at;  // one white space after the header
  const int64_t sample_size = largest > 255 ? 2 : 1;
  need_bytes(file, static_cast<int64_t>(at) + width * height * sample_size, content.size());

  frame f{static_cast<int32_t>(width), static_cast<int32_t>(height), {}, {}};
  const uint8_t *data = content.data() + at;
  if (sample_size == 1) {
    f.pixels.assign(data, data + area(f));
    return f;
  }
  f.samples.resize(area(f));
  for (uint16_t &sample : f.samples) {
    sample = static_cast<uint16_t>(data[0] << 8 | data[1]);
    data += 2;
  }
  return f;
}

frame load_raw(const fs::path &file, const bytes &content, const raw_layout &layout) {
  if (layout.width == 0 || layout.height == 0) {
    throw frame_error(file, "raw samples need --width and --height");
  }
  need_size(file, layout.width, layout.height);
  frame f{layout.width, layout.height, {}, {}};
  const size_t count = area(f);
  if (layout.bits != 16 && content.size() == count) {
    f.pixels = content;
  } else if (layout.bits != 8 && content.size() == 2 * count) {
    f.samples.resize(count);
    memcpy(f.samples.data(), content.data(), content.size());
  } else {
    const std::string needed = layout.bits == 8    ? std::to_string(count)
                               : layout.bits == 16 ? std::to_string(2 * count)
                                                   : std::to_string(count) + " (8 bits) or " +
                                                         std::to_string(2 * count) + " (16 bits)";
    throw frame_error(file, std::to_string(content.size()) + " bytes; a raw frame of " +
                                by(f.width, f.height) + " has " + needed);
  }
  return f;
}

void append(bytes &to, uint32_t value, size_t size) {
  for (size_t i = 0; i < size; ++i) to.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

bytes bmp_bytes(const frame &f) {
  const auto width = static_cast<size_t>(f.width);
  const size_t stride = (width + 3) / 4 * 4;
  const size_t offset = kBmpHeaders + kBmpPalette;
  const size_t size = stride * static_cast<size_t>(f.height);
  bytes out{'B', 'M'};
  append(out, static_cast<uint32_t>(offset + size), 4);
  append(out, 0, 4);
  append(out, static_cast<uint32_t>(offset), 4);
  append(out, 40, 4);
  append(out, static_cast<uint32_t>(f.width), 4);
  append(out, static_cast<uint32_t>(f.height), 4);
  append(out, 1, 2);
  append(out, 8, 2);
  append(out, 0, 4);
  append(out, static_cast<uint32_t>(size), 4);
  append(out, 2835, 4);  // 72 dots per inch
  append(out, 2835, 4);
  append(out, 256, 4);
  append(out, 0, 4);
  for (uint32_t level = 0; level < 256; ++level) append(out, level * 0x010101u, 4);
  for (size_t row = static_cast<size_t>(f.height); row-- > 0;) {
    out.insert(out.end(), &f.pixels[row * width], &f.pixels[row * width] + width);
    out.resize(out.size() + stride - width);
  }
  return out;
}

bytes pgm_bytes(const frame &f) {
  const std::string header = "P5\n" + std::to_string(f.width) + " " + std::to_string(f.height) +
                             (f.is_raw() ? "\n65535\n" : "\n255\n");
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
  for (const uint16_t sample : f.samples) append(out, sample, 2);
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

frame load_frame(const fs::path &file, const raw_layout &layout) {
  bytes content = read_file(file);
  const auto begins_with = [&](std::string_view magic) {
    return content.size() >= magic.size() &&
           memcmp(content.data(), magic.data(), magic.size()) == 0;
  };
  if (is_raw_name(file)) return load_raw(file, content, layout);
  if (begins_with("BM")) return load_bmp(file, std::move(content));
  if (begins_with("\x89PNG\r\n\x1a\n")) return load_png(file, content);
  if (begins_with("P5")) return load_pgm(file, content);
  if (layout.width != 0 && layout.height != 0) return load_raw(file, content, layout);
  throw frame_error(file, "neither BMP nor PNG nor PGM; raw samples need --width and --height");
}

void need_writable_format(const fs::path &file, bool raw_samples) {
  const std::string extension = extension_of(file);
  const bool any_depth = is_raw_name(file) || extension == ".pgm";
  if (!any_depth && extension != ".png" && extension != ".bmp") {
    throw frame_error(file, "the extension must be .png, .pgm, .bmp, .raw or .bin");
  }
  if (raw_samples && !any_depth) {
    throw frame_error(file, "16-bit samples can be kept in .pgm, .raw and .bin only");
  }
}

void save_frame(const fs::path &file, const frame &f) {
  need_writable_format(file, f.is_raw());
  const std::string extension = extension_of(file);
  const bytes content = extension == ".png"   ? png_bytes(f)
                        : extension == ".bmp" ? bmp_bytes(f)
                        : extension == ".pgm" ? pgm_bytes(f)
                                              : raw_bytes(f);
  errno = 0;
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char *>(content.data()),
               static_cast<std::streamsize>(content.size()));
  stream.close();
  if (!stream) {
    throw frame_error(file, std::string("cannot be written: ") +
                                (errno != 0 ? strerror(errno) : "unknown reason"));
  }
}

}  // namespace tools
