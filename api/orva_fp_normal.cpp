// Device access: the driver node, the command record and the operations that are one or two
// commands.
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <orva_fp/device.h>
#include <orva_fp/log.h>

#include "api/driver_channel.h"

namespace orva {

fp_ioc_transfer g_fp_ioc_transfer = {
    .tx_buf = 0,
    .rx_buf = 0,
    .len = 0,
    .speed_hz = kClockNormalHz,
    .delay_usecs = 0,
    .bits_per_word = 8,
    .cs_change = 1,
    .opcode = 0,
    .param = {0, 0, 0},
};

int32_t send_command(int32_t handle, uint8_t opcode, uint32_t len, const void *tx_buf,
                     const void *rx_buf) {
  g_fp_ioc_transfer.tx_buf = reinterpret_cast<uintptr_t>(tx_buf);
  g_fp_ioc_transfer.rx_buf = reinterpret_cast<uintptr_t>(rx_buf);
  g_fp_ioc_transfer.len = len;
  g_fp_ioc_transfer.opcode = opcode;
  return ioctl(handle, kDriverRequest, &g_fp_ioc_transfer) == -1 ? FP_ERR_DRIVER_IO : FP_OK;
}

}  // namespace orva

namespace {

constexpr char kFile[] = "orva_fp_normal";

// Version of the device layer as its clock line prints it.
constexpr int kVersion[4] = {12, 2, 298, 600};

}  // namespace

using orva::g_fp_ioc_transfer;
using orva::send_command;

int32_t g_fp_device_handle = 0;

int32_t orvaFpDeviceOpen(int32_t *handle_out) {
  if (handle_out == nullptr) return FP_ERR_NULL_PARAM;

  struct stat node;
  if (stat(ORVA_FP_DRIVER_NODE, &node) != 0) return FP_ERR_NO_DEVICE;

  const int32_t handle = open(ORVA_FP_DRIVER_NODE, O_RDWR);
  if (handle < 0) {
    *handle_out = 0;
    return FP_ERR_NO_DEVICE;
  }
  *handle_out = handle;
  return orvaFpDevicePowerCtrl(handle, 1);
}

int32_t orvaFpDeviceClose(int32_t handle) {
  if (handle == 0) return FP_OK;
  return close(handle) != 0 ? FP_ERR_DRIVER_IO : FP_OK;
}

int32_t orvaFpDevicePowerCtrl(int32_t handle, uint32_t power) {
  output_nw_orva_log(kFile, "orvaFpDevicePowerCtrl", 187, "orvaFpDevicePowerCtrl %d",
                     static_cast<int32_t>(power));
  return send_command(handle, orva::FP_IOC_POWER_CTRL, power);
}

int32_t orvaFpDeviceReset(int32_t handle) { return send_command(handle, orva::FP_IOC_RESET, 0); }

int32_t orvaFpDeviceEEPROMEnable(int32_t handle, uint32_t enable) {
  constexpr char kFunction[] = "orvaFpDeviceEEPROMEnable";
  output_nw_orva_log(kFile, kFunction, 203, "DeviceEEPROMEnable start non-tz %d",
                     static_cast<int32_t>(enable));
  g_fp_ioc_transfer.speed_hz = enable == 1 ? orva::kClockInfoMemoryHz : orva::kClockNormalHz;
  const int32_t status = send_command(handle, orva::FP_IOC_SET_CLOCK, 0);
  if (status != FP_OK) return status;

  output_nw_orva_log(kFile, kFunction, 216, "DeviceEEPROMEnable end");
  return send_command(handle, orva::FP_IOC_EEPROM_ENABLE, enable == 1 ? 0 : 1);
}

int32_t orvaFpDeviceSetClock(int32_t handle, int32_t mode) {
  output_nw_orva_log(kFile, "orvaFpDeviceSetClock", 267, "%d.%d.%d.%d DeviceSetClock %d",
                     kVersion[0], kVersion[1], kVersion[2], kVersion[3], mode);
  if (mode != 1) return send_command(handle, orva::FP_IOC_CLOCK_OTHER, 0);

  g_fp_ioc_transfer.speed_hz = orva::kClockNormalHz;
  return send_command(handle, orva::FP_IOC_SET_CLOCK, 0);
}

int32_t orvaFpDeviceCPUSpeedup(int32_t handle, uint32_t value) {
  return send_command(handle, orva::FP_IOC_CPU_SPEEDUP, value);
}

int32_t orva_call_driver(int32_t handle, uint8_t opcode, const void *tx_buf, uint32_t len,
                         void *rx_buf, const uint8_t *params, uint32_t speed_hz) {
  if (params != nullptr) memcpy(g_fp_ioc_transfer.param, params, sizeof g_fp_ioc_transfer.param);
  if (speed_hz != 0) g_fp_ioc_transfer.speed_hz = speed_hz;
  return send_command(handle, opcode, len, tx_buf, rx_buf);
}
