// A C++ program that uses the library as a user would: exit status 0 when all is as promised.
#include <cstring>

#include <orva_fp/device.h>
#include <orva_fp/file.h>
#include <orva_fp/image.h>
#include <orva_fp/log.h>
#include <orva_fp/memory_time.h>
#include <orva_fp/sensor_test.h>
#include <orva_fp/status.h>

int main() {
  output_log(4, "(FPLOG)", "consumer.cpp", __func__, __LINE__, "linked from %s", "C++");

  const auto unused = [](void *, uint32_t, const sensor_test_request *, uint32_t,
                          sensor_test_reply *, uint32_t *) -> int32_t { return -1; };
  if (orvaFpSensorTest(ORVA_SCRIPT_SNR1, 0, 0, 0, unused, nullptr, 0, 0, nullptr) !=
      FP_ERR_NULL_LOG_PATH) {
    return 1;
  }
  char path[16] = "";
  if (confirm_save_path(path, sizeof path, "folder", "file") != 1) return 1;
  return strcmp(path, "folder/file") == 0 && g_fp_device_handle == 0 ? 0 : 1;
}
