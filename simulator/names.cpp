#include "simulator/names.h"

#include <orva_fp/sensor_test.h>
#include <orva_fp/status.h>

namespace simulator {

namespace {

constexpr struct {
  uint32_t code;
  std::string_view name;
} kActions[] = {
    {ORVA_TEST_FINISH, "finish"},
    {ORVA_WAIT_INTERRUPT, "wait-interrupt"},
    {ORVA_RESET, "reset"},
    {ORVA_READ_SENSOR_INFO_START, "read-sensor-info-start"},
    {ORVA_READ_SENSOR_INFO_END, "read-sensor-info-end"},
    {ORVA_TEST_FINISH_ALT, "finish-alt"},
    {ORVA_TEST_STOP, "stop"},
    {ORVA_POWER_OFF_ON, "power-off-on"},
};

constexpr int32_t kStatuses[] = {FP_OK,
                                 FP_ERR_NULL_LOG_PATH,
                                 FP_ERR_INT_NOT_TRIGGERED,
                                 FP_ERR_REQUEST_FAILED,
                                 FP_ERR_POLL_TIMEOUT,
                                 FP_ERR_DRIVER_IO,
                                 FP_ERR_NO_DEVICE,
                                 FP_ERR_NULL_PARAM};

}  // namespace

std::string action_name(uint32_t code) {
  for (const auto &[value, name] : kActions) {
    if (value == code) return std::string(name);
  }
  return "code " + std::to_string(code);
}

std::optional<uint32_t> find_action(std::string_view name) {
  for (const auto &action : kActions) {
    if (action.name == name) return action.code;
  }
  return std::nullopt;
}

std::optional<int32_t> find_status(std::string_view name) {
  for (const int32_t status : kStatuses) {
    if (name == orva_fp_status_name(status)) return status;
  }
  return std::nullopt;
}

}  // namespace simulator
