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

// Sorted data is copied in afresh each time, in both forms.
void add_sort(int32_t count) {
  const support::frame_size size{count, 1};
  const auto unsorted = std::make_shared<bytes>(make_frame(support::pattern::kRandom, size, 1));
  const auto values = std::make_shared<bytes>(size.pixels());
  const auto form = [=](void (*sort_values)(uint8_t *, int32_t)) {
    return [=] {
      std::copy(unsorted->begin(), unsorted->end(), values->begin());
      sort_values(values->data(), count);
    };
  };
  add({.function = "sort",
       .size = size,
       .bytes = size.pixels(),
       .sweep = ceiling::kCopy,
       .fast = form(::sort),
       .simple = form(simple::sort),
       .peer = {}});
}

}  // namespace

void add_median() {
  for (const support::frame_size size : sizes()) add_median_filter(size);
  for (const int32_t count : {9, 4096}) add_sort(count);
}

}  // namespace bench
