// The simulated driver node inside a program: stand-ins for stat, open and ioctl that serve
// "/dev/ovfp0" from a sensor model and hand everything else to the system. A program gets them by
// linking this front. The descriptor is a genuine timer, so poll and close are the system's own.
#pragma once

#include "simulator/observation.h"
#include "simulator/sensor_model.h"

namespace simulator {

// Puts a fresh sensor behind the node. Until the first call there is none, and every call goes to
// the system: the program then works on the real node.
void attach(sensor_config config);

// Takes the sensor away again.
void detach();

// The attached sensor.
const sensor_model &sensor();

// How often the node was looked for and opened since attach, and the flags of the latest open.
struct node_use {
  int stats = 0;
  int opens = 0;
  int flags = 0;
};
node_use usage();

// poll, with the failures that the attached sensor plans and a report.
int poll_node(pollfd *entries, nfds_t count, int limit_ms);

}  // namespace simulator
