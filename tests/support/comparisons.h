// Every image function beside its simple form, bit for bit, on buffers that touch unreadable pages.
#ifndef ORVA_TESTS_COMPARISONS_H
#define ORVA_TESTS_COMPARISONS_H

#include <span>

#include "support/scene.h"

namespace support {

struct comparison {
  const char *name;
  void (*compare)(scene &s);
};

// One for each function. The fuzzer's kept inputs name a function by its place: new ones go to the
// end.
std::span<const comparison> comparisons();

}  // namespace support

#endif
