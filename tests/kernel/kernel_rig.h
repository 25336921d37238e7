// What a driver in another process adds to the rig: the node can show any poll events, and the
// driver can stop answering and die.
#ifndef ORVA_TESTS_KERNEL_RIG_H
#define ORVA_TESTS_KERNEL_RIG_H

#include "support/rig.h"

namespace support {

// Shows these poll events at the node until an arming or disarming changes them.
void show_events(uint32_t events);

// The driver answers no more; a call on the node then blocks.
void freeze_driver();

// The driver's process ends without a word, and the node with it. attach_sensor starts another.
void kill_driver();

}  // namespace support

#endif
