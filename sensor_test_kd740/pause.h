// Pauses that a signal does not shorten.
#pragma once

#include <cstdint>

namespace orva {

// Microseconds of the monotonic clock.
uint64_t monotonic_us();

// Sleeps for less than a second.
void pause_us(uint32_t us);

}  // namespace orva
