#include <memory>

#include "bench.h"

namespace bench {

namespace {

void add_white_noise(support::frame_size size) {
  const auto frame = std::make_shared<std::vector<uint16_t>>();
  for (uint8_t byte : support::make_frame(support::pattern::kSaltPepper, size, 1)) {
    frame->push_back(static_cast<uint16_t>(byte * 0x101));
  }
  const uint32_t width = static_cast<uint32_t>(size.width);
  const uint32_t height = static_cast<uint32_t>(size.height);
  row noise{"is_mq4xx_white_noise",
            size,
            frame->size() * sizeof(uint16_t),
            ceiling::kRead,
            [=] { consume(is_mq4xx_white_noise(frame->data(), width, height)); },
            [=] { consume(simple::is_mq4xx_white_noise(frame->data(), width, height)); },
            {}};
#ifdef ORVA_BENCH_OPENCV
  // Minimum and maximum only: the peer does not count along the way.
  const cv::Mat inner =
      cv::Mat(size.height, size.width, CV_16UC1, frame->data()).colRange(1, size.width - 1);
  noise.peer = [inner] {
    double min = 0;
    double max = 0;
    cv::minMaxLoc(inner, &min, &max);
    consume(max - min);
  };
#endif
  add(noise);
}

void add_center_mean(support::frame_size size) {
  const auto image = std::make_shared<std::vector<uint8_t>>(
      support::make_frame(support::pattern::kRidges, size, 1));
  const int32_t side = size.width - 10;
  row mean{
      "image_center_mean",
      size,
      static_cast<size_t>(side * side),
      ceiling::kRead,
      [=] { consume(image_center_mean(image->data(), size.width, size.height, side)); },
      [=] { consume(simple::image_center_mean(image->data(), size.width, size.height, side)); },
      {}};
#ifdef ORVA_BENCH_OPENCV
  const cv::Mat square =
      cv::Mat(size.height, size.width, CV_8UC1, image->data())(cv::Rect(5, 5, side, side));
  mean.peer = [square] { consume(cv::sum(square)); };
  require(static_cast<int32_t>(cv::sum(square)[0]) / (side * side) ==
              image_center_mean(image->data(), size.width, size.height, side),
          mean.function);
#endif
  add(mean);
}

void add_offset(support::frame_size size) {
  const auto image = std::make_shared<std::vector<uint8_t>>(
      support::make_frame(support::pattern::kRidges, size, 1));
  const auto mask = std::make_shared<std::vector<uint8_t>>(support::make_mask(size, 1));
  row offset{
      "offset_min",
      size,
      2 * image->size(),
      ceiling::kCopy,
      [=] { consume(offset_min(image->data(), mask->data(), size.width, size.height)); },
      [=] { consume(simple::offset_min(image->data(), mask->data(), size.width, size.height)); },
      {}};
#ifdef ORVA_BENCH_OPENCV
  // The peer leaves out the pixels whose mask byte is 0.
  const auto included = std::make_shared<std::vector<uint8_t>>();
  for (uint8_t byte : *mask) included->push_back(byte == 1 ? 0 : 255);
  const cv::Mat pixels(size.height, size.width, CV_8UC1, image->data());
  offset.peer = [=] {
    double min = 0;
    cv::minMaxLoc(pixels, &min, nullptr, nullptr, nullptr,
                  cv::Mat(size.height, size.width, CV_8UC1, included->data()));
    cv::subtract(pixels, cv::Scalar(min), pixels);
  };
#endif
  add(offset);
}

}  // namespace

void add_raw_frame() {
  for (const support::frame_size size : sizes()) {
    add_white_noise(size);
    add_center_mean(size);
    add_offset(size);
  }
}

}  // namespace bench
