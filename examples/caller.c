/* Runs the normal-scan sensor test with a callback that answers in the secure side's place: it asks
 * for a reset, then finishes with a text. The argument is the folder of the result files. */
#include <stdio.h>
#include <string.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

static int32_t answer(void *context, uint32_t command, const sensor_test_request *request,
                      uint32_t request_size, sensor_test_reply *reply, uint32_t *reply_size) {
  (void)command, (void)request, (void)request_size, (void)reply_size;
  int *requests = context;
  if (++*requests == 1) {
    reply->result = ORVA_RESET;
    return 0;
  }
  reply->result = ORVA_TEST_FINISH;
  reply->data_len = 0;
  strcpy(reply->result_text, "RESULT: PASS\n");
  return 0;
}

int main(int argc, char **argv) {
  const char *folder = argc > 1 ? argv[1] : ".";
  int requests = 0;
  const int32_t status =
      orvaFpSensorTest(ORVA_SCRIPT_NORMAL_SCAN, 0, 0, 0, answer, &requests, 0, 0, folder);
  printf("status %d after %d requests\n", (int)status, requests);

  orvaFpDeviceClose(g_fp_device_handle); /* the library leaves the driver open for the next run */
  g_fp_device_handle = 0;
  return status == FP_OK ? 0 : 1;
}
