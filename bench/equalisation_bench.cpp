#include <algorithm>
#include <memory>

#include "bench.h"

namespace bench {

namespace {

// Equalisation works in place: every run begins with a copy of the same image.
struct images {
  std::vector<uint8_t> original;
  std::vector<uint8_t> work;
};

template <typename Equalise>
std::function<void()> on_copy(std::shared_ptr<images> in, Equalise equalise) {
  return [in, equalise] {
    std::copy(in->original.begin(), in->original.end(), in->work.begin());
    equalise(in->work.data());
  };
}

void add_size(support::frame_size size, support::pattern kind) {
  const auto in = std::make_shared<images>();
  in->original = support::make_frame(kind, size, 1);
  in->work = in->original;
  const int32_t width = size.width;
  const int32_t height = size.height;
  const std::string suffix = std::string(" ") + support::pattern_name(kind);
  row whole{"histeq" + suffix,
            size,
            in->work.size(),
            ceiling::kCopy,
            on_copy(in, [=](uint8_t *image) { histeq(image, width, height); }),
            on_copy(in, [=](uint8_t *image) { simple::histeq(image, width, height); }),
            {}};
  row white{"histeq_white" + suffix,
            size,
            in->work.size(),
            ceiling::kCopy,
            on_copy(in, [=](uint8_t *image) { histeq_white(image, width, height, 20); }),
            on_copy(in, [=](uint8_t *image) { simple::histeq_white(image, width, height, 20); }),
            {}};
#ifdef ORVA_BENCH_OPENCV
  // The peer's rounding differs, its work is the same.
  whole.peer = on_copy(in, [=](uint8_t *image) {
    cv::Mat matrix(height, width, CV_8UC1, image);
    cv::equalizeHist(matrix, matrix);
  });
  white.peer = whole.peer;
#endif
  add(whole);
  add(white);
}

}  // namespace

void add_equalisation() {
  for (const support::frame_size size : sizes()) add_size(size, support::pattern::kRidges);
  add_size({160, 160}, support::pattern::kConstant);
}

}  // namespace bench
