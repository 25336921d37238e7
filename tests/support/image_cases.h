// The loop that the tests of the image functions share: every size with every pattern.
#ifndef ORVA_TESTS_IMAGE_CASES_H
#define ORVA_TESTS_IMAGE_CASES_H

#include <gtest/gtest.h>
#include <string>

#include "support/frames.h"

namespace support {

// Calls check(size, frame) for each of them; a failure names the case.
template <typename Check>
void for_each_frame(Check check) {
  for (const frame_size size : frame_sizes()) {
    for (const pattern kind : kPatterns) {
      SCOPED_TRACE(std::string(pattern_name(kind)) + " " + std::to_string(size.width) + " x " +
                   std::to_string(size.height));
      check(size, make_frame(kind, size, 1));
      if (::testing::Test::HasFatalFailure()) return;
    }
  }
}

}  // namespace support

#endif
