// Sensor-test entry: removal of earlier results, the driver, the script's request loop.
#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>
#include <orva_fp/version.h>

#include "sensor_test_kd740/request_loop.h"
#include "sensor_test_kd740/result_files.h"
#include "sensor_test_kd740/test_log.h"

namespace {

using orva::kLogError;
using orva::kLogInfo;
using orva::log_test_line;

constexpr int32_t kBuild = 298;
constexpr int32_t kPatch = 600;
constexpr int32_t kClockNormal = 1;  // mode of orvaFpDeviceSetClock

// Opens and clocks the driver unless an earlier run or the caller opened it.
int32_t open_driver() {
  if (g_fp_device_handle != 0) return FP_OK;
  const int32_t status = orvaFpDeviceOpen(&g_fp_device_handle);
  if (status != FP_OK) return status;
  return orvaFpDeviceSetClock(g_fp_device_handle, kClockNormal);
}

int32_t run_script(int32_t script_id, int32_t options, sensor_test_request_fn request_fn,
                   void *context, const char *folder) {
  if (folder == nullptr) {
    log_test_line(kLogError, {162, "%s"}, "sensor_test pDataLogPath == NULL");
    return FP_ERR_NULL_LOG_PATH;
  }

  const orva::script *script = orva::find_script(script_id);
  if (script != nullptr) {
    orva::result_path log_path;
    orva::compose_path(log_path, folder, script->log);
    orva::remove_old(log_path, folder, script->log, script->remove_log_line);
  }
  orva::result_path data_path;
  orva::compose_path(data_path, folder, ORVA_FP_DATA_FILE);
  orva::remove_old(data_path, folder, ORVA_FP_DATA_FILE, 185);

  log_test_line(
      kLogInfo,
      {195, "sensor_test version X = V%s, script_id = %d, options = %d pDataLogPath = %s"},
      ORVA_FP_VERSION, script_id, options, folder);
  log_test_line(kLogInfo, {197, "sensor_test build = %d, patch = %d"}, kBuild, kPatch);

  const int32_t opened = open_driver();
  if (opened != FP_OK || script == nullptr) return opened;
  return orva::run_request_loop(*script, request_fn, context, folder, data_path);
}

}  // namespace

int32_t orvaFpSensorTest(int32_t script_id, int32_t options, uintptr_t, uintptr_t,
                         sensor_test_request_fn pfnCustomRequest, void *pRequestContext, uintptr_t,
                         uintptr_t, const char *pDataLogPath) {
  const int32_t status =
      run_script(script_id, options, pfnCustomRequest, pRequestContext, pDataLogPath);
  log_test_line(kLogInfo, {655, "orvaFpSensorTest() ret = %d"}, status);
  return status;
}
