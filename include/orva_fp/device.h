/** @file
 * Operations on the fingerprint sensor through its driver node "/dev/ovfp0".
 *
 * Call orvaFpDeviceOpen first (it also powers the sensor on), then any operations with the handle,
 * then orvaFpDeviceClose. Each returns a status of status.h; a failed one is not retried, and what
 * the driver returns other than -1 is not looked at.
 *
 * What carries over: every command goes to the driver as one static record. A field that a command
 * does not write travels with the value that the last writer left: the bus clock that
 * orvaFpDeviceEEPROMEnable, orvaFpDeviceSetClock or orva_call_driver chose, and the three command
 * parameters of arming the interrupt (4, 10, 1) or of orva_call_driver.
 *
 * Threads: because of that record, operations must be called one at a time, whatever their
 * handles. orvaFpDeviceWaitInt and orvaFpDeviceClose do not touch the record and may run beside
 * another operation. The library takes no lock.
 *
 * Log lines go to the system log under the tag "(FPLOG)" at error priority, also those that only
 * report progress.
 */
#ifndef ORVA_FP_DEVICE_H
#define ORVA_FP_DEVICE_H

#include <stdint.h>

#include "orva_fp/export.h"
#include "orva_fp/status.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Descriptor of the open driver node that the sensor test uses, 0 when there is none (as at load).
 * orvaFpSensorTest opens the node into it on the first run that finds 0 and never closes it.
 * orvaFpDeviceClose takes the descriptor by value: set this back to 0 after closing it. */
extern ORVA_FP_API int32_t g_fp_device_handle;

/** Opens the driver node for reading and writing, stores its descriptor at handle_out and powers
 * the sensor on.
 * FP_ERR_NULL_PARAM for a null handle_out; FP_ERR_NO_DEVICE when the node does not exist
 * (*handle_out unchanged) or cannot be opened (*handle_out 0); FP_ERR_DRIVER_IO when the power-on
 * failed: the descriptor stays open, stored at handle_out, and is the caller's to close. */
ORVA_FP_API int32_t orvaFpDeviceOpen(int32_t *handle_out);

/** Closes the descriptor; FP_ERR_DRIVER_IO when that fails. Handle 0 does nothing and gives FP_OK.
 * The sensor is not powered off. */
ORVA_FP_API int32_t orvaFpDeviceClose(int32_t handle);

/** Switches the sensor on (1) or off (0); any other value goes to the driver unchecked. */
ORVA_FP_API int32_t orvaFpDevicePowerCtrl(int32_t handle, uint32_t power);

/** Resets the sensor. */
ORVA_FP_API int32_t orvaFpDeviceReset(int32_t handle);

/** Switches the sensor's information memory on (1) or off (any other value). Two commands: the bus
 * clock, 3300000 Hz for on and 12500000 Hz for off, which stays in force, then the switch. When
 * the first fails the second is not sent; when the second fails the clock has changed already. */
ORVA_FP_API int32_t orvaFpDeviceEEPROMEnable(int32_t handle, uint32_t enable);

/** Mode 1 selects the bus clock of 12500000 Hz; any other value sends the driver's other clock
 * command and leaves the clock as it is. */
ORVA_FP_API int32_t orvaFpDeviceSetClock(int32_t handle, int32_t mode);

/** Passes a CPU speed-up request with the driver's own value. */
ORVA_FP_API int32_t orvaFpDeviceCPUSpeedup(int32_t handle, uint32_t value);

/** Arms the sensor's interrupt (1) or disarms it (any other value). */
ORVA_FP_API int32_t orvaFpDeviceEnableInt(int32_t handle, uint32_t enable);

/** Waits until the driver signals the interrupt, for timeout_ms milliseconds at most; a negative
 * limit waits without end, 0 only looks. Nothing is read from the node.
 * FP_OK when the interrupt came; FP_ERR_POLL_TIMEOUT when it did not, also when the node only
 * reports an error or is not open; FP_ERR_DRIVER_IO when poll failed (a signal included). */
ORVA_FP_API int32_t orvaFpDeviceWaitInt(int32_t handle, int32_t timeout_ms);

/** Sends any command to the driver: opcode is its code, tx_buf (may be null) the len bytes to send,
 * rx_buf (may be null) the buffer to receive into, params three command parameters, or null to
 * leave them unchanged, speed_hz the bus clock in Hz, or 0 to leave it unchanged. For commands
 * without buffers len is the command's 32-bit argument. Writes no log line. */
ORVA_FP_API int32_t orva_call_driver(int32_t handle, uint8_t opcode, const void *tx_buf,
                                     uint32_t len, void *rx_buf, const uint8_t *params,
                                     uint32_t speed_hz);

#ifdef __cplusplus
}
#endif

#endif
