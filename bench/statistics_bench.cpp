#include <memory>

#include "bench.h"

namespace bench {

namespace {

struct inputs {
  support::frame_size size;
  std::vector<uint8_t> a;
  std::vector<uint8_t> b;
  std::vector<double> values;
};

std::shared_ptr<inputs> make_inputs(support::frame_size size) {
  auto in = std::make_shared<inputs>();
  in->size = size;
  in->a = support::make_frame(support::pattern::kRidges, size, 1);
  in->b = support::make_frame(support::pattern::kRidges, size, 2);
  for (uint8_t byte : in->a) in->values.push_back(byte * 0.37);
  return in;
}

// A row over functions that only read and return a number.
template <typename Library, typename Simple>
row reading_row(const char *function, support::frame_size size, size_t bytes, Library library,
                Simple simple) {
  return {function,
          size,
          bytes,
          ceiling::kRead,
          [library] { consume(library()); },
          [simple] { consume(simple()); },
          {}};
}

#ifdef ORVA_BENCH_OPENCV
cv::Mat matrix(std::vector<uint8_t> &frame, support::frame_size size) {
  return cv::Mat(size.height, size.width, CV_8UC1, frame.data());
}
#endif

void add_intensity(const std::shared_ptr<inputs> &in) {
  const int32_t width = in->size.width;
  const int32_t height = in->size.height;
  const size_t bytes = in->a.size();
  row plain = reading_row(
      "count_intensity_cs1", in->size, bytes,
      [=] { return count_intensity_cs1(in->a.data(), width, height, width, 0); },
      [=] { return simple::count_intensity_cs1(in->a.data(), width, height, width, 0); });
  row floor = reading_row(
      "count_intensity_cs1 floor", in->size, bytes,
      [=] { return count_intensity_cs1(in->a.data(), width, height, width, 5); },
      [=] { return simple::count_intensity_cs1(in->a.data(), width, height, width, 5); });
  row cut_out = reading_row(
      "count_intensity_cs1 cut out", in->size, static_cast<size_t>((width - 10) * height),
      [=] { return count_intensity_cs1(in->a.data() + 5, width, height, width - 10, 0); },
      [=] { return simple::count_intensity_cs1(in->a.data() + 5, width, height, width - 10, 0); });
  row average = reading_row(
      "count_average_intensity_cs1", in->size, bytes,
      [=] { return count_average_intensity_cs1(in->a.data(), width, height, width, 0); },
      [=] { return simple::count_average_intensity_cs1(in->a.data(), width, height, width, 0); });
#ifdef ORVA_BENCH_OPENCV
  const cv::Mat image = matrix(in->a, in->size);
  const cv::Mat inner = image.colRange(5, width - 5);
  plain.peer = [image] { consume(cv::sum(image)); };
  average.peer = plain.peer;
  cut_out.peer = [inner] { consume(cv::sum(inner)); };
  floor.peer = [image] {
    double smallest = 0;
    cv::minMaxLoc(image, &smallest);
    if (smallest >= 5) consume(cv::sum(image));
  };
  require(cv::sum(image)[0] == count_intensity_cs1(in->a.data(), width, height, width, 0),
          plain.function);
  require(cv::sum(inner)[0] == count_intensity_cs1(in->a.data() + 5, width, height, width - 10, 0),
          cut_out.function);
#endif
  add(plain);
  add(floor);
  add(cut_out);
  add(average);
}

// A box that leaves out a border, 0 for the whole image.
void add_minimum(const std::shared_ptr<inputs> &in, int32_t border) {
  const int32_t width = in->size.width;
  const int32_t height = in->size.height;
  const int32_t box_width = width - 2 * border;
  const int32_t box_height = height - 2 * border;
  row box = reading_row(
      border == 0 ? "calculate_minimum" : "calculate_minimum inner", in->size,
      static_cast<size_t>(box_width * box_height),
      [=] { return calculate_minimum(in->a.data(), width, height, box_width, box_height); },
      [=] {
        return simple::calculate_minimum(in->a.data(), width, height, box_width, box_height);
      });
#ifdef ORVA_BENCH_OPENCV
  const cv::Mat pixels = matrix(in->a, in->size)(cv::Rect(border, border, box_width, box_height));
  const auto smallest_of = [](const cv::Mat &data) {
    double smallest = 0;
    cv::minMaxLoc(data, &smallest);
    return smallest;
  };
  box.peer = [=] { consume(smallest_of(pixels)); };
  require(
      smallest_of(pixels) == calculate_minimum(in->a.data(), width, height, box_width, box_height),
      box.function);
#endif
  add(box);
}

void add_distance(const std::shared_ptr<inputs> &in) {
  const int32_t width = in->size.width;
  const int32_t height = in->size.height;
  row distance = reading_row(
      "euclidean_distance_cs1", in->size, 2 * in->a.size(),
      [=] { return euclidean_distance_cs1(in->a.data(), in->b.data(), width, height, width); },
      [=] {
        return simple::euclidean_distance_cs1(in->a.data(), in->b.data(), width, height, width);
      });
#ifdef ORVA_BENCH_OPENCV
  const cv::Mat a = matrix(in->a, in->size);
  const cv::Mat b = matrix(in->b, in->size);
  distance.peer = [a, b] { consume(cv::norm(a, b, cv::NORM_L2SQR)); };
  // Above 2^32 the library's sum wraps.
  if (in->a.size() < 100000) {
    require(cv::norm(a, b, cv::NORM_L2SQR) ==
                euclidean_distance_cs1(in->a.data(), in->b.data(), width, height, width),
            distance.function);
  }
#endif
  add(distance);
}

void add_deviation(const std::shared_ptr<inputs> &in) {
  const int32_t count = static_cast<int32_t>(in->a.size());
  row bytes = reading_row(
      "standard_deviation", in->size, in->a.size(),
      [in, count] { return standard_deviation(in->a.data(), count); },
      [in, count] { return simple::standard_deviation(in->a.data(), count); });
  row doubles = reading_row(
      "calculate_sd", in->size, in->values.size() * sizeof(double),
      [in, count] { return calculate_sd(in->values.data(), count); },
      [in, count] { return simple::calculate_sd(in->values.data(), count); });
#ifdef ORVA_BENCH_OPENCV
  const cv::Mat image = matrix(in->a, in->size);
  const cv::Mat values(in->size.height, in->size.width, CV_64FC1, in->values.data());
  const auto deviation_of = [](const cv::Mat &data) {
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(data, mean, deviation);
    return deviation[0];
  };
  bytes.peer = [image, deviation_of] { consume(deviation_of(image)); };
  doubles.peer = [values, deviation_of] { consume(deviation_of(values)); };
  require(std::abs(deviation_of(values) - calculate_sd(in->values.data(), count)) < 1e-6,
          doubles.function);
#endif
  add(bytes);
  add(doubles);
}

}  // namespace

void add_statistics() {
  for (const support::frame_size size : sizes()) {
    const auto in = make_inputs(size);
    add_intensity(in);
    add_minimum(in, 0);
    add_minimum(in, 5);
    add_distance(in);
    add_deviation(in);
  }
}

}  // namespace bench
