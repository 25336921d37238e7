// Everything that the library's image functions tell about one frame.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include <orva_fp/image.h>

#include "tools/image/frame_file.h"

namespace tools {

using json = nlohmann::ordered_json;

struct inspect_settings {
  raw_layout layout;
  bool keep_dummy = false;
  int32_t high = EVAL_DEFAULT_HIGH;
  int32_t low = EVAL_DEFAULT_LOW;
  int32_t deviation = EVAL_DEFAULT_DEVIATION;
  bool spread_low = false;
  int32_t spike_delta = NOISE_DEFAULT_DELTA;
  int32_t block = BLOCK_DEFAULT_SIDE;
  int32_t center = 0;  // 0 for half of the shorter side
  int32_t white_percent = HISTEQ_DEFAULT_WHITE_PERCENT;
};

struct pixel_place {
  int32_t x, y;
};

// Marked pixels in a straight line.
struct pixel_run {
  pixel_place start{};
  pixel_place step{};
  int32_t length = 0;

  pixel_place last() const {
    return {start.x + step.x * (length - 1), start.y + step.y * (length - 1)};
  }
};

// Pixels of marked 2 x 2 blocks that touch one another, corners included: all bright, that is
// marked high, or not marked low and above the mean, or all dark. first and last are opposite
// corners.
struct pixel_cluster {
  pixel_place first, last;
  int32_t pixels;
  bool bright;
};

// Rows or columns of a frame with the dark stretch that makes each count as crossed by water.
struct dark_lines {
  struct stretch {
    int32_t first, length;
  };
  std::vector<std::optional<stretch>> lines;
  std::vector<bool> in_water;  // the line is part of a streak that makes water
  int32_t qualifying = 0;
  int32_t longest_streak = 0;  // followed by a line that does not qualify
};

// Blocks of side x side pixels in the middle of the frame, row by row.
struct block_map {
  int32_t side = 0, columns = 0, rows = 0, left = 0, top = 0;
  std::vector<uint8_t> means, ranges;
};

// A frame of more pixels than one evaluation takes is evaluated in tiles, each of as many whole
// rows as fit, or a part of one row, and all against the frame's mean. What was found is then what
// one evaluation would have found in all of the frame, but that no low pixel spreads from one part
// of a row to the next.
struct analysis {
  inspect_settings settings;
  frame shown;
  std::string facts;  // the size and depth of the frame in a line

  // Flat, with the same keys for every frame; null where a measure does not apply.
  json measures;

  std::vector<uint8_t> marks;
  pixel_run longest_run;
  std::vector<pixel_cluster> clusters;
  dark_lines dark_rows, dark_columns;
  block_map blocks;
  std::vector<uint8_t> median, despiked, equalised, equalised_white;
};

// The upper 8 of the bits in use: 255 for samples that need more.
std::vector<uint8_t> upper_bits(const frame &f);

// A 16-bit frame without row 0 and the middle column. A frame that holds nothing but dummy samples
// is a frame_error, for whose text the file and the hint are.
frame without_dummy(const std::filesystem::path &file, const frame &f,
                    const std::string &hint = "");

// Any number of threads may analyse at once. Throws as without_dummy.
analysis analyse(const std::filesystem::path &file, frame f, const inspect_settings &settings);

}  // namespace tools
