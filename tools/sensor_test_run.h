// One sensor test: the library's run, played against a scenario, watched and judged.
#ifndef ORVA_TOOLS_SENSOR_TEST_RUN_H
#define ORVA_TOOLS_SENSOR_TEST_RUN_H

#include <string>

#include "simulator/scenario.h"
#include "tools/exit_status.h"
#include "tools/trace.h"

namespace tools {

struct sensor_test_job {
  int32_t script = 0;
  std::string folder;  // of the result files
  bool simulated = false;
  trace_options shown;
  std::string recording;  // to write, none when empty
  std::string expected;   // line of the result log, any when empty
};

struct sensor_test_outcome {
  exit_status status = kPass;
  double milliseconds = 0;
};

// Compares the run with these events, when there are any.
sensor_test_outcome run_sensor_test(const sensor_test_job &job, const simulator::scenario &scenario,
                                    const std::vector<simulator::recorded> &against);

}  // namespace tools

#endif
