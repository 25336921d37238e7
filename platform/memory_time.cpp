// Memory, sleep and clock calls that forward to libc.
#include "orva_fp/memory_time.h"

#include <cstdlib>
#include <cstring>
#include <time.h>
#include <unistd.h>

namespace {

constexpr int32_t kFreshMemoryByte = 0x7F;
constexpr int32_t kDefaultPool = 1;

}  // namespace

uint64_t sys_get_heap_size(void) { return 0; }

// Callers may pass a null pointer with a count of 0, which libc's calls do not allow.

void *sys_memcpy(void *dst, const void *src, uint32_t count) {
  return count == 0 ? dst : memcpy(dst, src, count);
}

void *sys_memset(void *dst, int32_t value, uint32_t count) {
  return count == 0 ? dst : memset(dst, value & 0xFF, count);
}

void *sys_memclear(void *dst, uint32_t count) { return sys_memset(dst, 0, count); }

void *sys_memmove(void *dst, const void *src, uint32_t count) {
  return count == 0 ? dst : memmove(dst, src, count);
}

void *INIT_FULL_MEMORY(void *dst, uint32_t count) {
  return sys_memset(dst, kFreshMemoryByte, count);
}

void *sys_alloc(int32_t, uint32_t size) {
  void *block = malloc(size);
  if (block != nullptr) INIT_FULL_MEMORY(block, size);
  return block;
}

void sys_free(void *block) {
  if (block != nullptr) free(block);
}

void *sys_realloc_no_keep(void *block, uint32_t size) {
  sys_free(block);
  return sys_alloc(kDefaultPool, size);
}

int32_t sys_delay(uint32_t ms) { return usleep(ms * 1000u); }

uint64_t sys_get_time(void) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
}

uint64_t plat_get_time(void) { return sys_get_time(); }

int32_t plat_sleep_time(uint32_t ms) { return sys_delay(ms); }

uint64_t get_temp_time(uint64_t time_ms) { return time_ms; }

uint64_t get_time_result(uint64_t time_ms) { return time_ms; }
