// The simulated sensor. Its stand-ins for stat, open and ioctl are in a program of its own,
// orva-fp-simulated, so that orva-fp itself never has any between it and a real sensor.
#pragma once

#include "simulator/sensor_model.h"

namespace tools {

// Puts a fresh sensor behind the node and returns it. orva-fp instead goes on as orva-fp-simulated,
// which lies beside it, with the same arguments; so call it before anything is printed or changed.
const simulator::sensor_model &simulate(const simulator::sensor_config &sensor);

}  // namespace tools
