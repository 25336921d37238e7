#include "sensor_test_kd740/pause.h"

#include <cerrno>
#include <time.h>
#include <unistd.h>

namespace orva {

uint64_t monotonic_us() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000u + static_cast<uint64_t>(now.tv_nsec) / 1000u;
}

void pause_us(uint32_t us) {
  const uint64_t end = monotonic_us() + us;
  while (usleep(us) != 0 && errno == EINTR) {
    const uint64_t now = monotonic_us();
    if (now >= end) return;
    us = static_cast<uint32_t>(end - now);
  }
}

}  // namespace orva
