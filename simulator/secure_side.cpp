#include "simulator/secure_side.h"

#include <algorithm>
#include <cstring>

namespace simulator {

namespace {

// What the callback returns when it is asked once more than the scenario has steps.
constexpr int32_t kOutOfSteps = -1;

int32_t variant_of(int32_t script_id) {
  return script_id >= ORVA_SCRIPT_NORMAL_SCAN_VARIANT && script_id <= ORVA_SCRIPT_SNR2_VARIANT;
}

}  // namespace

int32_t secure_side::request(void *context, uint32_t command, const sensor_test_request *request,
                             uint32_t request_size, sensor_test_reply *reply,
                             uint32_t *reply_size) {
  auto *self = static_cast<secure_side *>(context);
  self->check(command, *request, request_size, *reply_size);
  self->requests_.push_back(*request);
  return self->answer(*request, *reply, *reply_size);
}

void secure_side::check(uint32_t command, const sensor_test_request &request, uint32_t request_size,
                        uint32_t reply_size) {
  const auto expect = [&](auto got, auto wanted, const char *what) {
    if (got == wanted) return;
    problems_.push_back("request " + std::to_string(requests_.size() + 1) + ": " + what + " is " +
                        std::to_string(got) + ", not " + std::to_string(wanted));
  };
  expect(command, uint32_t{ORVA_CMD_SENSOR_TEST}, "command");
  expect(request_size, uint32_t{sizeof(sensor_test_request)}, "request size");
  expect(reply_size, expected_reply_size_, "reply size");
  expect(request.script_variant, variant_of(request.script_id), "script_variant");
  if (!requests_.empty()) expect(request.script_id, requests_[0].script_id, "script_id");
  if (next_ < steps_.size() && steps_[next_].interrupt.has_value()) {
    expect(request.interrupt_triggered, *steps_[next_].interrupt, "interrupt_triggered");
  }
}

int32_t secure_side::answer(const sensor_test_request &request, sensor_test_reply &reply,
                            uint32_t &reply_size) {
  exchange_step step;
  if (next_ < steps_.size()) {
    step = steps_[next_++];
  } else {
    problems_.push_back("request " + std::to_string(requests_.size()) +
                        ": the scenario has no step for it");
    step.failure = kOutOfSteps;
  }
  if (step.failure == 0) {
    reply.result = step.result;
    reply.data_len = step.data_len.value_or(static_cast<int32_t>(step.data.size()));
    if (!step.data.empty()) {
      memcpy(reply.data, step.data.data(), std::min(step.data.size(), sizeof reply.data));
    }
    if (step.text.has_value()) {
      // With its NUL where there is room for it: a text of the whole field goes without.
      memcpy(reply.result_text, step.text->c_str(),
             std::min(step.text->size() + 1, sizeof reply.result_text));
    }
    if (step.reply_size.has_value()) reply_size = expected_reply_size_ = *step.reply_size;
  }
  if (observer_) observer_({request, step});
  return step.failure;
}

}  // namespace simulator
