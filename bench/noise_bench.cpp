#include <algorithm>
#include <memory>

#include "bench.h"

namespace bench {

namespace {

using bytes = std::vector<uint8_t>;
using support::pattern;

constexpr uint32_t kMargin = 30;

constexpr pattern kClean = pattern::kRamp;  // without a spike
constexpr pattern kSpiked = pattern::kSaltPepper;

void add_detection(const std::string &variant, support::frame_size size, uint32_t flags,
                   int32_t margin) {
  const auto image = std::make_shared<bytes>(make_frame(kSpiked, size, 1));
  const auto form = [=](auto has_noise) {
    return [=] {
      noise_check_param param{flags, 0, 0, static_cast<uint32_t>(margin)};
      has_noise(image->data(), size.width, size.height, &param);
    };
  };
  add({.function = "fr_has_noise " + variant,
       .size = size,
       .bytes = size.pixels(),
       .sweep = ceiling::kRead,
       .library = form(::fr_has_noise),
       .simple = form(simple::fr_has_noise),
       .peer = {}});
}

// The image is copied in afresh each time, in both forms.
void add_removal(const std::string &variant, support::frame_size size, pattern kind) {
  const auto original = std::make_shared<bytes>(make_frame(kind, size, 1));
  const auto image = std::make_shared<bytes>(size.pixels());
  const auto form = [=](auto remove_noise) {
    return [=] {
      std::copy(original->begin(), original->end(), image->begin());
      remove_noise(image->data(), size.width, size.height, kMargin);
    };
  };
  add({.function = "remove_noise_use_median_filter " + variant,
       .size = size,
       .bytes = size.pixels(),
       .sweep = ceiling::kCopy,
       .library = form(::remove_noise_use_median_filter),
       .simple = form(simple::remove_noise_use_median_filter),
       .peer = {}});
}

}  // namespace

void add_noise() {
  for (const support::frame_size size : sizes()) {
    add_detection("both margins", size, NOISE_CHECK_STRONG | NOISE_CHECK_DELTA, kMargin);
    add_detection("negative margin", size, NOISE_CHECK_DELTA, -2);
    add_removal("clean", size, kClean);
    add_removal("spiked", size, kSpiked);
  }
}

}  // namespace bench
