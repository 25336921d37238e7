// A small model of the sensor test: predicts what a run does, from what is written about it and
// with none of the library's code.
#ifndef ORVA_TESTS_RUN_MODEL_H
#define ORVA_TESTS_RUN_MODEL_H

#include <array>

#include "support/session_plan.h"

namespace support {

class run_model {
 public:
  explicit run_model(std::string folder) : folder_(std::move(folder)) {}

  // A fresh sensor with the driver closed. The command record stays as it is.
  void attach(const simulator::sensor_config &sensor);

  // Predicts the next run on it.
  run_outcome predict(const run_plan &run);

 private:
  struct reply_state;

  int32_t play(const run_plan &run);
  int32_t exchange(const run_plan &run, int32_t family, const std::string &folder);
  int32_t open_driver();
  bool command(uint8_t opcode, uint32_t len);
  void info_memory(bool on);
  void reset();
  int32_t wait(const run_plan &run, int32_t limit_ms, int32_t *triggered);
  void save(const run_plan &run, const reply_state &reply, const char *log,
            const std::string &folder);
  void remove(const std::string &folder, const char *name);
  void write(const run_plan &run, const std::string &folder, const char *name,
             std::string contents);

  std::string folder_;
  std::vector<std::string> journal_;
  std::map<std::string, std::string> files_;
  simulator::sensor_config sensor_;
  std::map<uint8_t, uint32_t> sent_;  // per opcode
  bool open_ = false;
  uint32_t clock_hz_ = 12500000;
  std::array<int, 3> params_{};
  size_t waits_ = 0;  // of the run in progress
};

}  // namespace support

#endif
