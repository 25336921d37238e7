// Log lines of the sensor test.
#pragma once

#include <orva_fp/log.h>

#include "platform/log_line.h"

namespace orva {

// Every sensor-test line names the same file, whichever source it comes from.
inline constexpr char kSensorTestFile[] = "orva_fp_normal_sensor_test";
inline constexpr char kSensorTestFunction[] = "orvaFpSensorTest";

// A line of the sensor test as a table holds it; text is null where there is none.
struct test_line {
  int32_t line;
  const char *text;
};

template <typename... Args>
void log_test_line(uint32_t level, test_line entry, Args... args) {
  output_log(level, kLogTag, kSensorTestFile, kSensorTestFunction, entry.line, entry.text, args...);
}

}  // namespace orva
