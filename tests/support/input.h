// Draws numbers from a string of bytes, a fuzzer's input or random ones; zeros when it is used up.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace support {

class input {
 public:
  input(const uint8_t *data, size_t size) : rest_(data, size) {}

  uint8_t byte() { return static_cast<uint8_t>(take(1)); }

  // Below the bound, from as many bytes as it takes.
  uint32_t below(uint32_t bound) {
    const size_t bytes = bound <= 0x100 ? 1 : bound <= 0x10000 ? 2 : 4;
    return take(bytes) % bound;
  }

  // Any number, the ends of every range more often than the others.
  int32_t number() {
    static constexpr int32_t kEnds[] = {0, 1, -1, 2, 127, 128, 254, 255, 256, -127, -128, -255,
        -256, INT32_MAX, INT32_MIN, INT32_MIN + 1};
    const uint8_t choice = byte();
    if (choice < std::size(kEnds)) return kEnds[choice];
    return choice < 200 ? choice - 50 : static_cast<int32_t>(take(4));
  }

  // Up to count bytes.
  std::span<const uint8_t> bytes(size_t count) {
    const auto taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

 private:
  uint32_t take(size_t count) {
    uint32_t value = 0;
    for (const uint8_t b : bytes(count)) value = value << 8 | b;
    return value;
  }

  std::span<const uint8_t> rest_;
};

}  // namespace support
