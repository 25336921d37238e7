#include <memory>

#include "bench.h"

namespace bench {

namespace {

constexpr support::frame_size kSize = {58, 76};

struct evaluation_case {
  const char *name;
  support::pattern kind;
  uint32_t check_flags;
  int32_t high_threshold;
  int32_t low_threshold;
  int32_t deviation_threshold;
  int32_t line_check;
};

constexpr uint32_t kAllChecks =
    EVAL_CHECK_HIGH | EVAL_CHECK_LOW | EVAL_CHECK_DEVIATION | EVAL_SPREAD_LOW;

// The dense case marks every pixel.
constexpr evaluation_case kCases[] = {
    {"marks only", support::pattern::kSaltPepper, kAllChecks, 220, 30, 110, 0},
    {"sparse", support::pattern::kSaltPepper, kAllChecks, 220, 30, 130, 1},
    {"dense", support::pattern::kRidges, kAllChecks, 100, 101, 0, 1}};

}  // namespace

void add_evaluation() {
  for (const evaluation_case &c : kCases) {
    const auto image =
        std::make_shared<std::vector<uint8_t>>(support::make_frame(c.kind, kSize, 1));
    const auto record = std::make_shared<image_eval_record>();
    record->check_flags = c.check_flags;
    record->high_threshold = c.high_threshold;
    record->low_threshold = c.low_threshold;
    record->deviation_threshold = c.deviation_threshold;
    record->line_check = c.line_check;
    record->image = image->data();
    const auto form = [=](auto function) {
      return [=] {
        (void)image;  // keeps the pixels alive
        g_img_alg_sd = {kSize.width, kSize.height};
        function(record.get());
      };
    };
    add({std::string("evaluate_image ") + c.name,
         kSize,
         kSize.pixels(),
         ceiling::kRead,
         form(::evaluate_image),
         form(simple::evaluate_image),
         {}});
  }
}

}  // namespace bench
