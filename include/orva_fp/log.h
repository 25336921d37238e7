/** @file
 * Logging calls: one line to the Android system log each.
 */
#ifndef ORVA_FP_LOG_H
#define ORVA_FP_LOG_H

#include <stdint.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup logging Logging
 * One line to the Android system log.
 *
 * Both calls keep no state and may be used from any thread. They cut a message to its first 1023
 * bytes. The place of the call (file, function and line) is not printed.
 * @{ */

/** Writes a message, followed by a blank and a line feed.
 *
 * @param     level     Android priority: 4 (info) and 6 (error) are written; with any other the
 *                      message is not even formatted
 * @param[in] tag       tag of the line; the library's own is "(FPLOG)"
 * @param[in] file      base name of the source file; may be null
 * @param[in] function  name of the calling function; may be null
 * @param     line      source line
 * @param[in] format    as for printf, with its arguments after it; null writes nothing */
ORVA_FP_API void output_log(uint32_t level, const char *tag, const char *file, const char *function,
                            int32_t line, const char *format, ...)
    __attribute__((format(printf, 6, 7)));

/** Writes a message as it is, under the tag "(FPLOG)" at priority 6 (error). The device operations
 * log through it.
 *
 * @param[in] file      base name of the source file; may be null
 * @param[in] function  name of the calling function; may be null
 * @param     line      source line
 * @param[in] format    as for printf, with its arguments after it; null writes nothing */
ORVA_FP_API void output_nw_orva_log(const char *file, const char *function, int32_t line,
                                    const char *format, ...) __attribute__((format(printf, 4, 5)));

/** @} */

#ifdef __cplusplus
}
#endif

#endif
