/* A C11 program that uses the library as a user would: exit status 0 when all is as promised. */
#include <orva_fp/device.h>
#include <orva_fp/file.h>
#include <orva_fp/image.h>
#include <orva_fp/log.h>
#include <orva_fp/memory_time.h>
#include <orva_fp/sensor_test.h>
#include <orva_fp/status.h>

static int32_t no_secure_side(void *context, uint32_t command, const sensor_test_request *request,
                              uint32_t request_size, sensor_test_reply *reply,
                              uint32_t *reply_size) {
  (void)context, (void)command, (void)request, (void)request_size, (void)reply, (void)reply_size;
  return -1;
}

int main(void) {
  output_log(4, "(FPLOG)", "consumer.c", __func__, __LINE__, "linked from %s", "C");

  g_img_alg_sd = (image_dims){0, 0};
  const int32_t status =
      orvaFpSensorTest(ORVA_SCRIPT_NORMAL_SCAN, 0, 0, 0, no_secure_side, NULL, 0, 0, NULL);
  int32_t handle = 0;
  return sys_get_heap_size() == 0 && status == FP_ERR_NULL_LOG_PATH &&
                 orvaFpDeviceClose(handle) == FP_OK && orvaFpDeviceOpen(NULL) == FP_ERR_NULL_PARAM
             ? 0
             : 1;
}
