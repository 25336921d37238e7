// What a comparison of an image function with its simple form draws from its input (sizes, frames,
// masks and parameters), the buffers it works on, and what differs afterwards.
#pragma once

#include <algorithm>
#include <bit>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
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

enum class form { kLibrary, kSimple };

class scene {
 public:
  scene(std::span<const uint8_t> drawn_from, std::optional<set_frame> set, form called)
      : in(drawn_from.data(), drawn_from.size()),
        side_(in.below(2) != 0 ? guard::kStart : guard::kEnd),
        null_for_nothing_(in.below(2) != 0),
        set_(set),
        called_(called) {}

  // The set size, or one of up to drawn pixels, lines as often as pictures, but of at most most
  // pixels. At times one without pixels.
  frame_size size(int32_t drawn, int32_t most = INT32_MAX) {
    static constexpr frame_size kNone[] = {{0, 3}, {3, 0}, {-3, -4}, {-3, 7}, {7, -3}, {1, -1},
        {65536, 65536}, {46341, 46341}, {2, INT32_MAX}, {INT32_MIN, 2}, {INT32_MIN, INT32_MIN}};
    if (set_) {
      const int32_t width = std::min(set_->size.width, most);
      return {width, std::min(set_->size.height, most / width)};
    }
    const uint32_t kind = in.below(32);
    if (kind < 2) return kNone[in.below(std::size(kNone))];
    const int32_t width = 1 + up_to((kind < 16 ? drawn : kind < 24 ? 100 : 700) - 1);
    return {width, 1 + up_to(drawn / width - 1)};
  }

  // A number of pixels, as size.
  size_t count(int32_t drawn, int32_t most = INT32_MAX) {
    return set_                ? size(0, most).pixels()
           : in.below(16) == 0 ? 0
                               : static_cast<size_t>(up_to(drawn));
  }
  // What to tell of a count: any number that is not positive tells of nothing.
  int32_t told(size_t count) {
    return count == 0 ? std::min(in.number(), 0) : static_cast<int32_t>(count);
  }

  // The set pattern, or any with lines of one level across it in any direction.
  bytes frame(frame_size size) {
    if (set_) return make_frame(set_->kind, size, in.byte());
    const auto kind = static_cast<pattern>(in.below(kPatterns));
    bytes pixels = make_frame(kind, size, in.byte());
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

  // A mask for the frame, or an empty one for none. Some leave next to nothing of the frame.
  bytes mask(frame_size size) {
    const uint8_t seed = in.byte();
    if (seed < 64) return {};
    if (seed < 192) return make_mask(size, seed);
    bytes sparse(size.pixels(), 1);
    for (int32_t left = seed - 192; left > 0 && !sparse.empty(); --left) {
      sparse[in.below(static_cast<uint32_t>(sparse.size()))] = 0;
    }
    return sparse;
  }

  // A threshold: any number, but often one that a pixel can have.
  int32_t level() { return in.below(2) != 0 ? in.byte() : in.number(); }

  // A copy of the contents between unreadable pages, which lives as long as the scene; at times
  // null for nothing.
  template <typename T>
  T *guarded(const std::vector<T> &contents) {
    if (contents.empty() && null_for_nothing_) return nullptr;
    const auto raw = std::as_bytes(std::span(contents));
    buffers_.emplace_back(raw, side_);
    return reinterpret_cast<T *>(buffers_.back().data());
  }
  const uint8_t *guarded_or_null(const bytes &contents) {
    return contents.empty() ? nullptr : guarded(contents);
  }

  // Calls the library's form or the simple one and adds its result to those to compare.
  template <typename Function, typename... Args>
  void call(Function library, Function simple_form, Args... args) {
    const Function function = called_ == form::kLibrary ? library : simple_form;
    if constexpr (std::is_void_v<std::invoke_result_t<Function, Args...>>) {
      function(args...);
    } else {
      results_.push_back(static_cast<double>(function(args...)));
    }
  }

  // How results and buffers differ from those of the other form; empty when they do not.
  std::string differences(const scene &other) const {
    std::ostringstream out;
    for (size_t i = 0; i < results_.size(); ++i) {
      const double mine = results_[i], theirs = other.results_[i];
      if (std::bit_cast<uint64_t>(mine) == std::bit_cast<uint64_t>(theirs)) continue;
      out << "result " << mine << ", not " << theirs << "; ";
    }
    int buffer = 0;
    for (auto a = buffers_.begin(), b = other.buffers_.begin(); a != buffers_.end(); ++a, ++b) {
      const auto mine = a->span(), theirs = b->span();
      ++buffer;
      if (!mine.empty() && memcmp(mine.data(), theirs.data(), mine.size()) != 0) {
        const auto [found, expected] = std::ranges::mismatch(mine, theirs);
        out << "byte " << found - mine.begin() << " of buffer " << buffer << " is "
            << static_cast<int>(*found) << ", not " << static_cast<int>(*expected) << "; ";
      }
      if (!a->red_zone_intact()) out << "a write beside buffer " << buffer << "; ";
    }
    return out.str();
  }

  bool is_set() const { return set_.has_value(); }

  input in;

 private:
  int32_t up_to(int32_t n) { return static_cast<int32_t>(in.below(static_cast<uint32_t>(n) + 1)); }

  const guard side_;
  const bool null_for_nothing_;
  const std::optional<set_frame> set_;
  const form called_;
  std::vector<double> results_;
  std::list<guarded_buffer<std::byte>> buffers_;
};

}  // namespace support
