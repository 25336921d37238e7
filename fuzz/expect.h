// What a fuzzer reports.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

// Makes a finding of whatever must not be.
inline void expect(bool holds, const char *where, const char *what) {
  if (holds) return;
  fprintf(stderr, "%s: %s\n", where, what);
  abort();
}

}  // namespace fuzz
