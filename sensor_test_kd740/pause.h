// Pauses that a signal does not shorten.
#ifndef ORVA_SENSOR_TEST_PAUSE_H
#define ORVA_SENSOR_TEST_PAUSE_H

#include <cstdint>

namespace orva {

// Microseconds of the monotonic clock.
uint64_t monotonic_us();

// Sleeps for less than a second.
void pause_us(uint32_t us);

}  // namespace orva

#endif
