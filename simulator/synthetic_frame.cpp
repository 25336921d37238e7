#include "simulator/synthetic_frame.h"

#include <algorithm>
#include <string>

#include <orva_fp/image.h>

#include "simulator/ridge_frame.h"

namespace simulator {

namespace {

constexpr uint16_t kSaturatedSample = WHITE_NOISE_LEVEL;
constexpr uint16_t kDummySample = 0x0800;

// splitmix64
uint64_t next_random(uint64_t &state) {
  uint64_t z = state += 0x9E3779B97F4A7C15u;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

}  // namespace

synthetic_frame::synthetic_frame(int32_t width, int32_t height, uint32_t seed)
    : width_(width),
      height_(height),
      random_(seed),
      pixels_(ridge_frame(static_cast<uint32_t>(width), static_cast<uint32_t>(height), seed)),
      defective_(pixels_.size()) {}

synthetic_frame::synthetic_frame(int32_t width, int32_t height, uint32_t seed, uint8_t level)
    : width_(width),
      height_(height),
      random_(seed),
      pixels_(static_cast<size_t>(width) * static_cast<size_t>(height)),
      defective_(pixels_.size()) {
  for (uint8_t &pixel : pixels_) {
    const int32_t grain = static_cast<int32_t>(next_random(random_) % 7) - 3;
    pixel = static_cast<uint8_t>(std::clamp(level + grain, 0, 255));
  }
}

void synthetic_frame::need_inside(place first, place last, const char *what) const {
  const auto inside = [this](place p) {
    return p.x >= 0 && p.y >= 0 && p.x < width_ && p.y < height_;
  };
  if (!inside(first) || !inside(last)) {
    throw placement_error(std::string(what) + " does not fit the frame of " +
                          std::to_string(width_) + " x " + std::to_string(height_));
  }
}

void synthetic_frame::set(int32_t x, int32_t y, uint8_t level) {
  pixels_[index(x, y)] = level;
  defective_[index(x, y)] = true;
}

void synthetic_frame::add_water(place corner, int32_t columns, int32_t rows) {
  need_inside(corner, {corner.x + columns - 1, corner.y + rows - 1}, "the water band");
  for (int32_t y = corner.y; y < corner.y + rows; ++y) {
    for (int32_t x = corner.x; x < corner.x + columns; ++x) {
      set(x, y, static_cast<uint8_t>(28 + pixels_[index(x, y)] / 64));
    }
  }
  defects_.push_back(
      {{"kind", "water"}, {"x", corner.x}, {"y", corner.y}, {"width", columns}, {"height", rows}});
}

void synthetic_frame::add_line(place start, place step, int32_t length, uint8_t level) {
  need_inside(start, {start.x + step.x * (length - 1), start.y + step.y * (length - 1)},
              "the dead line");
  for (int32_t i = 0; i < length; ++i) set(start.x + step.x * i, start.y + step.y * i, level);
  defects_.push_back({{"kind", "dead line"},
                      {"x", start.x},
                      {"y", start.y},
                      {"step", {step.x, step.y}},
                      {"length", length},
                      {"level", level}});
}

void synthetic_frame::add_cluster(place corner, int32_t size, uint8_t level) {
  need_inside(corner, {corner.x + size - 1, corner.y + size - 1}, "the cluster");
  for (int32_t y = corner.y; y < corner.y + size; ++y) {
    for (int32_t x = corner.x; x < corner.x + size; ++x) set(x, y, level);
  }
  defects_.push_back({{"kind", "cluster"},
                      {"x", corner.x},
                      {"y", corner.y},
                      {"width", size},
                      {"height", size},
                      {"level", level}});
}

std::vector<synthetic_frame::place> synthetic_frame::shuffled(std::vector<place> places) {
  for (size_t left = places.size(); left > 1; --left) {
    std::swap(places[left - 1], places[next_random(random_) % left]);
  }
  return places;
}

void synthetic_frame::put_down(const char *kind, const std::vector<place> &scattered) {
  auto pixels = nlohmann::ordered_json::array();
  for (const place p : scattered) pixels.push_back({p.x, p.y, pixels_[index(p.x, p.y)]});
  defects_.push_back({{"kind", kind}, {"count", scattered.size()}, {"pixels", pixels}});
}

void synthetic_frame::saturate(int32_t count) {
  std::vector<place> places;
  for (int32_t y = 0; y < height_; ++y) {
    for (int32_t x = 1; x < width_ - 1; ++x) {
      if (!defective_[index(x, y)]) places.push_back({x, y});
    }
  }
  if (places.size() < static_cast<size_t>(count)) {
    throw placement_error("there is room for " + std::to_string(places.size()) +
                          " saturated pixels only");
  }
  places = shuffled(std::move(places));
  places.resize(static_cast<size_t>(count));
  for (const place p : places) set(p.x, p.y, kBright);
  put_down("saturated", places);
}

void synthetic_frame::add_salt_and_pepper(int32_t count) {
  // Three pixels apart none is another's neighbour.
  std::vector<place> grid;
  for (int32_t y = 1; y < height_ - 1; y += 3) {
    for (int32_t x = 1; x < width_ - 1; x += 3) grid.push_back({x, y});
  }
  std::vector<place> placed;
  for (const place p : shuffled(std::move(grid))) {
    if (std::ssize(placed) == count) break;
    const size_t around[] = {index(p.x, p.y), index(p.x, p.y - 1), index(p.x, p.y + 1),
                             index(p.x - 1, p.y), index(p.x + 1, p.y)};
    if (std::any_of(std::begin(around), std::end(around),
                    [this](size_t i) { return defective_[i]; })) {
      continue;
    }
    const auto [low, high] = std::minmax(
        {pixels_[around[1]], pixels_[around[2]], pixels_[around[3]], pixels_[around[4]]});
    const bool pepper = low > kDark + NOISE_STRONG_MARGIN;
    const bool salt = high < kBright - NOISE_STRONG_MARGIN;
    if (!pepper && !salt) continue;
    const bool coin = (next_random(random_) & 1) != 0;
    set(p.x, p.y, salt && (!pepper || coin) ? kBright : kDark);
    placed.push_back(p);
  }
  if (std::ssize(placed) < count) {
    throw placement_error("there is room for " + std::to_string(placed.size()) +
                          " pixels of salt and pepper only");
  }
  put_down("salt and pepper", placed);
}

std::vector<uint16_t> synthetic_frame::raw(bool with_dummy) const {
  const int32_t dummy_column = with_dummy ? (width_ + 1) / 2 : -1;
  std::vector<uint16_t> samples;
  if (with_dummy) samples.assign(static_cast<size_t>(width_) + 1, kDummySample);
  for (int32_t y = 0; y < height_; ++y) {
    for (int32_t x = 0; x < width_; ++x) {
      if (x == dummy_column) samples.push_back(kDummySample);
      const uint8_t pixel = pixels_[index(x, y)];
      samples.push_back(pixel == kBright ? kSaturatedSample
                                         : static_cast<uint16_t>(pixel << (kSampleBits - 8)));
    }
    if (dummy_column == width_) samples.push_back(kDummySample);
  }
  return samples;
}

}  // namespace simulator
