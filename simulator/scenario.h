// A scenario file: how the simulated sensor behaves and what the secure side asks for, step by
// step. docs/scenarios.md describes the format.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/secure_side.h"
#include "simulator/sensor_model.h"

namespace simulator {

struct scenario {
  std::string name;  // the file's, without its extension
  std::string description;
  std::vector<int32_t> scripts;  // that it is meant for
  int32_t status = FP_OK;        // that a run on the simulated sensor ends with
  sensor_config sensor;
  std::vector<exchange_step> steps;

  bool is_meant_for(int32_t script_id) const;
};

// Why a file is no scenario, in one line: "FILE: PLACE: what is wrong". The place is a JSON pointer
// or, in a text that is not even JSON, the line and column.
class scenario_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads a scenario, or a recording when the file's name ends in .jsonl; throws scenario_error.
// Whatever the format does not know is an error.
scenario load_scenario(const std::filesystem::path &file);

}  // namespace simulator
