// The secure side of a sensor test: a request callback that plays a scenario, one step per request,
// and checks what it is sent.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <orva_fp/sensor_test.h>

namespace simulator {

// Size of an 8-bit frame in pixels; 0 x 0 where there is none.
struct frame_shape {
  uint32_t width = 0;
  uint32_t height = 0;
};

// What the secure side does with one request.
struct exchange_step {
  uint32_t result = ORVA_TEST_FINISH;  // action or end code of the reply
  std::optional<std::string> text;     // result_text with its NUL; as it was where not given
  std::vector<uint8_t> data;           // goes into the data block
  frame_shape frame;                   // of data, where it is a frame
  std::optional<int32_t> data_len;     // data's size where not given
  std::optional<int32_t> interrupt;    // interrupt_triggered that the request must carry
  std::optional<uint32_t> reply_size;  // stored through the request's reply_size
  int32_t failure = 0;                 // nonzero: the callback returns it and writes nothing
};

// One request as it arrived, with the answer.
struct exchange {
  sensor_test_request request;
  exchange_step answer;
};

class secure_side {
 public:
  explicit secure_side(std::vector<exchange_step> steps) : steps_(std::move(steps)) {}

  // The pair to hand to orvaFpSensorTest: request and the secure_side's own address.
  static int32_t request(void *context, uint32_t command, const sensor_test_request *request,
                         uint32_t request_size, sensor_test_reply *reply, uint32_t *reply_size);

  // Called with every exchange before the reply goes back; null for none.
  void observe(std::function<void(const exchange &)> observer) { observer_ = std::move(observer); }

  // True when the run asked for every step.
  bool finished() const { return next_ == steps_.size(); }

  // All that was not as it must be: a wrong command or size, a request that changed where it must
  // not, an interrupt outcome other than expected, a request after the last step.
  const std::vector<std::string> &problems() const { return problems_; }
  const std::vector<sensor_test_request> &requests() const { return requests_; }

 private:
  void check(uint32_t command, const sensor_test_request &request, uint32_t request_size,
             uint32_t reply_size);
  int32_t answer(const sensor_test_request &request, sensor_test_reply &reply,
                 uint32_t &reply_size);

  std::vector<exchange_step> steps_;
  std::function<void(const exchange &)> observer_;
  std::vector<std::string> problems_;
  std::vector<sensor_test_request> requests_;
  size_t next_ = 0;
  uint32_t expected_reply_size_ = sizeof(sensor_test_reply);
};

}  // namespace simulator
