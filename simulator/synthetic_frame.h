// Synthetic frames with known defects at known places.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

namespace simulator {

// A defect that does not fit the frame.
class placement_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An 8-bit grey frame, row-major. Each defect keeps clear of the earlier ones where it may choose
// its place, so that each can be counted on; scattered ones therefore come last. Integer arithmetic
// throughout: the same arguments give the same bytes on every machine.
class synthetic_frame {
 public:
  static constexpr uint8_t kDark = 0;
  static constexpr uint8_t kBright = 255;
  static constexpr int32_t kSampleBits = 12;

  struct place {
    int32_t x;
    int32_t y;
  };

  // A fingerprint's ridges.
  synthetic_frame(int32_t width, int32_t height, uint32_t seed);
  // One level with a little grain.
  synthetic_frame(int32_t width, int32_t height, uint32_t seed, uint8_t level);

  // A dark band: all of the area stays below any level that the ridges have.
  void add_water(place corner, int32_t columns, int32_t rows);

  // length pixels of one level from start on, each one step from the one before it.
  void add_line(place start, place step, int32_t length, uint8_t level);

  // A square of one level.
  void add_cluster(place corner, int32_t size, uint8_t level);

  // Pixels of 255, not in the first or last column.
  void saturate(int32_t count);

  // Isolated pixels of 0 or 255, each a spike with a margin of 42.
  void add_salt_and_pepper(int32_t count);

  int32_t width() const { return width_; }
  int32_t height() const { return height_; }
  const std::vector<uint8_t> &pixels() const { return pixels_; }

  // An array of the defects in the order in which they were put in, each with its kind, its place
  // and its size or pixels: docs/image-tool.md.
  const nlohmann::ordered_json &defects() const { return defects_; }

  // The frame as the sensor would hand it over: samples of kSampleBits with 65535 for 255 and,
  // where asked for, a row 0 and a column in the middle of dummy samples, each of which makes it
  // one larger.
  std::vector<uint16_t> raw(bool with_dummy) const;

 private:
  size_t index(int32_t x, int32_t y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x);
  }
  void need_inside(place first, place last, const char *what) const;
  void set(int32_t x, int32_t y, uint8_t level);
  void put_down(const char *kind, const std::vector<place> &scattered);
  std::vector<place> shuffled(std::vector<place> places);

  int32_t width_;
  int32_t height_;
  uint64_t random_;
  std::vector<uint8_t> pixels_;
  std::vector<bool> defective_;
  nlohmann::ordered_json defects_ = nlohmann::ordered_json::array();
};

}  // namespace simulator
