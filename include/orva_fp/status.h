/** @file
 * Status words of the device operations and of the sensor test.
 */
#ifndef ORVA_FP_STATUS_H
#define ORVA_FP_STATUS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup status Status words
 * What device operations and the sensor test return.
 * @{ */

/** What device operations and the sensor test return: 0 for success, else one of these. A status of
 * a lower layer passes upward unchanged. The system error number is never translated into one. */
enum {
  FP_OK = 0,                     /**< success */
  FP_ERR_NULL_LOG_PATH = 1,      /**< orvaFpSensorTest: pDataLogPath is null */
  FP_ERR_INT_NOT_TRIGGERED = 13, /**< interrupt wait: time limit passed or abort asked for */
  FP_ERR_REQUEST_FAILED = 35,    /**< orvaFpSensorTest: pfnCustomRequest failed or is null */
  FP_ERR_POLL_TIMEOUT = 117,     /**< orvaFpDeviceWaitInt: no interrupt seen */
  FP_ERR_DRIVER_IO = 209,        /**< ioctl or poll returned -1, or close failed */
  FP_ERR_NO_DEVICE = 210,        /**< the driver node is missing or cannot be opened */
  FP_ERR_NULL_PARAM = 703        /**< orvaFpDeviceOpen: null place for the handle */
};

/** Name of a status, for messages. Compiled into the caller: the library does not export it.
 *
 * @param status  any number
 * @return        the enumerator's name, for example "FP_ERR_DRIVER_IO", or "unnamed" when no status
 *                has this number; a constant string, never null
 */
static inline const char *orva_fp_status_name(int32_t status) {
  switch (status) {
    case FP_OK:
      return "FP_OK";
    case FP_ERR_NULL_LOG_PATH:
      return "FP_ERR_NULL_LOG_PATH";
    case FP_ERR_INT_NOT_TRIGGERED:
      return "FP_ERR_INT_NOT_TRIGGERED";
    case FP_ERR_REQUEST_FAILED:
      return "FP_ERR_REQUEST_FAILED";
    case FP_ERR_POLL_TIMEOUT:
      return "FP_ERR_POLL_TIMEOUT";
    case FP_ERR_DRIVER_IO:
      return "FP_ERR_DRIVER_IO";
    case FP_ERR_NO_DEVICE:
      return "FP_ERR_NO_DEVICE";
    case FP_ERR_NULL_PARAM:
      return "FP_ERR_NULL_PARAM";
    default:
      return "unnamed";
  }
}

/** @} */

#ifdef __cplusplus
}
#endif

#endif
