/** @file
 * Memory, sleep and clock calls under names of the library's own.
 */
#ifndef ORVA_FP_MEMORY_TIME_H
#define ORVA_FP_MEMORY_TIME_H

#include <stdint.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup memory_time Memory and time
 * libc's memory, sleep and clock calls under names of the library's own.
 *
 * All may be used from any thread. A pointer may be null where nothing is to be touched: with a
 * count of 0.
 * @{ */

/** Size of the library's own heap, of which it has none.
 *
 * @return always 0 */
ORVA_FP_API uint64_t sys_get_heap_size(void);

/** Copies bytes.
 *
 * @param[out] dst    where to
 * @param[in]  src    where from; must not overlap dst
 * @param      count  number of bytes
 * @return dst */
ORVA_FP_API void *sys_memcpy(void *dst, const void *src, uint32_t count);

/** Fills memory with one byte.
 *
 * @param[out] dst    the memory
 * @param      value  its low 8 bits are the byte
 * @param      count  number of bytes
 * @return dst */
ORVA_FP_API void *sys_memset(void *dst, int32_t value, uint32_t count);

/** Fills memory with 0.
 *
 * @param[out] dst    the memory
 * @param      count  number of bytes
 * @return dst */
ORVA_FP_API void *sys_memclear(void *dst, uint32_t count);

/** Copies bytes between places that may overlap.
 *
 * @param[out] dst    where to
 * @param[in]  src    where from
 * @param      count  number of bytes
 * @return dst */
ORVA_FP_API void *sys_memmove(void *dst, const void *src, uint32_t count);

/** Fills memory with 0x7F.
 *
 * @param[out] dst    the memory
 * @param      count  number of bytes
 * @return dst */
ORVA_FP_API void *INIT_FULL_MEMORY(void *dst, uint32_t count);

/** Allocates memory with malloc and fills it with 0x7F.
 *
 * @param pool  without effect
 * @param size  number of bytes
 * @return the block, which the caller releases with sys_free() or free; null when there is no
 *         memory */
ORVA_FP_API void *sys_alloc(int32_t pool, uint32_t size);

/** Releases memory.
 *
 * @param block  from sys_alloc(), sys_realloc_no_keep() or a file read call; null does nothing */
ORVA_FP_API void sys_free(void *block);

/** Releases a block and allocates another as sys_alloc() does. The contents are not carried over.
 *
 * @param block  the old block, or null; it is released even when there is no memory for the new one
 * @param size   number of bytes of the new one
 * @return the new block, or null when there is no memory */
ORVA_FP_API void *sys_realloc_no_keep(void *block, uint32_t size);

/** Suspends the calling thread.
 *
 * @param ms  shortest pause in milliseconds, at most 4294967 (about 71 minutes). The microseconds
 *            of a longer one do not fit 32 bits: only their low 32 bits count
 * @return the result of usleep: 0, or -1 with errno when a signal cut the pause short */
ORVA_FP_API int32_t sys_delay(uint32_t ms);

/** Time of CLOCK_MONOTONIC. Only differences mean anything.
 *
 * @return milliseconds, truncated */
ORVA_FP_API uint64_t sys_get_time(void);

/** The same as sys_get_time().
 *
 * @return milliseconds, truncated */
ORVA_FP_API uint64_t plat_get_time(void);

/** The same as sys_delay().
 *
 * @param ms  as there
 * @return as there */
ORVA_FP_API int32_t plat_sleep_time(uint32_t ms);

/** Hands its argument back.
 *
 * @param time_ms  any number
 * @return time_ms */
ORVA_FP_API uint64_t get_temp_time(uint64_t time_ms);

/** Hands its argument back.
 *
 * @param time_ms  any number
 * @return time_ms */
ORVA_FP_API uint64_t get_time_result(uint64_t time_ms);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
