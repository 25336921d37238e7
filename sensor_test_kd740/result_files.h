// The files that a run leaves in the caller's result folder.
#pragma once

#include <orva_fp/sensor_test.h>

#include "sensor_test_kd740/test_log.h"

namespace orva {

// Composed path of a result file. A path that does not fit is empty and is never used.
struct result_path {
  char text[256];
  bool fits() const { return text[0] != '\0'; }
};
static_assert(sizeof(result_path::text) == SENSOR_TEST_FOLDER_LENGTH + sizeof "/" ORVA_FP_SNR_LOG);

void compose_path(result_path &path, const char *folder, const char *file);

// Deletes the file that an earlier run left at path and logs it at the given line.
void remove_old(const result_path &path, const char *folder, const char *file, int32_t line);

// What a script family saves at its end, and the lines that it logs.
struct save_profile {
  const char *log;        // null: the family saves nothing
  test_line data_failed;  // errno
  test_line data_saved;   // path
  test_line log_saved;    // folder and file
  test_line log_failed;   // errno
};

// Saves the data block and the result text of the last reply. Failures are logged only.
void save_results(const save_profile &profile, const sensor_test_reply &reply, const char *folder,
                  const result_path &data_path);

}  // namespace orva
