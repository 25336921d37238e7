// Frames in files: BMP, PNG, PGM and raw samples.
#ifndef ORVA_TOOLS_IMAGE_FRAME_FILE_H
#define ORVA_TOOLS_IMAGE_FRAME_FILE_H

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <orva_fp/image.h>

namespace tools {

// Up to this many pixels all image functions are exact.
inline constexpr int64_t kLargestFrame = HISTEQ_MAX_PIXELS;

// One line that names the file and the reason.
class frame_error : public std::runtime_error {
 public:
  frame_error(const std::filesystem::path &file, const std::string &reason)
      : std::runtime_error(file.string() + ": " + reason) {}
};

// An upright grey frame of 8-bit pixels or, as the sensor hands it over, of 16-bit samples: one of
// the two is empty.
struct frame {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> pixels;
  std::vector<uint16_t> samples;

  bool is_raw() const { return pixels.empty(); }
};

// What a raw file does not say itself; 0 where not given. bits 0 follows from the file's size.
struct raw_layout {
  int32_t width = 0;
  int32_t height = 0;
  int32_t bits = 0;
};

// Reads a frame; throws frame_error. A file named .raw or .bin is raw, any other is what it begins
// with, or raw when it begins like no image and a size is given.
frame load_frame(const std::filesystem::path &file, const raw_layout &layout);

// Writes a frame in the format of the file's extension (.bmp, .png, .pgm, .raw, .bin); throws
// frame_error. 16-bit samples go into PGM and raw files only.
void save_frame(const std::filesystem::path &file, const frame &f);

// Throws frame_error unless save_frame knows the extension and can keep such samples in it.
void need_writable_format(const std::filesystem::path &file, bool raw_samples);

}  // namespace tools

#endif
