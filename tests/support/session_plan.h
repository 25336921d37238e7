// Sessions of sensor-test runs, drawn at random or from a fuzzer's input: what the secure side, the
// sensor and the system answer to the library.
#ifndef ORVA_TESTS_SESSION_PLAN_H
#define ORVA_TESTS_SESSION_PLAN_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulator/sensor_model.h"

namespace support {

inline constexpr char kNormalScanLog[] = "orva_sensor_test_NS.log";
inline constexpr char kSnrLog[] = "orva_sensor_test_SNR.log";
inline constexpr char kDataFile[] = "fp_data.bin";

// The time of every run, and what it makes of a log's first line.
inline constexpr int64_t kRunTime = 1000000000;
inline constexpr char kRunDate[] = "Date: Sun Sep  9 01:46:40 2001\n";

// What the secure side does with one request.
struct reply_plan {
  int32_t failure = 0;   // nonzero: the callback returns it and writes nothing
  bool silent = false;   // the callback returns 0 and writes nothing
  uint32_t result = 37;  // all below is written when neither holds
  std::string text;      // with a NUL where there is room for it
  int32_t data_len = 0;
  uint8_t data_start = 0;  // first byte of the data, which count up from it
  std::optional<uint32_t> reply_size;
};

// How one poll ends. An interrupt comes if its delay is within the limit.
struct wait_plan {
  enum class kind : uint8_t { kInterrupt, kErrorEvent, kPollFails };
  kind what = kind::kInterrupt;
  int32_t delay_ms = INT32_MAX;
};

// One call of orvaFpSensorTest.
struct run_plan {
  int32_t script_id = 1000;
  bool null_folder = false;
  bool null_callback = false;
  size_t folder_length = 0;         // the folder's path is stretched to this length
  std::vector<reply_plan> replies;  // one request more fails
  std::vector<wait_plan> waits;     // waits beyond them end without an interrupt
  std::string not_openable;         // file of the folder that cannot be opened, empty for none
  bool no_date = false;
};

// Runs on one sensor, the first of which opens the driver.
struct session_plan {
  simulator::sensor_config sensor;
  std::vector<run_plan> runs;
};

// What a run showed of itself: requests, driver commands, waits, pauses, removals and opened files
// in their order, and the folder's files afterwards.
struct run_outcome {
  int32_t status = 0;
  std::vector<std::string> journal;
  std::map<std::string, std::string> files;
  bool operator==(const run_outcome &) const = default;
};

// A number below the bound, which is not 0.
using chooser = std::function<uint32_t(uint32_t bound)>;

session_plan make_session(const chooser &below);

// The folder's path stretched to a length by parts that lead nowhere.
std::string stretched(const std::string &folder, size_t length);

// The bytes that a reply's data field begins with.
std::string counting_bytes(uint8_t start, size_t count);

}  // namespace support

#endif
