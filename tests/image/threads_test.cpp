// Image functions from eight threads at once, each on buffers of its own: the results are those of
// the simple forms on every thread.
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include <orva_fp/image.h>

#include "support/comparisons.h"

namespace {

// One size for all: functions that take it from g_img_alg_sd must not see it change.
constexpr support::frame_size kSize = {58, 76};

TEST(Threads, EightAtOnceAgreeWithTheSimpleForms) {
  static constexpr uint8_t kDrawnFrom[] = {0, 200, 40, 150, 90, 60, 170, 7, 120, 80, 33, 250};
  constexpr size_t kThreads = 8;
  const auto functions = support::comparisons();
  const size_t count = functions.size() * support::kPatterns;
  g_img_alg_sd = {kSize.width, kSize.height};
  std::vector<std::string> found(kThreads * count);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      // Each thread begins elsewhere and so meets other functions in the others.
      for (size_t i = 0; i < count; ++i) {
        const size_t at = (i + t * count / kThreads) % count;
        const auto kind = static_cast<support::pattern>(at / functions.size());
        found[t * count + at] = functions[at % functions.size()].differences(
            kDrawnFrom, support::set_frame{kSize, kind});
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  for (size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i], "") << functions[i % count % functions.size()].name << " on thread "
                            << i / count;
  }
  g_img_alg_sd = {0, 0};
}

}  // namespace
