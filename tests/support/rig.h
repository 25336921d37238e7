// What the device and sensor-test tests ask of the sensor behind "/dev/ovfp0", whether it is
// simulated within the program or served to it by a driver.
#ifndef ORVA_TESTS_RIG_H
#define ORVA_TESTS_RIG_H

#include <functional>
#include <string>
#include <vector>

#include "simulator/sensor_model.h"

namespace support {

// Puts a fresh sensor behind the node.
void attach_sensor(const simulator::sensor_config &config);

// What the sensor has received and become since it was attached.
std::vector<simulator::command> sensor_commands();
simulator::sensor_state sensor_state();
std::vector<std::string> sensor_problems();

// Called from the library's thread with every command as it goes out; the error of the answer is
// filled in. Null for none.
void observe_commands(std::function<void(const simulator::command &)> observer);

}  // namespace support

#endif
