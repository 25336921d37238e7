// The request loop and the three script families that configure it.
#pragma once

#include "sensor_test_kd740/result_files.h"

namespace orva {

struct script_family;

// What orvaFpSensorTest knows of a script.
struct script {
  int32_t id;
  int32_t variant;
  const script_family *family;
  const char *log;          // deleted at set-up
  int32_t remove_log_line;  // line of the log entry that tells
};

// Null when the id is unknown.
const script *find_script(int32_t id);

// Exchanges requests and replies and carries the actions out until the run ends; returns its
// status.
int32_t run_request_loop(const script &entry, sensor_test_request_fn request_fn, void *context,
                         const char *folder, const result_path &data_path);

}  // namespace orva
