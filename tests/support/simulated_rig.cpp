// The rig on the sensor that is simulated within the program.
#include "simulator/libc_front.h"
#include "support/rig.h"

namespace support {

void attach_sensor(const simulator::sensor_config &config) { simulator::attach(config); }

std::vector<simulator::command> sensor_commands() { return simulator::sensor().commands(); }

simulator::sensor_state sensor_state() { return simulator::sensor().state(); }

std::vector<std::string> sensor_problems() { return simulator::sensor().problems(); }

void observe_commands(std::function<void(const simulator::command &)> observer) {
  simulator::observe(std::move(observer));
}

}  // namespace support
