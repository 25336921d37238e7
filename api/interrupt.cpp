// The sensor's interrupt, which the driver turns into readability of its node.
#include <cstring>
#include <poll.h>

#include <orva_fp/device.h>
#include <orva_fp/log.h>

#include "api/driver_channel.h"

namespace {

constexpr char kFile[] = "orva_fp_normal";

}  // namespace

int32_t orvaFpDeviceEnableInt(int32_t handle, uint32_t enable) {
  using namespace orva;
  const uint8_t send_byte = 0;
  uint8_t receive_byte = 0;
  output_nw_orva_log(kFile, "orvaFpDeviceEnableInt", 228, "DeviceEnableInt %d %d %d %d",
                     static_cast<int32_t>(enable), kIntParams[0], kIntParams[1], kIntParams[2]);
  // Disarming leaves the parameters of arming in the record.
  if (enable == 1) {
    memcpy(g_fp_ioc_transfer.param, kIntParams, sizeof g_fp_ioc_transfer.param);
  }
  return send_command(handle, enable == 1 ? FP_IOC_INT_ENABLE : FP_IOC_INT_DISABLE, 1, &send_byte,
                      &receive_byte);
}

int32_t orvaFpDeviceWaitInt(int32_t handle, int32_t timeout_ms) {
  constexpr char kFunction[] = "orvaFpDeviceWaitInt";
  pollfd entry = {.fd = handle, .events = POLLIN, .revents = 0};
  const int ready = poll(&entry, 1, timeout_ms);
  if (ready == -1) {
    output_nw_orva_log(kFile, kFunction, 252, "poll error");
    return FP_ERR_DRIVER_IO;
  }
  // An error or a hang-up without readability is no interrupt.
  if (ready == 0 || (entry.revents & POLLIN) == 0) return FP_ERR_POLL_TIMEOUT;

  output_nw_orva_log(kFile, kFunction, 256, "DeviceWaitInt poll trigger");
  return FP_OK;
}
