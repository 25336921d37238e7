/** @file
 * Memory, sleep and clock calls under names of the library's own.
 *
 * Counts are bytes. A count of 0 touches nothing, and the pointers may then be null. All calls may
 * be used from any thread.
 */
#ifndef ORVA_FP_MEMORY_TIME_H
#define ORVA_FP_MEMORY_TIME_H

#include <stdint.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Always 0: the library has no heap of its own. */
ORVA_FP_API uint64_t sys_get_heap_size(void);

/** Copies count bytes; the blocks must not overlap. Returns dst. */
ORVA_FP_API void *sys_memcpy(void *dst, const void *src, uint32_t count);

/** Fills count bytes with the low 8 bits of value. Returns dst. */
ORVA_FP_API void *sys_memset(void *dst, int32_t value, uint32_t count);

/** Fills count bytes with 0. Returns dst. */
ORVA_FP_API void *sys_memclear(void *dst, uint32_t count);

/** Copies count bytes; the blocks may overlap. Returns dst. */
ORVA_FP_API void *sys_memmove(void *dst, const void *src, uint32_t count);

/** Fills count bytes with 0x7F, the value of fresh memory. Returns dst. */
ORVA_FP_API void *INIT_FULL_MEMORY(void *dst, uint32_t count);

/** Allocates size bytes with malloc and fills them with 0x7F; null when there is no memory. pool
 * has no effect. The block is the caller's, who releases it with sys_free or free. */
ORVA_FP_API void *sys_alloc(int32_t pool, uint32_t size);

/** Releases a block of sys_alloc, sys_realloc_no_keep or a file read call; nothing for null. */
ORVA_FP_API void sys_free(void *block);

/** Releases block (which may be null), also when the allocation then fails, and returns a fresh one
 * as sys_alloc does. The old contents are not carried over. */
ORVA_FP_API void *sys_realloc_no_keep(void *block, uint32_t size);

/** Suspends the calling thread for at least ms milliseconds. Returns the result of usleep: 0 on
 * success, -1 with errno when a signal cut the sleep short. ms is at most 4294967 (about 71
 * minutes): the count of microseconds is an unsigned 32-bit number and wraps beyond. */
ORVA_FP_API int32_t sys_delay(uint32_t ms);

/** Milliseconds of CLOCK_MONOTONIC, truncated. Only differences mean anything. */
ORVA_FP_API uint64_t sys_get_time(void);

/** The same as sys_get_time. */
ORVA_FP_API uint64_t plat_get_time(void);
/** The same as sys_delay. */
ORVA_FP_API int32_t plat_sleep_time(uint32_t ms);

/** Returns its argument unchanged. */
ORVA_FP_API uint64_t get_temp_time(uint64_t time_ms);
/** Returns its argument unchanged. */
ORVA_FP_API uint64_t get_time_result(uint64_t time_ms);

#ifdef __cplusplus
}
#endif

#endif
