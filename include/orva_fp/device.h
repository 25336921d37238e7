/** @file
 * Operations on the fingerprint sensor through its driver node.
 */
#ifndef ORVA_FP_DEVICE_H
#define ORVA_FP_DEVICE_H

#include <stdint.h>

#include "orva_fp/export.h"
#include "orva_fp/status.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup device Device access
 * Operations on the sensor behind the driver node #ORVA_FP_DRIVER_NODE.
 *
 * Order of calls: orvaFpDeviceOpen(), which also powers the sensor on; then any operations with the
 * handle; then orvaFpDeviceClose().
 *
 * - Results: each operation returns FP_OK or an FP_ERR_* of status.h. FP_ERR_DRIVER_IO means that
 *   ioctl returned -1; any other result of ioctl counts as success. Nothing is tried again.
 * - State: all commands go to the driver in one static record. A field that a command does not
 *   write travels with the value that an earlier command left in it. There are two: the bus clock,
 *   12500000 Hz at load, which orvaFpDeviceEEPROMEnable(), orvaFpDeviceSetClock() and
 *   orva_call_driver() write; and three parameters, 0, 0, 0 at load, which arming the interrupt
 *   (4, 10, 1) and orva_call_driver() write.
 * - Threads: because of that record, operations are called one at a time, whatever their handles.
 *   Only orvaFpDeviceWaitInt() and orvaFpDeviceClose() may run beside another operation. The
 *   library takes no lock.
 * - Log: lines go out under the tag "(FPLOG)" at error priority, also those that report no error.
 * @{ */

/** The driver's device node. */
#define ORVA_FP_DRIVER_NODE "/dev/ovfp0"

/** Descriptor of the open driver node that the sensor test uses; 0 for none, as at load.
 *
 * The first orvaFpSensorTest() that finds 0 opens the node into it. The library never closes it.
 * @warning orvaFpDeviceClose() takes the descriptor by value: set this back to 0 after closing. */
extern ORVA_FP_API int32_t g_fp_device_handle;

/** Opens the driver node for reading and writing, and powers the sensor on.
 *
 * @param[out] handle_out  receives the descriptor; null gives FP_ERR_NULL_PARAM
 * @return - FP_OK
 *         - FP_ERR_NULL_PARAM: handle_out is null, and nothing was done
 *         - FP_ERR_NO_DEVICE: the node does not exist, and *handle_out is unchanged; or it cannot
 *           be opened, and *handle_out is 0
 *         - FP_ERR_DRIVER_IO: the sensor was not powered on. The node is open all the same: its
 *           descriptor is in *handle_out, and closing it is up to the caller */
ORVA_FP_API int32_t orvaFpDeviceOpen(int32_t *handle_out);

/** Closes the driver node. The sensor is not powered off.
 *
 * @param handle  descriptor of the node; with 0 nothing is done
 * @return FP_OK, or FP_ERR_DRIVER_IO when close failed */
ORVA_FP_API int32_t orvaFpDeviceClose(int32_t handle);

/** Powers the sensor on or off.
 *
 * @param handle  descriptor of the node
 * @param power   1 on, 0 off; any other value goes to the driver unchecked
 * @return FP_OK or FP_ERR_DRIVER_IO */
ORVA_FP_API int32_t orvaFpDevicePowerCtrl(int32_t handle, uint32_t power);

/** Resets the sensor.
 *
 * @param handle  descriptor of the node
 * @return FP_OK or FP_ERR_DRIVER_IO */
ORVA_FP_API int32_t orvaFpDeviceReset(int32_t handle);

/** Switches the sensor's information memory on or off. This takes two commands: first the bus
 * clock, 3300000 Hz for on and 12500000 Hz for off, and then the switch. The clock stays in force.
 *
 * @param handle  descriptor of the node
 * @param enable  1 on, any other value off
 * @return FP_OK or FP_ERR_DRIVER_IO
 * @note When the first command fails the second is not sent. When the second fails the clock has
 *       changed already. */
ORVA_FP_API int32_t orvaFpDeviceEEPROMEnable(int32_t handle, uint32_t enable);

/** Sets the bus clock.
 *
 * @param handle  descriptor of the node
 * @param mode    1 selects 12500000 Hz; any other value sends the driver's other clock command and
 *                leaves the clock in the record as it is
 * @return FP_OK or FP_ERR_DRIVER_IO */
ORVA_FP_API int32_t orvaFpDeviceSetClock(int32_t handle, int32_t mode);

/** Asks the driver to speed the processor up.
 *
 * @param handle  descriptor of the node
 * @param value   the driver's own number; goes to it unchecked
 * @return FP_OK or FP_ERR_DRIVER_IO */
ORVA_FP_API int32_t orvaFpDeviceCPUSpeedup(int32_t handle, uint32_t value);

/** Arms or disarms the sensor's interrupt.
 *
 * @param handle  descriptor of the node
 * @param enable  1 arms, any other value disarms
 * @return FP_OK or FP_ERR_DRIVER_IO */
ORVA_FP_API int32_t orvaFpDeviceEnableInt(int32_t handle, uint32_t enable);

/** Waits until the driver signals the interrupt. Nothing is read from the node.
 *
 * @param handle      descriptor of the node
 * @param timeout_ms  longest wait in milliseconds; 0 only looks, less than 0 waits without end
 * @return - FP_OK: the interrupt came
 *         - FP_ERR_POLL_TIMEOUT: it did not come in time, the node only reports an error, or the
 *           descriptor is not open; the last two at once
 *         - FP_ERR_DRIVER_IO: poll failed, as it does when a signal comes */
ORVA_FP_API int32_t orvaFpDeviceWaitInt(int32_t handle, int32_t timeout_ms);

/** Sends any command to the driver. Writes no log line.
 *
 * @param         handle    descriptor of the node
 * @param         opcode    code of the command
 * @param[in]     tx_buf    len bytes to send; null for none
 * @param         len       number of bytes; for a command without buffers its 32-bit argument
 * @param[out]    rx_buf    room for the bytes to receive; null for none
 * @param[in]     params    the command's three parameters; null leaves those of an earlier command
 * @param         speed_hz  bus clock in Hz; 0 leaves that of an earlier command
 * @return FP_OK or FP_ERR_DRIVER_IO */
ORVA_FP_API int32_t orva_call_driver(int32_t handle, uint8_t opcode, const void *tx_buf,
                                     uint32_t len, void *rx_buf, const uint8_t *params,
                                     uint32_t speed_hz);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
