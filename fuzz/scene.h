// What the image fuzzer draws from its input: sizes, frames, masks and areas.
#ifndef ORVA_FUZZ_SCENE_H
#define ORVA_FUZZ_SCENE_H

#include <vector>

#include "fuzz/input.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"

namespace fuzz {

using bytes = std::vector<uint8_t>;

class scene {
 public:
  scene(const uint8_t *data, size_t size, const char *name)
      : in(data, size),
        side(in.below(2) != 0 ? support::guard::kStart : support::guard::kEnd),
        name_(name) {}

  // A size of at most limit pixels, none of them at times.
  support::frame_size size(int32_t limit) {
    const auto width = static_cast<int32_t>(in.below(static_cast<uint32_t>(limit) + 1));
    const int32_t highest = limit / std::max(width, 1);
    return {width, static_cast<int32_t>(in.below(static_cast<uint32_t>(highest) + 1))};
  }

  // One of the patterns, with lines of one level across it in any direction.
  bytes frame(support::frame_size size) {
    const auto kind = in.below(static_cast<uint32_t>(support::kPatterns.size()));
    bytes pixels = support::make_frame(support::kPatterns[kind], size, in.byte());
    if (pixels.empty()) return pixels;
    const size_t width = static_cast<size_t>(size.width);
    const size_t steps[] = {1, width, width + 1, width - 1};
    for (uint32_t lines = in.below(40); lines > 0; --lines) {
      size_t at = in.below(static_cast<uint32_t>(pixels.size()));
      const size_t step = steps[in.below(4)];
      const uint8_t level = in.byte();
      for (uint32_t length = in.byte(); length > 0 && at < pixels.size(); --length, at += step) {
        pixels[at] = level;
      }
    }
    return pixels;
  }
  bytes row(size_t count) { return frame({static_cast<int32_t>(count), 1}); }

  // A mask for the frame, or an empty one for none.
  bytes mask(support::frame_size size) {
    const uint8_t seed = in.byte();
    return seed < 64 ? bytes() : seed == 64 ? bytes(size.pixels(), 1) : make_mask(size, seed);
  }

  template <typename T>
  support::guarded_buffer<T> guarded(const std::vector<T> &contents) const {
    return support::guarded_buffer<T>(std::span<const T>(contents), side);
  }

  void expect(bool holds, const char *what) const { fuzz::expect(holds, name_, what); }

  // The buffer holds what is expected and nothing beside it was written.
  template <typename T>
  void expect_contents(const support::guarded_buffer<T> &buffer,
                       const std::vector<T> &expected) const {
    expect(std::equal(expected.begin(), expected.end(), buffer.span().begin(), buffer.span().end()),
           "contents of a buffer");
    expect(buffer.red_zone_intact(), "red zone");
  }

  input in;
  const support::guard side;

 private:
  const char *name_;
};

}  // namespace fuzz

#endif
