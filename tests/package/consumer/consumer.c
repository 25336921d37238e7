/* A C11 program that uses the library as a user would: exit status 0 when all is as promised. */
#include <stdarg.h>
#include <string.h>

#include <orva_fp/device.h>
#include <orva_fp/file.h>
#include <orva_fp/image.h>
#include <orva_fp/log.h>
#include <orva_fp/memory_time.h>
#include <orva_fp/sensor_test.h>
#include <orva_fp/status.h>
#include <orva_fp/version.h>

/* Log lines come to a program that defines this function. One tells the version of the library. */
static int version_logged = 0;
int __android_log_print(int priority, const char *tag, const char *format, ...);
int __android_log_print(int priority, const char *tag, const char *format, ...) {
  (void)priority, (void)tag;
  va_list args;
  va_start(args, format);
  if (strstr(va_arg(args, const char *), " = V" ORVA_FP_VERSION ",") != NULL) version_logged = 1;
  va_end(args);
  return 1;
}

static int32_t no_secure_side(void *context, uint32_t command, const sensor_test_request *request,
    uint32_t request_size, sensor_test_reply *reply, uint32_t *reply_size) {
  (void)context, (void)command, (void)request, (void)request_size, (void)reply, (void)reply_size;
  return -1;
}

int main(void) {
  output_log(4, "(FPLOG)", "consumer.c", __func__, __LINE__, "linked from %s", "C");

  g_fp_device_handle = -1; /* open, so that nothing is opened */
  orvaFpSensorTest(0, 0, 0, 0, NULL, NULL, 0, 0, "no such folder");
  g_fp_device_handle = 0;

  g_img_alg_sd = (image_dims){0, 0};
  const int32_t status =
      orvaFpSensorTest(ORVA_SCRIPT_NORMAL_SCAN, 0, 0, 0, no_secure_side, NULL, 0, 0, NULL);
  int32_t handle = 0;
  return version_logged && sys_get_heap_size() == 0 &&
                 strcmp(orva_fp_status_name(status), "FP_ERR_NULL_LOG_PATH") == 0 &&
                 orvaFpDeviceClose(handle) == FP_OK && orvaFpDeviceOpen(NULL) == FP_ERR_NULL_PARAM
             ? 0
             : 1;
}
