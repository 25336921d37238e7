/** @file
 * Status words of the device operations and of the sensor test.
 *
 * Both return a signed 32-bit status, 0 for success. A status of a lower layer passes upward
 * unchanged; the system error number is never translated into one.
 */
#ifndef ORVA_FP_STATUS_H
#define ORVA_FP_STATUS_H

enum {
  FP_OK = 0,
  FP_ERR_NULL_LOG_PATH = 1,      /**< orvaFpSensorTest: pDataLogPath is null */
  FP_ERR_INT_NOT_TRIGGERED = 13, /**< interrupt wait: time limit passed or abort asked for */
  FP_ERR_REQUEST_FAILED = 35,    /**< orvaFpSensorTest: pfnCustomRequest failed or is null */
  FP_ERR_POLL_TIMEOUT = 117,     /**< orvaFpDeviceWaitInt: no interrupt seen */
  FP_ERR_DRIVER_IO = 209,        /**< ioctl or poll returned -1, or close failed */
  FP_ERR_NO_DEVICE = 210,        /**< the driver node is missing or cannot be opened */
  FP_ERR_NULL_PARAM = 703        /**< orvaFpDeviceOpen: null place for the handle */
};

#endif
