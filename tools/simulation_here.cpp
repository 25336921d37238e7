// orva-fp-simulated: the sensor is in this program.
#include "simulator/libc_front.h"
#include "tools/simulation.h"

namespace tools {

void simulate(const simulator::sensor_config &sensor) { simulator::attach(sensor); }

std::vector<std::string> simulation_problems() {
  std::vector<std::string> problems = simulator::sensor().problems();
  const std::vector<std::string> unmet = simulator::sensor().unmet_faults();
  problems.insert(problems.end(), unmet.begin(), unmet.end());
  return problems;
}

}  // namespace tools
