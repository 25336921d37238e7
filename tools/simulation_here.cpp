// orva-fp-simulated: the sensor is in this program.
#include "simulator/libc_front.h"
#include "tools/simulation.h"

namespace tools {

const simulator::sensor_model &simulate(const simulator::sensor_config &sensor) {
  simulator::attach(sensor);
  return simulator::sensor();
}

}  // namespace tools
