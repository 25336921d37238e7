/** @file
 * Whole-file read and write calls over the standard streams.
 */
#ifndef ORVA_FP_FILE_H
#define ORVA_FP_FILE_H

#include <stdint.h>
#include <stdio.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup files Files
 * Whole files read into a new buffer or written from one.
 *
 * Results: 0 for success, else
 * - -1: the stream is null, or the file could not be opened. errno tells why; a null path gives
 *   EFAULT
 * - -2: there is no buffer for the contents
 * - -3: fewer bytes were read than the file holds (file_read() only)
 *
 * A buffer holds exactly the bytes of the file, without a terminating zero. It comes from malloc,
 * and the caller releases it with free or sys_free(). The calls may be used from any thread.
 *
 * @warning A write that fails or is cut short is not noticed: the result is 0 all the same.
 * @note Implementation-defined: a file whose size cannot be told, such as a pipe, gives -2, a size
 *       of -1 and a null buffer. The places for the size and the count may be null. With a null
 *       place for the buffer nothing is read, and the result is -2.
 * @{ */

/** Reads a whole file from an open stream, and closes the stream whatever the result.
 *
 * @param      stream      an open stream; null gives -1, and nothing is written
 * @param[out] buffer_out  receives the new buffer, or null when the result is -2
 * @param[out] size_out    receives the size of the file in bytes
 * @param[out] read_out    receives the number of bytes read; not written when the result is -2
 * @return 0, -1 or -2 */
ORVA_FP_API int32_t ffread(FILE *stream, uint8_t **buffer_out, int64_t *size_out,
                           uint64_t *read_out);

/** Reads the file at path, opened with mode "rb".
 *
 * @param[in]  path        path of the file
 * @param[out] buffer_out  receives the new buffer. When the result is -3 there is one as well, and
 *                         it must be released
 * @param[out] size_out    receives the size of the file in bytes
 * @return 0, -1, -2 or -3; -2 after a failed allocation */
ORVA_FP_API int32_t file_read(const char *path, uint8_t **buffer_out, int64_t *size_out);

/** Reads the file at path, opened with mode "r". How many bytes arrived is not looked at.
 *
 * @param[in]  path        path of the file
 * @param[out] buffer_out  receives the new buffer
 * @param[out] size_out    receives the size of the file in bytes
 * @return 0, -1 or -2 */
ORVA_FP_API int32_t text_read(const char *path, uint8_t **buffer_out, int64_t *size_out);

/** Writes bytes to an open stream, and closes the stream.
 *
 * @param     stream  an open stream; null gives -1
 * @param[in] data    the bytes; null writes none
 * @param     size    their number
 * @return 0 or -1 */
ORVA_FP_API int32_t ffwrite(FILE *stream, const void *data, uint64_t size);

/** Writes the file at path, opened with mode "w": it is created, or emptied first.
 *
 * @param[in] path  path of the file
 * @param[in] data  the bytes; with null the file is left empty
 * @param     size  their number
 * @return 0 or -1 */
ORVA_FP_API int32_t text_write(const char *path, const void *data, uint64_t size);

/** Writes at the end of the file at path, opened with mode "a+": it is created when it is missing.
 *
 * @param[in] path  path of the file
 * @param[in] data  the bytes; null adds none
 * @param     size  their number
 * @return 0 or -1 */
ORVA_FP_API int32_t text_append(const char *path, const void *data, uint64_t size);

/** Writes the file at path, opened with mode "wb": it is created, or emptied first.
 *
 * @param[in] path  path of the file
 * @param[in] data  the bytes; with null the file is left empty
 * @param     size  their number
 * @return 0 or -1 */
ORVA_FP_API int32_t file_write(const char *path, const void *data, uint64_t size);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
