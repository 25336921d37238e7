/** @file
 * Logging calls: one line to the Android system log each.
 *
 * Both keep no state and may be called from any thread. file (base name of the source file),
 * function and line name the place of the call for the caller's convenience; they are not printed,
 * and file and function may be null. A null format writes nothing. A message is cut to its first
 * 1023 characters.
 */
#ifndef ORVA_FP_LOG_H
#define ORVA_FP_LOG_H

#include <stdint.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Writes the formatted message, followed by a blank and a line feed, under tag at the priority
 * level. Only levels 4 (info) and 6 (error) are written; any other level does nothing, and its
 * message is not even formatted. */
ORVA_FP_API void output_log(uint32_t level, const char *tag, const char *file, const char *function,
                            int32_t line, const char *format, ...)
    __attribute__((format(printf, 6, 7)));

/** Writes the formatted message as it is, under the tag "(FPLOG)" at priority 6 (error). The device
 * operations log through it. */
ORVA_FP_API void output_nw_orva_log(const char *file, const char *function, int32_t line,
                                    const char *format, ...) __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
