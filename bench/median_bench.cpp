#include <algorithm>
#include <memory>

#include "bench.h"

namespace bench {

namespace {

using bytes = std::vector<uint8_t>;

void add_median_filter(support::frame_size size) {
  const auto image = std::make_shared<bytes>(make_frame(support::pattern::kSaltPepper, size, 1));
  const auto work = std::make_shared<bytes>(size.pixels());
  row r{.function = "median_filter",
        .size = size,
        .bytes = size.pixels(),
        .sweep = ceiling::kCopy,
        .fast = [=] { ::median_filter(image->data(), work->data(), size.width, size.height); },
        .simple =
            [=] { simple::median_filter(image->data(), work->data(), size.width, size.height); },
        .peer = {}};
#ifdef ORVA_BENCH_OPENCV
  const auto header = [size](const std::shared_ptr<bytes> &data) {
    return cv::Mat(size.height, size.width, CV_8UC1, data->data());
  };
  bytes filtered = *image;
  ::median_filter(filtered.data(), work->data(), size.width, size.height);
  cv::medianBlur(header(image), header(work), 3);
  require(filtered == *work, r.function);
  r.peer = [=] { cv::medianBlur(header(image), header(work), 3); };
#endif
  add(std::move(r));
}

// Sorts each row of an unsorted frame, copied in afresh each time, in all forms.
void add_sort(support::frame_size size) {
  const auto unsorted = std::make_shared<bytes>(make_frame(support::pattern::kRandom, size, 1));
  const auto values = std::make_shared<bytes>(size.pixels());
  const auto form = [=](auto sort_values) {
    return [=] {
      std::copy(unsorted->begin(), unsorted->end(), values->begin());
      for (int32_t y = 0; y < size.height; ++y) {
        sort_values(values->data() + y * size.width, size.width);
      }
    };
  };
  add({.function = "sort",
       .size = size,
       .bytes = size.pixels(),
       .sweep = ceiling::kCopy,
       .fast = form(::sort),
       .simple = form(simple::sort),
       .peer = form([](uint8_t *first, int32_t count) { std::sort(first, first + count); })});
}

}  // namespace

void add_median() {
  for (const support::frame_size size : sizes()) add_median_filter(size);
  for (const support::frame_size size : {support::frame_size{9, 100}, {4096, 1}}) add_sort(size);
}

}  // namespace bench
