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

// Compares the run with the events of a recording, when there are any. Tells how long it took.
exit_status run_sensor_test(const sensor_test_job &job, const simulator::scenario &scenario,
                            const std::vector<simulator::recorded> &against, double &milliseconds);

}  // namespace tools

#endif
