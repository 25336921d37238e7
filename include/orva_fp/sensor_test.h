/** @file
 * The sensor's factory and self-test.
 */
#ifndef ORVA_FP_SENSOR_TEST_H
#define ORVA_FP_SENSOR_TEST_H

#include <stdint.h>

#include "orva_fp/export.h"
#include "orva_fp/status.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup sensor_test Sensor test
 * The normal-world half of the sensor's factory and self-test. A trusted application on the secure
 * side leads the test; the caller's callback carries requests to it and replies back.
 * @{ */

/** Scripts. The two of a family (normal scan, SNR1, SNR2) differ only in the script_variant that
 * they send. */
enum {
  ORVA_SCRIPT_NORMAL_SCAN = 1000,         /**< normal scan, script_variant 0 */
  ORVA_SCRIPT_SNR1 = 1001,                /**< SNR1, script_variant 0 */
  ORVA_SCRIPT_SNR2 = 1002,                /**< SNR2, script_variant 0 */
  ORVA_SCRIPT_NORMAL_SCAN_VARIANT = 1003, /**< normal scan, script_variant 1 */
  ORVA_SCRIPT_SNR1_VARIANT = 1004,        /**< SNR1, script_variant 1 */
  ORVA_SCRIPT_SNR2_VARIANT = 1005         /**< SNR2, script_variant 1 */
};

/** The command of every request. */
enum { ORVA_CMD_SENSOR_TEST = 19 };

/** Action and end codes in sensor_test_reply::result.
 *
 * What a family does with each is said here; where a family is not named, it does nothing and asks
 * again, as with any other code. A reset that succeeds is followed by a pause of 15 ms, and each
 * power switch by one of 10 ms. A signal does not shorten these pauses. */
enum {
  ORVA_TEST_FINISH = 0,             /**< all: end; normal scan and SNR2 save the results */
  ORVA_WAIT_INTERRUPT = 12,         /**< SNR1: interrupt wait of 100 ms; SNR2: of 1000 ms */
  ORVA_RESET = 21,                  /**< normal scan: reset */
  ORVA_READ_SENSOR_INFO_START = 23, /**< all: information memory on */
  ORVA_READ_SENSOR_INFO_END = 24,   /**< normal scan: information memory off, then reset;
                                       SNR1: reset; SNR2: information memory off */
  ORVA_TEST_FINISH_ALT = 35,        /**< all: as ORVA_TEST_FINISH */
  ORVA_TEST_STOP = 37,              /**< all: end, and nothing is saved */
  ORVA_POWER_OFF_ON = 41            /**< normal scan: power off, then on */
};

/** Sizes. */
enum {
  SENSOR_TEST_FOLDER_LENGTH = 230, /**< longest pDataLogPath in bytes, without its NUL */
  SENSOR_TEST_TEXT_SIZE = 2048,    /**< bytes of sensor_test_reply::result_text */
  SENSOR_TEST_DATA_SIZE = 512000   /**< bytes of sensor_test_reply::data */
};

/** @name Result files
 * Their names in the folder pDataLogPath.
 * @{ */
#define ORVA_FP_NORMAL_SCAN_LOG "orva_sensor_test_NS.log" /**< result log of the normal scan */
#define ORVA_FP_SNR_LOG "orva_sensor_test_SNR.log"        /**< result log of SNR2 */
#define ORVA_FP_DATA_FILE "fp_data.bin"                   /**< data block of either */
/** @} */

/** What goes to the secure side with every request; 12 bytes. */
typedef struct sensor_test_request {
  int32_t script_id;           /**< as given to orvaFpSensorTest() */
  int32_t interrupt_triggered; /**< what the latest interrupt wait found: 1 the interrupt came,
                                  0 it did not; 0 before the first wait (implementation-defined) */
  int32_t script_variant;      /**< 1 for the scripts ORVA_SCRIPT_*_VARIANT, else 0 */
} sensor_test_request;

/** What the secure side answers; 514056 bytes. It is not cleared between requests. */
typedef struct sensor_test_reply {
  char result_text[SENSOR_TEST_TEXT_SIZE]; /**< body of the result log, ended by a NUL */
  uint32_t result;                         /**< action or end code */
  int32_t data_len;                        /**< bytes in data that are valid; 0 or less: none */
  uint8_t data[SENSOR_TEST_DATA_SIZE];     /**< contents of the data file */
} sensor_test_reply;

/** Carries one request to the secure side and brings the reply back.
 *
 * It is called on the thread of orvaFpSensorTest(). The records live as long as the run; their
 * addresses must not be kept.
 *
 * @param         context       pRequestContext of orvaFpSensorTest()
 * @param         command       ORVA_CMD_SENSOR_TEST
 * @param[in]     request       the request
 * @param         request_size  12
 * @param[in,out] reply         the reply. A callback that succeeds must have written result and,
 *                              with an end code, result_text, data_len and data_len bytes of data
 * @param[in,out] reply_size    514056 in the first call of a run; in each later one what the
 *                              callback left there. The library does not read it
 * @return 0 when the reply is filled in; any other value ends the run with FP_ERR_REQUEST_FAILED
 * @warning It must return: neither an exception nor a longjmp may leave it. */
typedef int32_t (*sensor_test_request_fn)(void *context, uint32_t command,
                                          const sensor_test_request *request, uint32_t request_size,
                                          sensor_test_reply *reply, uint32_t *reply_size);

/** Runs one script to its end.
 *
 * A run takes these steps:
 * 1. It deletes the files of the run before: the data file, and the result log of the script's
 *    family. SNR1, which saves nothing, deletes the log of SNR2.
 * 2. It logs its version, script_id, options and pDataLogPath.
 * 3. If #g_fp_device_handle is 0, it opens the driver node into it with orvaFpDeviceOpen() and sets
 *    the bus clock with orvaFpDeviceSetClock(), mode 1. The node stays open.
 * 4. It calls pfnCustomRequest and carries out the action of the reply, again and again, until an
 *    end code comes. There is no limit on the number of requests.
 * 5. If the end code and the family say so, it saves the data file (when data_len is above 0) and
 *    then the result log: "Date: ", the date in UTC with a line feed, and result_text. Both replace
 *    a file that is there.
 *
 * Failures on the way:
 * - A sensor operation that fails is logged, and the run goes on; the secure side is not told.
 * - An interrupt wait without an interrupt sets interrupt_triggered to 0, and the run goes on. Only
 *   a wait whose interrupt cannot be armed or disarmed ends the run, and nothing is saved.
 * - A save that fails is logged and changes nothing else.
 *
 * @param     script_id         ORVA_SCRIPT_*. With any other number the run deletes the data file,
 *                              does steps 2 and 3, and ends
 * @param     options           any number; printed in a log line, without further effect
 * @param     unused_3          ignored
 * @param     unused_4          ignored
 * @param     pfnCustomRequest  the callback
 * @param     pRequestContext   handed to the callback as it is; may be null
 * @param     unused_7          ignored
 * @param     unused_8          ignored
 * @param[in] pDataLogPath      folder of the result files, without a slash at the end; at most
 *                              SENSOR_TEST_FOLDER_LENGTH bytes; null gives FP_ERR_NULL_LOG_PATH
 *
 * @return - FP_OK: an end code came, or script_id is none of ORVA_SCRIPT_*
 *         - FP_ERR_NULL_LOG_PATH: pDataLogPath is null, and nothing was done
 *         - FP_ERR_REQUEST_FAILED: the callback failed
 *         - FP_ERR_NO_DEVICE: the driver node is missing or cannot be opened
 *         - FP_ERR_DRIVER_IO: the sensor could not be powered on or clocked, or its interrupt not
 *           be armed or disarmed. A node that was opened stays in #g_fp_device_handle, and the next
 *           run uses it as it is
 *
 * @note Memory: no heap, but for what libc's streams take. About 512 KiB of the calling thread's
 *       stack, and what the callback and the log library take: without the callback, 515 to 524 KiB
 *       in all were measured off Android. A thread with 1 MiB is enough.
 * @warning Threads: one run at a time in a process, and no device operation beside it.
 *
 * @note Implementation-defined, the first three with an error line in the log:
 *       - A file whose path is longer than 255 bytes is left alone: it is neither deleted nor
 *         saved, its save fails with ENAMETOOLONG, and "Save bin=" names no path. The run goes on.
 *       - A data_len above SENSOR_TEST_DATA_SIZE saves the SENSOR_TEST_DATA_SIZE bytes that exist.
 *       - A result log holds at most 1023 bytes: the date line and 992 bytes of result_text. What
 *         is more is cut off, never within a UTF-8 character. A result_text without a NUL ends with
 *         its last byte.
 *       - Until the callback writes to the reply, result is ORVA_TEST_STOP, data_len is 0 and
 *         result_text is empty. So a callback that returns 0 without writing ends the run, and
 *         nothing is saved.
 *       - A null pfnCustomRequest counts as a callback that failed. */
ORVA_FP_API int32_t orvaFpSensorTest(int32_t script_id, int32_t options, uintptr_t unused_3,
                                     uintptr_t unused_4, sensor_test_request_fn pfnCustomRequest,
                                     void *pRequestContext, uintptr_t unused_7, uintptr_t unused_8,
                                     const char *pDataLogPath);

/** Set to any number but 0, it asks an interrupt wait without a time limit to stop. 0 at load.
 *
 * Another thread may store it at any time with a single 32-bit store, such as __atomic_store_n; the
 * wait loads it atomically after every slice of 10 ms. The waits of a run have time limits and do
 * not look at it.
 * @warning The library never writes it: clear it before the next wait. */
extern ORVA_FP_API int32_t g_sensor_test_abort;

/** timeout_ms of wait_interrupt_in_sensor_test() for a wait without a time limit. */
#define ORVA_FP_NO_TIME_LIMIT UINT32_C(0xFFFFFFFF)

/** Arms the sensor's interrupt on #g_fp_device_handle, waits for it, and disarms it again.
 *
 * With a time limit it waits once. Without one it waits in slices of 10 ms. A slice that ends early
 * without the interrupt, because the driver fails or a signal comes, still lasts its 10 ms. After
 * every slice without the interrupt it looks at #g_sensor_test_abort. An interrupt that comes
 * within a slice counts, even when the flag is set.
 *
 * @param timeout_ms  time limit in milliseconds, or ORVA_FP_NO_TIME_LIMIT
 * @return - FP_OK: the interrupt came
 *         - FP_ERR_INT_NOT_TRIGGERED: it did not come within the limit; a wait with a limit ended
 *           early, because the driver failed or a signal came; or #g_sensor_test_abort ended the
 *           wait
 *         - the status of arming, when that failed; then nothing else was done
 *         - the status of disarming, when that failed; it replaces the first two
 * @note Implementation-defined: a limit from 0x80000000 to 0xFFFFFFFE is taken as 0x7FFFFFFF, the
 *       longest that the system can wait (24 days). */
ORVA_FP_API int32_t wait_interrupt_in_sensor_test(uint32_t timeout_ms);

/** Composes a path: src1, "/" and src2.
 *
 * @param[in,out] dest      receives the path. On entry it holds a text ended by a NUL, which is
 *                          logged whole, whatever dest_len is; null gives 0
 * @param         dest_len  bytes that dest has room for
 * @param[in]     src1      text before the slash
 * @param[in]     src2      text after it
 * @return 1, or 0 with dest unchanged
 * @note Implementation-defined: the result is 0 when the path and its NUL do not fit dest_len
 *       bytes, when src1 or src2 is null, and when either overlaps the bytes of dest that the path
 *       would take. */
ORVA_FP_API int32_t confirm_save_path(char *dest, int32_t dest_len, const char *src1,
                                      const char *src2);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
