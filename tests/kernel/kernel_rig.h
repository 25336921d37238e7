// A driver of the node in a process of its own: what it does to the sensor, what it received, and
// its end.
#pragma once

#include <vector>

#include "simulator/sensor_model.h"

namespace support {

// Puts a fresh sensor behind the node; starts a driver where none runs.
void attach_sensor(const simulator::sensor_config &config);

// The commands that arrived at the driver since the sensor was attached.
std::vector<simulator::command> received_commands();

// Shows these poll events at the node until an arming or disarming changes them.
void show_events(int events);

// The driver's process ends without a word, and the node with it.
void kill_driver();

}  // namespace support
