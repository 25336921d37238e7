// What the device and sensor-test tests ask of the sensor behind "/dev/ovfp0", whether it is
// simulated within the program or served to it by a driver.
#ifndef ORVA_TESTS_RIG_H
#define ORVA_TESTS_RIG_H

#include <functional>
#include <string>
#include <vector>

#include "simulator/sensor_model.h"

namespace support {

// A sensor that refuses the n-th command with a code.
inline simulator::sensor_config refuses(uint8_t opcode, uint32_t nth = 1) {
  return {.faults = {{opcode, nth}}};
}

// A sensor that does this after the first arming.
inline simulator::sensor_config raises(simulator::interrupt_plan plan) {
  return {.interrupts = {plan}};
}

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
