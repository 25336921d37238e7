// What a comparison of an image function with its simple form draws from its input: sizes, frames,
// masks and parameters; and what differs.
#ifndef ORVA_TESTS_SCENE_H
#define ORVA_TESTS_SCENE_H

#include <optional>
#include <string>
#include <vector>

#include "support/frames.h"
#include "support/guarded_buffer.h"
#include "support/input.h"

namespace support {

using bytes = std::vector<uint8_t>;

// A frame to compare over in place of a drawn one.
struct set_frame {
  frame_size size;
  pattern kind;
};

class scene {
 public:
  explicit scene(std::span<const uint8_t> drawn_from, std::optional<set_frame> set = std::nullopt)
      : in(drawn_from.data(), drawn_from.size()),
        side(in.below(2) != 0 ? guard::kStart : guard::kEnd),
        set_(set) {}

  // The set size, or one of up to drawn pixels (none of them at times), but of at most most pixels.
  frame_size size(int32_t drawn, int32_t most = INT32_MAX) {
    if (set_) {
      const int32_t width = std::min(set_->size.width, most);
      return {width, std::min(set_->size.height, most / width)};
    }
    const auto width = static_cast<int32_t>(in.below(static_cast<uint32_t>(drawn) + 1));
    const int32_t highest = drawn / std::max(width, 1);
    return {width, static_cast<int32_t>(in.below(static_cast<uint32_t>(highest) + 1))};
  }

  // A number of pixels, as size.
  size_t count(int32_t drawn, int32_t most = INT32_MAX) {
    return set_ ? size(0, most).pixels() : in.below(static_cast<uint32_t>(drawn) + 1);
  }

  // The set pattern, or any with lines of one level across it in any direction.
  bytes frame(frame_size size) {
    if (set_) return make_frame(set_->kind, size, in.byte());
    const auto kind = in.below(static_cast<uint32_t>(kPatterns.size()));
    bytes pixels = make_frame(kPatterns[kind], size, in.byte());
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
  bytes mask(frame_size size) {
    const uint8_t seed = in.byte();
    return seed < 64 ? bytes() : seed == 64 ? bytes(size.pixels(), 1) : make_mask(size, seed);
  }

  // A threshold: any number, but often one that a pixel can have.
  int32_t level() { return in.below(2) != 0 ? in.byte() : in.number(); }

  template <typename T>
  guarded_buffer<T> guarded(const std::vector<T> &contents) const {
    return guarded_buffer<T>(std::span<const T>(contents), side);
  }

  void expect(bool holds, const char *what) {
    if (!holds) differences_ += std::string(differences_.empty() ? "" : ", ") + what;
  }

  // The buffer holds what is expected and nothing beside it was written.
  template <typename T>
  void expect_contents(const guarded_buffer<T> &buffer, const std::vector<T> &expected) {
    expect(std::equal(expected.begin(), expected.end(), buffer.span().begin(), buffer.span().end()),
           "contents of a buffer");
    expect(buffer.red_zone_intact(), "red zone");
  }

  // What did not hold; empty when all did.
  const std::string &differences() const { return differences_; }

  bool is_set() const { return set_.has_value(); }

  input in;
  const guard side;

 private:
  const std::optional<set_frame> set_;
  std::string differences_;
};

}  // namespace support

#endif
