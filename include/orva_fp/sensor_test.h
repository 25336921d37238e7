/** @file
 * The sensor's factory and self-test: runs the normal-world half of a test that a trusted
 * application on the secure side leads behind the caller's request callback.
 */
#ifndef ORVA_FP_SENSOR_TEST_H
#define ORVA_FP_SENSOR_TEST_H

#include <stdint.h>

#include "orva_fp/export.h"
#include "orva_fp/status.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Scripts. The second of each family is its variant and sends script_variant 1. */
enum {
  ORVA_SCRIPT_NORMAL_SCAN = 1000,
  ORVA_SCRIPT_SNR1 = 1001,
  ORVA_SCRIPT_SNR2 = 1002,
  ORVA_SCRIPT_NORMAL_SCAN_VARIANT = 1003,
  ORVA_SCRIPT_SNR1_VARIANT = 1004,
  ORVA_SCRIPT_SNR2_VARIANT = 1005
};

/** The command of every request. */
enum { ORVA_CMD_SENSOR_TEST = 19 };

/** Action and end codes in sensor_test_reply::result, with what the three script families (normal
 * scan, SNR1, SNR2) do. Any code without an action in a family is answered by the next request. */
enum {
  ORVA_TEST_FINISH = 0,             /**< end; normal scan and SNR2 save the results */
  ORVA_WAIT_INTERRUPT = 12,         /**< SNR1: interrupt wait of 100 ms; SNR2: of 1000 ms */
  ORVA_RESET = 21,                  /**< normal scan: reset */
  ORVA_READ_SENSOR_INFO_START = 23, /**< all: information memory on */
  ORVA_READ_SENSOR_INFO_END = 24,   /**< normal scan: information memory off, then reset;
                                       SNR1: reset; SNR2: information memory off */
  ORVA_TEST_FINISH_ALT = 35,        /**< as ORVA_TEST_FINISH */
  ORVA_TEST_STOP = 37,              /**< end without saving */
  ORVA_POWER_OFF_ON = 41            /**< normal scan: power off, then on */
};

enum {
  SENSOR_TEST_TEXT_SIZE = 2048,  /**< bytes of sensor_test_reply::result_text */
  SENSOR_TEST_DATA_SIZE = 512000 /**< bytes of sensor_test_reply::data */
};

/** What goes to the secure side with every request; 12 bytes. */
typedef struct sensor_test_request {
  int32_t script_id;           /**< as given to orvaFpSensorTest */
  int32_t interrupt_triggered; /**< outcome of the latest interrupt wait: 1 the interrupt came,
                                  0 it did not. Choice of ours: 0 until the first wait */
  int32_t script_variant;      /**< 1 for scripts 1003 to 1005, else 0 */
} sensor_test_request;

/** What the secure side answers; 514056 bytes. It is not cleared between requests. */
typedef struct sensor_test_reply {
  char result_text[SENSOR_TEST_TEXT_SIZE]; /**< NUL-terminated body of the result log */
  uint32_t result;                         /**< action or end code */
  int32_t data_len;                        /**< valid bytes in data; 0 or less: none */
  uint8_t data[SENSOR_TEST_DATA_SIZE];     /**< contents of the data file */
} sensor_test_reply;

/** Carries one request to the secure side and brings back the reply. Called on the thread of
 * orvaFpSensorTest; request, reply and reply_size live as long as that call, and the callback must
 * not keep them.
 *
 * context is pRequestContext; command is ORVA_CMD_SENSOR_TEST; request_size is 12. *reply_size is
 * 514056 before the first request and then what the callback left in it.
 *
 * Returns 0 when the reply is filled in; any other value ends the run with FP_ERR_REQUEST_FAILED.
 * A callback that returns 0 must have written result and, with an end code, result_text, data_len
 * and the first data_len bytes of data. It must return: neither an exception nor a longjmp may
 * leave it. */
typedef int32_t (*sensor_test_request_fn)(void *context, uint32_t command,
                                          const sensor_test_request *request, uint32_t request_size,
                                          sensor_test_reply *reply, uint32_t *reply_size);

/** Runs one script to its end and returns its status.
 *
 * script_id: ORVA_SCRIPT_*; with any other value the run only deletes the data file and opens
 *   and clocks the driver, and nothing is requested.
 * options: printed in a log line, without further effect. unused_3, unused_4, unused_7, unused_8:
 *   ignored.
 * pfnCustomRequest, pRequestContext: the callback and its first argument. Choice of ours: a null
 *   callback counts as a failed request.
 * pDataLogPath: folder of the result files, without a slash at the end; at most 230 characters.
 *
 * In order: deletes the previous run's files, logs its version, opens the driver into
 * g_fp_device_handle and sets the bus clock when g_fp_device_handle is 0, then asks the secure
 * side for actions and carries them out until an end code comes. A sensor operation that fails is
 * logged and the run goes on; only the outcome of an interrupt wait is reported back. There is no
 * limit on the number of requests.
 *
 * Returns FP_OK when an end code came (or for an unknown script); FP_ERR_NULL_LOG_PATH for a null
 * pDataLogPath; FP_ERR_REQUEST_FAILED when the callback failed; FP_ERR_NO_DEVICE or
 * FP_ERR_DRIVER_IO when the driver could not be opened, powered or clocked (a descriptor that was
 * opened stays in g_fp_device_handle, and the next run uses it as it is); otherwise the status of
 * an interrupt wait that failed.
 *
 * Files: the normal scan saves orva_sensor_test_NS.log, SNR2 saves orva_sensor_test_SNR.log, both
 * fp_data.bin when data_len is above 0. The log is "Date: " and the UTC date line, then
 * result_text. A failed save is logged and changes nothing else. Every known script deletes its
 * family's log (SNR1 that of SNR2) and the data file at its start.
 *
 * Choices of ours, the first three with an error line in the log:
 * - A file whose path does not fit 255 characters is left alone: it is neither deleted nor
 *   created, and its save fails with ENAMETOOLONG. The run goes on.
 * - data_len above 512000 saves the 512000 bytes that exist.
 * - result_text is read for its 2048 bytes at most. What does not fit the log's 1023 characters
 *   (992 beside a date) is cut off, never within a UTF-8 character.
 * - Until the first reply is written, result is ORVA_TEST_STOP, data_len 0 and result_text empty:
 *   a callback that returns 0 without writing anything ends the run with nothing saved.
 *
 * Memory and threads: no heap memory; about 504 KiB of the caller's stack (1 MiB is enough for the
 * thread, the callback's own needs aside). Runs wholly on the calling thread; one run at a time
 * in a process, and no device operation beside it. */
ORVA_FP_API int32_t orvaFpSensorTest(int32_t script_id, int32_t options, uintptr_t unused_3,
                                     uintptr_t unused_4, sensor_test_request_fn pfnCustomRequest,
                                     void *pRequestContext, uintptr_t unused_7, uintptr_t unused_8,
                                     const char *pDataLogPath);

/** Nonzero asks an interrupt wait without a time limit to stop; 0 at load. Another thread may store
 * it at any time with a single 32-bit store (__atomic_store_n in C and C++; the wait loads it
 * atomically after every slice of 10 ms). The library never writes it: clear it before the next
 * wait. */
extern ORVA_FP_API int32_t g_sensor_test_abort;

/** Arms the sensor's interrupt on g_fp_device_handle, waits for it, and disarms it again.
 *
 * timeout_ms: time limit in milliseconds, or 0xFFFFFFFF for none. Choice of ours: a limit from
 * 0x80000000 to 0xFFFFFFFE is taken as 0x7FFFFFFF, the longest that the system can wait (24 days).
 * Without a limit the wait goes on in slices of 10 ms; after each that ended without the
 * interrupt, a driver failure included, g_sensor_test_abort is read. With a limit the flag is not
 * looked at.
 *
 * Returns FP_OK when the interrupt came; FP_ERR_INT_NOT_TRIGGERED when the limit passed, the
 * driver failed while waiting, or the flag ended the wait; the status of arming when that failed
 * (nothing else is done then); the status of disarming when that failed, whatever came before. */
ORVA_FP_API int32_t wait_interrupt_in_sensor_test(uint32_t timeout_ms);

/** Composes src1, "/" and src2 into dest and returns 1.
 *
 * Returns 0 for a null dest and, a choice of ours, with dest unchanged when the text and its NUL
 * do not fit dest_len bytes, when dest_len is 0 or less, or when a source is null. The contents of
 * dest on entry are logged up to the first NUL or dest_len bytes. dest may be the same buffer as
 * src1; it must not overlap src2. */
ORVA_FP_API int32_t confirm_save_path(char *dest, int32_t dest_len, const char *src1,
                                      const char *src2);

#ifdef __cplusplus
}
#endif

#endif
