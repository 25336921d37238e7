#include <algorithm>
#include <memory>

#include "bench.h"

namespace bench {

namespace {

using form = void (*)(uint8_t *, int32_t, int32_t);

// Turns Count frames, one below the other.
template <auto Flips, int32_t Count>
void turn(uint8_t *frames, int32_t width, int32_t height) {
  Flips(frames, width, height / Count, Count, FLIP_VERTICAL | FLIP_HORIZONTAL);
}

#ifdef ORVA_BENCH_OPENCV
template <int Code>
void flip_matrix(cv::Mat &frame) {
  cv::flip(frame, frame, Code);
}

template <int32_t Count>
void turn_matrix(cv::Mat &frames) {
  for (int32_t k = 0; k < Count; ++k) {
    cv::Mat frame = frames.rowRange(frames.rows / Count * k, frames.rows / Count * (k + 1));
    flip_matrix<-1>(frame);
  }
}

void invert_matrix(cv::Mat &frame) { cv::bitwise_not(frame, frame); }
#endif

struct in_place_case {
  const char *function;
  form fast;
  form simple;
#ifdef ORVA_BENCH_OPENCV
  void (*peer)(cv::Mat &);
#else
  void *peer;
#endif
};

#ifdef ORVA_BENCH_OPENCV
#define ORVA_PEER(name) name
#else
#define ORVA_PEER(name) nullptr
#endif

constexpr in_place_case kInPlace[] = {
    {"flip_vertical", flip_vertical, simple::flip_vertical, ORVA_PEER(flip_matrix<0>)},
    {"flip_horizontal", flip_horizontal, simple::flip_horizontal, ORVA_PEER(flip_matrix<1>)},
    {"images_flips 3", turn<images_flips, 1>, turn<simple::images_flips, 1>,
     ORVA_PEER(turn_matrix<1>)},
    {"image_reverse", image_reverse, simple::image_reverse, ORVA_PEER(invert_matrix)},
};

constexpr in_place_case kStack = {"images_flips 3, four frames", turn<images_flips, 4>,
                                  turn<simple::images_flips, 4>, ORVA_PEER(turn_matrix<4>)};

void add_in_place(const in_place_case &c, support::frame_size size) {
  const auto frame = std::make_shared<std::vector<uint8_t>>(
      support::make_frame(support::pattern::kRidges, size, 1));
  row r{c.function,
        size,
        frame->size(),
        ceiling::kCopy,
        [=] { c.fast(frame->data(), size.width, size.height); },
        [=] { c.simple(frame->data(), size.width, size.height); },
        {}};
#ifdef ORVA_BENCH_OPENCV
  r.peer = [=] {
    cv::Mat matrix(size.height, size.width, CV_8UC1, frame->data());
    c.peer(matrix);
  };
  std::vector<uint8_t> copy = *frame;
  r.fast();
  cv::Mat matrix(size.height, size.width, CV_8UC1, copy.data());
  c.peer(matrix);
  require(copy == *frame, c.function);
#endif
  add(r);
}

void add_dummy_removal(support::frame_size size) {
  const auto src = std::make_shared<std::vector<uint16_t>>();
  for (uint8_t byte : support::make_frame(support::pattern::kRandom, size, 1)) {
    src->push_back(static_cast<uint16_t>(byte * 0x101));
  }
  const auto dst = std::make_shared<std::vector<uint16_t>>(src->size());
  const size_t bytes = src->size() * sizeof(uint16_t);
  const int32_t width = size.width;
  const int32_t height = size.height;
  add({"remove_T_dummy",
       size,
       bytes,
       ceiling::kCopy,
       [=] { remove_T_dummy(src->data(), width, height, dst->data()); },
       [=] { simple::remove_T_dummy(src->data(), width, height, dst->data()); },
       {}});
  for (const int32_t keep : {0, 1}) {
    row r{keep != 0 ? "transpose_remove_T_dummy keep" : "transpose_remove_T_dummy",
          size,
          bytes,
          ceiling::kCopy,
          [=] { transpose_remove_T_dummy(src->data(), width, height, keep, dst->data()); },
          [=] { simple::transpose_remove_T_dummy(src->data(), width, height, keep, dst->data()); },
          {}};
#ifdef ORVA_BENCH_OPENCV
    const cv::Mat transposed(width, height, CV_16UC1, src->data());
    const cv::Mat frame(height, width, CV_16UC1, dst->data());
    r.peer = [=] { cv::transpose(transposed, frame); };
    if (keep != 0) {
      r.peer();
      const std::vector<uint16_t> expected = *dst;
      r.fast();
      require(*dst == expected, r.function);
    }
#endif
    add(r);
  }
}

// A file whose rows have fill bytes where the width is no multiple of 4.
void add_bmp(support::frame_size size) {
  constexpr size_t kPixelOffset = 1078;
  const auto bmp = std::make_shared<std::vector<uint8_t>>(kPixelOffset);
  const size_t stored_row = (static_cast<size_t>(size.width) + 3) / 4 * 4;
  const auto pixels = support::make_frame(support::pattern::kRidges,
                                          {static_cast<int32_t>(stored_row), size.height}, 1);
  bmp->insert(bmp->end(), pixels.begin(), pixels.end());
  const auto dst = std::make_shared<std::vector<uint8_t>>(size.pixels());
  const uint32_t fields[][2] = {{10, kPixelOffset},
                                {18, static_cast<uint32_t>(size.width)},
                                {22, static_cast<uint32_t>(size.height)}};
  for (const auto &[at, value] : fields) {
    for (size_t i = 0; i < 4; ++i) (*bmp)[at + i] = static_cast<uint8_t>(value >> 8 * i);
  }
  row r{"get_raw_data_from_bmp",
        size,
        size.pixels(),
        ceiling::kCopy,
        [=] { get_raw_data_from_bmp(bmp->data(), dst->data(), nullptr, nullptr); },
        [=] { simple::get_raw_data_from_bmp(bmp->data(), dst->data(), nullptr, nullptr); },
        {}};
#ifdef ORVA_BENCH_OPENCV
  r.peer = [=] {
    const cv::Mat stored(size.height, size.width, CV_8UC1, bmp->data() + kPixelOffset, stored_row);
    cv::Mat packed(size.height, size.width, CV_8UC1, dst->data());
    stored.copyTo(packed);
  };
  r.peer();
  const std::vector<uint8_t> expected = *dst;
  std::fill(dst->begin(), dst->end(), uint8_t{0});
  r.fast();
  require(*dst == expected, r.function);
#endif
  add(r);
}

}  // namespace

void add_layout() {
  for (const support::frame_size size : sizes()) {
    for (const in_place_case &c : kInPlace) add_in_place(c, size);
    add_dummy_removal(size);
    add_bmp(size);
  }
  add_bmp({103, 160});
  add_in_place(kStack, {640, 4 * 1000});
}

}  // namespace bench
