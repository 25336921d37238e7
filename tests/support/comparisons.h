// Every image function beside its simple form, bit for bit, on buffers that touch unreadable pages.
#pragma once

#include <span>

#include "support/scene.h"

namespace support {

struct comparison {
  const char *name;
  void (*play)(scene &s);

  // Plays a scene with the library's function and once more with its simple form; says what
  // differs.
  std::string differences(
      std::span<const uint8_t> drawn_from, std::optional<set_frame> set = std::nullopt) const {
    scene library(drawn_from, set, form::kLibrary);
    scene simple(drawn_from, set, form::kSimple);
    play(library);
    play(simple);
    return library.differences(simple);
  }
};

inline void PrintTo(const comparison &c, std::ostream *out) { *out << c.name; }

std::span<const comparison> comparisons();

}  // namespace support
