#include <memory>

#include "bench.h"

namespace bench {

void add_stack_median() {
  for (int32_t n = 4; n <= 7; ++n) {
    for (const support::frame_size size : sizes()) {
      const support::frame_size stack{size.width, size.height * n};
      const auto src = std::make_shared<std::vector<uint8_t>>(
          support::make_frame(support::pattern::kRidges, stack, 1));
      const auto dst = std::make_shared<std::vector<uint8_t>>(
          src->begin(), src->begin() + size.width * size.height);
      const int32_t length = size.width * size.height;
      add({.function = "get_median " + std::to_string(n),
           .size = size,
           .bytes = stack.pixels(),
           .sweep = ceiling::kRead,
           .fast = [=] { ::get_median(dst->data(), src->data(), length, n); },
           .simple = [=] { simple::get_median(dst->data(), src->data(), length, n); },
           .peer = {}});
    }
  }
}

}  // namespace bench
