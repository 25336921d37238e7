#include "simulator/names.h"

#include <orva_fp/sensor_test.h>
#include <orva_fp/status.h>

namespace simulator {

namespace {

template <typename T>
struct named {
  T value;
  std::string_view name;
};

constexpr named<uint32_t> kActions[] = {
    {ORVA_TEST_FINISH, "finish"},
    {ORVA_WAIT_INTERRUPT, "wait-interrupt"},
    {ORVA_RESET, "reset"},
    {ORVA_READ_SENSOR_INFO_START, "read-sensor-info-start"},
    {ORVA_READ_SENSOR_INFO_END, "read-sensor-info-end"},
    {ORVA_TEST_FINISH_ALT, "finish-alt"},
    {ORVA_TEST_STOP, "stop"},
    {ORVA_POWER_OFF_ON, "power-off-on"},
};

constexpr named<int32_t> kStatuses[] = {
    {FP_OK, "FP_OK"},
    {FP_ERR_NULL_LOG_PATH, "FP_ERR_NULL_LOG_PATH"},
    {FP_ERR_INT_NOT_TRIGGERED, "FP_ERR_INT_NOT_TRIGGERED"},
    {FP_ERR_REQUEST_FAILED, "FP_ERR_REQUEST_FAILED"},
    {FP_ERR_POLL_TIMEOUT, "FP_ERR_POLL_TIMEOUT"},
    {FP_ERR_DRIVER_IO, "FP_ERR_DRIVER_IO"},
    {FP_ERR_NO_DEVICE, "FP_ERR_NO_DEVICE"},
    {FP_ERR_NULL_PARAM, "FP_ERR_NULL_PARAM"},
};

template <typename T, size_t N>
std::string name_of(const named<T> (&table)[N], T value, const std::string &otherwise) {
  for (const named<T> &entry : table) {
    if (entry.value == value) return std::string(entry.name);
  }
  return otherwise;
}

template <typename T, size_t N>
std::optional<T> value_of(const named<T> (&table)[N], std::string_view name) {
  for (const named<T> &entry : table) {
    if (entry.name == name) return entry.value;
  }
  return std::nullopt;
}

}  // namespace

std::string action_name(uint32_t code) {
  return name_of(kActions, code, "code " + std::to_string(code));
}

std::optional<uint32_t> find_action(std::string_view name) { return value_of(kActions, name); }

std::string status_name(int32_t status) { return name_of(kStatuses, status, "unnamed"); }

std::optional<int32_t> find_status(std::string_view name) { return value_of(kStatuses, name); }

}  // namespace simulator
