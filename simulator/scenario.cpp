#include "simulator/scenario.h"

#include <algorithm>

#include "simulator/json_reader.h"
#include "simulator/names.h"
#include "simulator/recording.h"
#include "simulator/ridge_frame.h"

namespace simulator {

namespace {

constexpr auto kOptional = json_value::presence::kOptional;
constexpr auto kRequired = json_value::presence::kRequired;

constexpr size_t kLongestDescription = 1000;
constexpr size_t kLongestPath = 4096;
constexpr int64_t kLargestError = 4095;  // of the system's error numbers
constexpr uint32_t kLongestDelayMs = 3600000;
const std::string kDataTooLarge =
    "larger than the data block of " + std::to_string(SENSOR_TEST_DATA_SIZE) + " bytes";

// A name of a table or the number itself.
template <typename T, typename Find>
T name_or_number(const json_value &at, const char *what, Find find) {
  if (!at.is_text()) return at.whole<T>();
  const std::string &name = at.text(kLongestPath);
  const std::optional<T> value = find(name);
  if (!value) at.fail("unknown " + std::string(what) + " \"" + name + "\"");
  return *value;
}

std::vector<uint8_t> hex_bytes(const json_value &at) {
  std::vector<uint8_t> bytes;
  at.object(
      {{"hex", kRequired, [&](const json_value &v) { bytes = v.hex(SENSOR_TEST_DATA_SIZE); }}});
  return bytes;
}

std::vector<uint8_t> fill_bytes(const json_value &at) {
  uint8_t value = 0;
  size_t size = 0;
  at.object({{"fill", kRequired, [&](const json_value &v) { value = v.whole<uint8_t>(); }},
             {"size", kRequired, [&](const json_value &v) {
                size = static_cast<size_t>(v.whole(0, SENSOR_TEST_DATA_SIZE));
              }}});
  return std::vector<uint8_t>(size, value);
}

std::vector<uint8_t> frame_bytes(const json_value &at, frame_shape &shape) {
  uint32_t seed = 0;
  const auto side = [](uint32_t &to) {
    return [&to](const json_value &v) {
      to = static_cast<uint32_t>(v.whole(1, SENSOR_TEST_DATA_SIZE));
    };
  };
  at.object({{"frame", kRequired,
              [](const json_value &v) {
                if (v.text(kLongestPath) != "ridges") v.fail("unknown frame, not \"ridges\"");
              }},
             {"width", kRequired, side(shape.width)},
             {"height", kRequired, side(shape.height)},
             {"seed", kRequired, [&](const json_value &v) { seed = v.whole<uint32_t>(); }}});
  if (uint64_t{shape.width} * shape.height > SENSOR_TEST_DATA_SIZE) at.fail(kDataTooLarge);
  return ridge_frame(shape.width, shape.height, seed);
}

std::vector<uint8_t> file_bytes(const json_value &at, const std::filesystem::path &folder) {
  std::optional<std::string> bytes;
  at.object({{"file", kRequired, [&](const json_value &v) {
                const std::filesystem::path file = folder / v.text(kLongestPath);
                std::string problem;
                bytes = read_bytes(file, SENSOR_TEST_DATA_SIZE, problem);
                if (!bytes) v.fail(file.string() + ": " + problem);
              }}});
  return {bytes->begin(), bytes->end()};
}

std::vector<uint8_t> read_data(const json_value &at, const std::filesystem::path &folder,
                               frame_shape &shape) {
  if (at.has("hex")) return hex_bytes(at);
  if (at.has("fill")) return fill_bytes(at);
  if (at.has("file")) return file_bytes(at, folder);
  if (at.has("frame")) return frame_bytes(at, shape);
  at.fail("must be an object with \"hex\", \"fill\", \"file\" or \"frame\"");
}

interrupt_plan read_interrupt(const json_value &at) {
  if (at.is_text()) {
    const std::string &name = at.text(kLongestPath);
    if (name == "never") return interrupt_plan::never();
    if (name == "error") return interrupt_plan::error_event();
    at.fail("unknown interrupt \"" + name + "\", neither \"never\" nor \"error\"");
  }
  interrupt_plan plan;
  if (at.has("errno")) {
    at.object({{"errno", kRequired, [&](const json_value &v) {
                  plan = interrupt_plan::wait_fails(static_cast<int>(v.whole(1, kLargestError)));
                }}});
    return plan;
  }
  at.object({{"after_ms", kRequired, [&](const json_value &v) {
                plan = interrupt_plan::after(static_cast<uint32_t>(v.whole(0, kLongestDelayMs)));
              }}});
  return plan;
}

command_fault read_fault(const json_value &at) {
  command_fault fault;
  at.object({{"command", kRequired,
              [&](const json_value &v) {
                fault.opcode = name_or_number<uint8_t>(v, "command", find_opcode);
              }},
             {"nth", kOptional, [&](const json_value &v) { fault.nth = v.whole<uint32_t>(); }},
             {"errno", kOptional, [&](const json_value &v) {
                fault.error = static_cast<int>(v.whole(1, kLargestError));
              }}});
  return fault;
}

node_state read_node(const json_value &at) {
  const std::string &name = at.text(kLongestPath);
  if (name == "present") return node_state::kPresent;
  if (name == "missing") return node_state::kMissing;
  if (name == "not-openable") return node_state::kNotOpenable;
  at.fail("unknown node \"" + name + "\", not \"present\", \"missing\" or \"not-openable\"");
}

sensor_config read_sensor(const json_value &at) {
  sensor_config sensor;
  at.object({{"node", kOptional, [&](const json_value &v) { sensor.node = read_node(v); }},
             {"interrupts", kOptional,
              [&](const json_value &v) {
                v.array(
                    [&](const json_value &i) { sensor.interrupts.push_back(read_interrupt(i)); });
              }},
             {"faults", kOptional, [&](const json_value &v) {
                v.array([&](const json_value &f) { sensor.faults.push_back(read_fault(f)); });
              }}});
  return sensor;
}

exchange_step read_step(const json_value &at, const std::filesystem::path &folder) {
  exchange_step step;
  const json_value::member expectation = {"expect_interrupt", kOptional, [&](const json_value &v) {
                                            step.interrupt = static_cast<int32_t>(v.whole(0, 1));
                                          }};
  if (at.has("fail")) {
    at.object({{"fail", kRequired,
                [&](const json_value &v) {
                  step.failure = v.whole<int32_t>();
                  if (step.failure == 0) v.fail("0 is no failure");
                }},
               expectation});
    return step;
  }
  at.object(
      {{"action", kRequired,
        [&](const json_value &v) {
          step.result = name_or_number<uint32_t>(v, "action", find_action);
        }},
       {"text", kOptional, [&](const json_value &v) { step.text = v.text(SENSOR_TEST_TEXT_SIZE); }},
       {"data", kOptional,
        [&](const json_value &v) { step.data = read_data(v, folder, step.frame); }},
       {"data_len", kOptional, [&](const json_value &v) { step.data_len = v.whole<int32_t>(); }},
       {"reply_size", kOptional,
        [&](const json_value &v) { step.reply_size = v.whole<uint32_t>(); }},
       expectation});
  return step;
}

// Refuses a length that counts bytes of the data block that no step has written.
void check_length(const json_value &at, const exchange_step &step, size_t &written) {
  written = std::max(written, step.data.size());
  const int32_t counted = std::min<int32_t>(step.data_len.value_or(0), SENSOR_TEST_DATA_SIZE);
  if (counted > 0 && static_cast<size_t>(counted) > written) {
    at.fail("data_len counts more than the " + std::to_string(written) +
            " bytes that this step and those before it give");
  }
}

}  // namespace

bool scenario::is_meant_for(int32_t script_id) const {
  return std::find(scripts.begin(), scripts.end(), script_id) != scripts.end();
}

scenario load_scenario(const std::filesystem::path &file) {
  if (file.extension() == ".jsonl") return scenario_of(read_recording(file), file.stem().string());
  scenario s;
  s.name = file.stem().string();
  const auto read_steps = [&](const json_value &at) {
    size_t written = 0;
    at.array([&](const json_value &step) {
      s.steps.push_back(read_step(step, file.parent_path()));
      check_length(step, s.steps.back(), written);
    });
  };
  const auto read_scripts = [&](const json_value &at) {
    at.array([&](const json_value &script) {
      s.scripts.push_back(
          static_cast<int32_t>(script.whole(ORVA_SCRIPT_NORMAL_SCAN, ORVA_SCRIPT_SNR2_VARIANT)));
    });
    if (s.scripts.empty()) at.fail("names no script");
  };
  read_json_file(file, [&](const json_value &top) {
    top.object({{"description", kRequired,
                 [&](const json_value &v) { s.description = v.text(kLongestDescription); }},
                {"scripts", kRequired, read_scripts},
                {"status", kOptional,
                 [&](const json_value &v) {
                   s.status = name_or_number<int32_t>(v, "status", find_status);
                 }},
                {"sensor", kOptional, [&](const json_value &v) { s.sensor = read_sensor(v); }},
                {"steps", kRequired, read_steps}});
  });
  return s;
}

}  // namespace simulator
