// What a fuzzer reports.
#ifndef ORVA_FUZZ_EXPECT_H
#define ORVA_FUZZ_EXPECT_H

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

#endif
