// A recording: what happened in one sensor test, event by event, one JSON object a line.
// docs/recordings.md describes the format.
#pragma once

#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "simulator/observation.h"
#include "simulator/scenario.h"
#include "simulator/secure_side.h"

namespace simulator {

struct run_start {
  int32_t script = 0;
  bool simulated = false;
  std::string scenario;
};

struct run_end {
  int32_t status = FP_OK;
  int32_t node_error = 0;  // system error number of a node that could not be opened
};

using event = std::variant<run_start, exchange, command, wait, run_end>;

struct recorded {
  int64_t at_us = 0;  // monotonic, since the run's start
  std::string time;   // of the wall clock, UTC
  event what;
};

// One line for people.
std::string describe(const exchange &e);
std::string describe(const wait &w);

// Without the line feed.
std::string line_of(const recorded &r);

// Throws scenario_error with the line that is damaged or that the format does not know.
std::vector<recorded> read_recording(const std::filesystem::path &file);

// The scenario that plays a recording again.
scenario scenario_of(const std::vector<recorded> &events, const std::string &name);

// Compares a run with a recording, all but times, addresses and what it ran on. Names the first
// event that differs and how; empty when none does.
std::string first_difference(const std::vector<recorded> &recording,
                             const std::vector<recorded> &run);

}  // namespace simulator
