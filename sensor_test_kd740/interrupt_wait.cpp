// The interrupt wait: arm, wait with a time limit or until the abort flag is set, disarm.
#include <algorithm>

#include <orva_fp/device.h>
#include <orva_fp/log.h>
#include <orva_fp/sensor_test.h>

#include "sensor_test_kd740/pause.h"
#include "sensor_test_kd740/test_log.h"

int32_t g_sensor_test_abort = 0;

namespace {

constexpr uint32_t kLongestLimitMs = 0x7FFFFFFF;  // poll takes more for an endless wait
constexpr int32_t kSliceMs = 10;
constexpr uint32_t kSliceUs = kSliceMs * 1000;

void log_outcome(int32_t line, const char *text) {
  output_log(orva::kLogInfo, orva::kLogTag, orva::kSensorTestFile, "wait_interrupt_in_sensor_test",
             line, "%s", text);
}

// One wait with a limit; true when the interrupt came.
bool wait_limited(uint32_t timeout_ms) {
  const auto limit_ms = static_cast<int32_t>(std::min(timeout_ms, kLongestLimitMs));
  const bool triggered = orvaFpDeviceWaitInt(g_fp_device_handle, limit_ms) == FP_OK;
  if (triggered) {
    log_outcome(65, "sensor_test interrupt tirgger");
  } else {
    log_outcome(67, "sensor_test interrupt timeout");
  }
  return triggered;
}

// Waits for the interrupt for the time of a slice; true when it came. A poll that ends early, on an
// error of the node or a signal, does not shorten the slice: the node may stay as it is for long.
bool wait_slice() {
  const uint64_t start = orva::monotonic_us();
  if (orvaFpDeviceWaitInt(g_fp_device_handle, kSliceMs) == FP_OK) return true;
  const uint64_t lasted = orva::monotonic_us() - start;
  if (lasted < kSliceUs) orva::pause_us(static_cast<uint32_t>(kSliceUs - lasted));
  return false;
}

// Slices without a limit on their number; true when the interrupt came.
bool wait_until_aborted() {
  for (;;) {
    if (wait_slice()) {
      log_outcome(53, "sensor_test interrupt tirgger");
      return true;
    }
    // Another thread stores the flag while this one waits.
    if (__atomic_load_n(&g_sensor_test_abort, __ATOMIC_ACQUIRE) != 0) {
      log_outcome(57, "sensor_test interrupt abort");
      return false;
    }
  }
}

}  // namespace

int32_t wait_interrupt_in_sensor_test(uint32_t timeout_ms) {
  const int32_t enabled = orvaFpDeviceEnableInt(g_fp_device_handle, 1);
  if (enabled != FP_OK) return enabled;

  const bool triggered =
      timeout_ms == ORVA_FP_NO_TIME_LIMIT ? wait_until_aborted() : wait_limited(timeout_ms);
  const int32_t disabled = orvaFpDeviceEnableInt(g_fp_device_handle, 0);
  if (disabled != FP_OK) return disabled;
  return triggered ? FP_OK : FP_ERR_INT_NOT_TRIGGERED;
}
