/** @file
 * Whole-file read and write calls over the standard streams.
 *
 * Results: 0 success; -1 null stream, or the file could not be opened (errno tells why; a null
 * path cannot be opened and gives EFAULT); -2 no buffer for the contents; -3 short read
 * (file_read only). Failed or short writes are not detected. The calls may be used from any
 * thread, on different files.
 *
 * A buffer handed out by a read call holds exactly the file's bytes, without a terminating zero.
 * It is allocated with malloc and is the caller's to release with free or sys_free.
 *
 * Choices of ours: a file whose size cannot be told (a pipe) gives -2, with the size -1 and a null
 * buffer. size_out and read_out may be null when the caller has no use for the value; with a null
 * buffer_out no buffer is kept and the result is -2.
 */
#ifndef ORVA_FP_FILE_H
#define ORVA_FP_FILE_H

#include <stdint.h>
#include <stdio.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Reads the whole file behind stream into a new buffer: *buffer_out receives its address (null on
 * -2), *size_out the file's size in bytes, *read_out the number of bytes read (not written on -2).
 * The stream is closed in every case in which it is not null. With a null stream nothing is
 * written. Returns 0, -1 or -2. */
ORVA_FP_API int32_t ffread(FILE *stream, uint8_t **buffer_out, int64_t *size_out,
                           uint64_t *read_out);

/** Reads the file at path (mode "rb"). On -3, fewer bytes read than the file's size, the buffer is
 * still handed out and must be released. After a failed allocation the result is -2. */
ORVA_FP_API int32_t file_read(const char *path, uint8_t **buffer_out, int64_t *size_out);

/** Reads the file at path (mode "r") without looking at how many bytes arrived: 0, -1 or -2. */
ORVA_FP_API int32_t text_read(const char *path, uint8_t **buffer_out, int64_t *size_out);

/** Writes size bytes to stream and closes it; null data writes nothing. Returns 0, or -1 for a null
 * stream. */
ORVA_FP_API int32_t ffwrite(FILE *stream, const void *data, uint64_t size);

/** Open the file at path with mode "w", "a+" and "wb" and hand it to ffwrite. With null data the
 * file is still created and, but for text_append, emptied. Return 0, or -1 when the file cannot be
 * opened. */
ORVA_FP_API int32_t text_write(const char *path, const void *data, uint64_t size);
/** @copydoc text_write */
ORVA_FP_API int32_t text_append(const char *path, const void *data, uint64_t size);
/** @copydoc text_write */
ORVA_FP_API int32_t file_write(const char *path, const void *data, uint64_t size);

#ifdef __cplusplus
}
#endif

#endif
