// Frames in files: BMP, PNG, PGM and raw samples.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <orva_fp/image.h>

#include "tools/exit_status.h"

namespace tools {

class canvas;

// Up to this many pixels the histograms are exact.
inline constexpr int64_t kLargestFrame = HISTEQ_MAX_PIXELS;
// A picture can have no longer side.
inline constexpr int64_t kLongestSide = 32767;

// What is wrong with the frame in a file.
struct frame_error : command_error {
  frame_error(const std::filesystem::path &file, const std::string &reason);
};

// A picture that draws frames, and is none.
struct sheet_error : frame_error {
  using frame_error::frame_error;
};

// An upright grey frame of 8-bit pixels or, as the sensor hands it over, of 16-bit samples: one of
// the two is empty.
struct frame {
  int32_t width = 0, height = 0;
  std::vector<uint8_t> pixels;
  std::vector<uint16_t> samples;
  int32_t sample_bits = 16;  // in use: as asked for, or what the file's format says
  int32_t largest = 65535;   // sample that the format allows

  bool is_raw() const { return pixels.empty(); }
  size_t size() const { return index(0, height); }
  size_t index(int32_t x, int32_t y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
  }
};

// What a raw file does not say itself, and no file of 16-bit samples; 0 where not given.
struct raw_layout {
  int32_t width = 0, height = 0;
  int32_t bits = 0;         // else told by the file's size
  int32_t sample_bits = 0;  // else told by the format
  bool always = false;      // every file is raw, whatever its name and contents
  bool transposed = false;  // 16-bit samples are stored column by column
};

// Reads a frame; throws frame_error. A file named .raw or .bin is raw, any other is what it begins
// with.
frame load_frame(const std::filesystem::path &file, const raw_layout &layout);

// The names of the formats that frames are written in.
std::vector<std::string> output_formats();

// One of them: the given one, or what the file's extension says, or PGM for standard output. Throws
// command_error for another, and for one that cannot hold such samples: 16-bit ones go into PGM and
// raw files only.
std::string output_format(const std::filesystem::path &file, const std::string &given,
                          bool raw_samples);

// Throws command_error when the file cannot be written; then there is the old file, or none.
void save_frame(const std::filesystem::path &file, const std::string &format, const frame &f);

// With a mark by which load_frame knows it; throws as save_frame.
void save_sheet(const std::filesystem::path &file, const canvas &drawn);

}  // namespace tools
