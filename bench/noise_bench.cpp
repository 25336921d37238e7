#include <algorithm>
#include <memory>

#include "bench.h"

namespace bench {

namespace {

using bytes = std::vector<uint8_t>;

constexpr uint32_t kMargin = 30;

// A ramp has no spikes of its own.
std::shared_ptr<bytes> make_image(support::frame_size size, bool spiked) {
  auto image = std::make_shared<bytes>(make_frame(support::pattern::kRamp, size, 1));
  support::random_source random(1);
  if (spiked) {
    for (size_t i = 0; i < image->size() / 50; ++i) {
      (*image)[random.below(static_cast<uint32_t>(image->size()))] = i % 2 != 0 ? 255 : 0;
    }
  }
  return image;
}

void add_detection(const std::string &variant, support::frame_size size, uint32_t flags,
                   int32_t margin) {
  const auto image = make_image(size, true);
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
       .fast = form(::fr_has_noise),
       .simple = form(simple::fr_has_noise),
       .peer = {}});
}

// The image is copied in afresh each time, in both forms.
void add_removal(const std::string &variant, support::frame_size size, bool spiked) {
  const auto original = make_image(size, spiked);
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
       .fast = form(::remove_noise_use_median_filter),
       .simple = form(simple::remove_noise_use_median_filter),
       .peer = {}});
}

}  // namespace

void add_noise() {
  for (const support::frame_size size : sizes()) {
    add_detection("both margins", size, NOISE_CHECK_STRONG | NOISE_CHECK_DELTA, kMargin);
    add_detection("negative margin", size, NOISE_CHECK_DELTA, -2);
    add_removal("clean", size, false);
    add_removal("spiked", size, true);
  }
}

}  // namespace bench
