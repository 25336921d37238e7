#include "simulator/recording.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <map>
#include <set>
#include <type_traits>

#include "api/driver_channel.h"
#include "simulator/json_reader.h"
#include "simulator/names.h"

namespace simulator {

namespace {

using json = nlohmann::ordered_json;

constexpr char kFormat[] = "orva-fp recording";
constexpr int32_t kVersion = 1;

constexpr size_t kLongestText = 4096;
constexpr int64_t kLongestDelayMs = 3600000;
constexpr size_t kLargestTransfer = size_t{1} << 20;

constexpr const char *kOutcomeNames[] = {"interrupt", "timeout", "error-event", "failed"};

// The keys in which two runs of the same events may differ.
constexpr const char *kKeysOfOneRun[] = {"at_us",  "time",   "simulated", "scenario",
                                         "tx_buf", "rx_buf", "events"};

// The fields of an event, for a visitor that writes or reads them one by one. note is a field for
// people, which the others imply.
template <typename Visitor>
void fields(Visitor &v, run_start &e) {
  v("script", e.script);
  v("simulated", e.simulated);
  v("scenario", e.scenario);
}

template <typename Visitor>
void fields(Visitor &v, exchange &e) {
  v("script_id", e.request.script_id);
  v("interrupt_triggered", e.request.interrupt_triggered);
  v("script_variant", e.request.script_variant);
  v("callback_status", e.answer.failure);
  v.note("action", e.answer.failure != 0 ? "none" : action_name(e.answer.result));
  v("result", e.answer.result);
  v("text", e.answer.text);
  v("data", e.answer.data);
  v("data_len", e.answer.data_len);
  v("reply_size", e.answer.reply_size);
  v("width", e.answer.frame.width);
  v("height", e.answer.frame.height);
}

template <typename Visitor>
void fields(Visitor &v, command &e) {
  auto record = std::bit_cast<orva::fp_ioc_transfer>(e.record);
  v.note("name", opcode_name(record.opcode));
  v("opcode", record.opcode);
  v("len", record.len);
  v("speed_hz", record.speed_hz);
  for (size_t i = 0; i < std::size(record.param); ++i) {
    v(fmt::format("param_{}", i), record.param[i]);
  }
  v.address("tx_buf", record.tx_buf);
  v.address("rx_buf", record.rx_buf);
  v("delay_usecs", record.delay_usecs);
  v("bits_per_word", record.bits_per_word);
  v("cs_change", record.cs_change);
  v("sent", e.sent);
  v("received", e.received);
  v("errno", e.error);
  e.record = std::bit_cast<record_bytes>(record);
}

template <typename Visitor>
void fields(Visitor &v, wait &e) {
  v("limit_ms", e.limit_ms);
  v("outcome", e.outcome);
  v("events", e.events);
  v("errno", e.error);
}

template <typename Visitor>
void fields(Visitor &v, run_end &e) {
  v.note("name", orva_fp_status_name(e.status));
  v("status", e.status);
  v("node_errno", e.node_error);
}

class field_writer {
 public:
  template <typename T>
  void operator()(const std::string &key, const T &value) {
    line_[key] = value;
  }
  template <typename T>
  void operator()(const std::string &key, const std::optional<T> &value) {
    if (value) line_[key] = *value;
  }
  void operator()(const std::string &key, const std::vector<uint8_t> &bytes) {
    if (!bytes.empty()) line_[key] = fmt::format("{:02x}", fmt::join(bytes, ""));
  }
  void operator()(const std::string &key, wait_outcome outcome) {
    line_[key] = kOutcomeNames[static_cast<size_t>(outcome)];
  }
  void note(const std::string &key, const std::string &text) { line_[key] = text; }
  void address(const std::string &key, uint64_t value) { line_[key] = fmt::format("{:#x}", value); }

  const json &line() const { return line_; }

 private:
  json line_;
};

class field_reader {
 public:
  explicit field_reader(const json_value &line) : line_(line) {}

  template <typename T>
  void operator()(const std::string &key, T &value) {
    read(needed(key), value);
  }
  template <typename T>
  void operator()(const std::string &key, std::optional<T> &value) {
    if (const auto found = optional(key)) read(*found, value.emplace());
  }
  void operator()(const std::string &key, std::vector<uint8_t> &bytes) {
    if (const auto found = optional(key)) bytes = found->hex(kLargestTransfer);
  }
  void note(const std::string &key, const std::string &) { needed(key).text(kLongestText); }
  void address(const std::string &key, uint64_t &value) {
    const json_value at = needed(key);
    char *end = nullptr;
    const std::string &text = at.text(kLongestText);
    value = strtoull(text.c_str(), &end, 16);
    if (!text.starts_with("0x") || *end != '\0') at.fail("must be an address");
  }

  json_value needed(const std::string &key) {
    const auto found = optional(key);
    if (!found) line_.fail("key \"" + key + "\" is missing");
    return *found;
  }
  void finish() const { line_.has_only(known_); }

 private:
  std::optional<json_value> optional(const std::string &key) {
    known_.insert(key);
    return line_.find(key);
  }

  template <typename T>
  static void read(const json_value &at, T &value) {
    if constexpr (std::is_same_v<T, bool>) {
      value = at.truth();
    } else if constexpr (std::is_same_v<T, std::string>) {
      value = at.text(kLongestText);
    } else if constexpr (std::is_same_v<T, wait_outcome>) {
      const auto *name =
          std::find(std::begin(kOutcomeNames), std::end(kOutcomeNames), at.text(kLongestText));
      if (name == std::end(kOutcomeNames)) at.fail("unknown outcome");
      value = static_cast<wait_outcome>(name - kOutcomeNames);
    } else {
      value = at.whole<T>();
    }
  }

  const json_value &line_;
  std::set<std::string, std::less<>> known_;
};

const char *name_of(const event &what) {
  static constexpr const char *kNames[] = {"start", "exchange", "command", "wait", "end"};
  static_assert(std::size(kNames) == std::variant_size_v<event>);
  return kNames[what.index()];
}

json json_of(recorded r) {
  field_writer v;
  if (std::holds_alternative<run_start>(r.what)) {
    v("format", std::string(kFormat));
    v("version", kVersion);
  }
  v("event", std::string(name_of(r.what)));
  v("at_us", r.at_us);
  v("time", r.time);
  std::visit([&](auto &e) { fields(v, e); }, r.what);
  return v.line();
}

void check_format(field_reader &v) {
  const json_value format = v.needed("format"), version = v.needed("version");
  if (format.text(kLongestText) != kFormat) format.fail("not \"" + std::string(kFormat) + "\"");
  const auto number = version.whole<int32_t>();
  if (number != kVersion) version.fail(fmt::format("{} is unknown, only {} is", number, kVersion));
}

recorded read_event(const json_value &line, bool first) {
  static const event kKinds[] = {run_start{}, exchange{}, command{}, wait{}, run_end{}};
  if (!line.is_object()) line.fail("must be an object");
  field_reader v(line);
  if (first) check_format(v);
  const json_value name = v.needed("event");
  const auto *kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const event &e) {
    return name.text(kLongestText) == name_of(e);
  });
  if (kind == std::end(kKinds)) name.fail("unknown event");
  if (first != std::holds_alternative<run_start>(*kind)) {
    name.fail("the first event and no other is \"start\"");
  }
  recorded r{.at_us = 0, .time = {}, .what = *kind};
  v("at_us", r.at_us);
  v("time", r.time);
  std::visit([&](auto &e) { fields(v, e); }, r.what);
  v.finish();
  return r;
}

// What two runs of the same events have in common.
json comparable(const recorded &r) {
  json line = json_of(r);
  for (const char *key : kKeysOfOneRun) line.erase(key);
  return line;
}

std::string shortened(const json &value) {
  constexpr size_t kLongest = 60;
  const std::string text = value.is_null() ? "none" : value.dump();
  return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

}  // namespace

std::string describe(const exchange &e) {
  const exchange_step &answer = e.answer;
  std::string text = fmt::format("script={} variant={} interrupt={} -> ", e.request.script_id,
                                 e.request.script_variant, e.request.interrupt_triggered);
  if (answer.failure != 0) return text + fmt::format("callback fails with {}", answer.failure);
  text += action_name(answer.result);
  if (answer.text) text += fmt::format(", text {} bytes", answer.text->size());
  const auto data_len = answer.data_len.value_or(static_cast<int32_t>(answer.data.size()));
  if (data_len != 0) text += fmt::format(", data_len {}", data_len);
  if (answer.reply_size) text += fmt::format(", reply_size {}", *answer.reply_size);
  return text;
}

std::string describe(const wait &w) {
  const std::string limit = w.limit_ms < 0 ? "none" : fmt::format("{} ms", w.limit_ms);
  std::string outcome = kOutcomeNames[static_cast<size_t>(w.outcome)];
  if (w.outcome == wait_outcome::kErrorEvent) outcome += fmt::format(" {:#x}", w.events);
  if (w.error != 0) outcome += std::string(": ") + strerror(w.error);
  return fmt::format("limit={} -> {}", limit, outcome);
}

// The name of a file need not be UTF-8, all of JSON is.
std::string line_of(const recorded &r) {
  return json_of(r).dump(-1, ' ', false, json::error_handler_t::replace);
}

std::vector<recorded> read_recording(const std::filesystem::path &file) {
  std::vector<recorded> events;
  read_json_lines(file, [&](const json_value &line, size_t number) {
    if (!events.empty() && std::holds_alternative<run_end>(events.back().what)) {
      line.fail("follows the run's end");
    }
    events.push_back(read_event(line, number == 1));
  });
  if (std::holds_alternative<run_end>(events.back().what)) return events;
  throw scenario_error(
      fmt::format("{}: line {}: ends before the run does", file.string(), events.size()));
}

scenario scenario_of(const std::vector<recorded> &events, const std::string &name) {
  scenario s;
  s.name = name;
  std::map<uint8_t, uint32_t> count;
  int64_t armed_at_us = 0;
  const auto add_command = [&](const command &c, int64_t at_us) {
    const uint32_t nth = ++count[c.opcode()];
    if (c.error != 0) s.sensor.faults.push_back({c.opcode(), nth, c.error});
    if (!c.received.empty()) s.sensor.receipts.push_back({c.opcode(), nth, c.received});
    if (c.opcode() != orva::FP_IOC_INT_ENABLE || c.error != 0) return;
    armed_at_us = at_us;
    s.sensor.interrupts.push_back(interrupt_plan::never());
  };
  const auto add_wait = [&](const wait &w, int64_t at_us) {
    if (s.sensor.interrupts.empty()) return;
    interrupt_plan &plan = s.sensor.interrupts.back();
    switch (w.outcome) {
      case wait_outcome::kInterrupt: {
        // Well within the limit, so that a busy machine does not make it a time-out.
        const int64_t latest_ms = w.limit_ms < 0 ? kLongestDelayMs : w.limit_ms / 2;
        const int64_t after_ms = std::clamp<int64_t>((at_us - armed_at_us) / 1000, 0, latest_ms);
        plan = interrupt_plan::after(static_cast<uint32_t>(after_ms));
        break;
      }
      case wait_outcome::kErrorEvent:
        plan = interrupt_plan::error_event();
        break;
      case wait_outcome::kFailed:
        plan = interrupt_plan::wait_fails(w.error);
        break;
      case wait_outcome::kTimeout:
        break;
    }
  };
  for (const recorded &r : events) {
    if (const auto *start = std::get_if<run_start>(&r.what)) {
      s.scripts = {start->script};
      s.description = "recording of " + start->scenario + ", " + r.time;
    } else if (const auto *e = std::get_if<exchange>(&r.what)) {
      s.steps.push_back(e->answer);
      s.steps.back().interrupt = e->request.interrupt_triggered;
    } else if (const auto *c = std::get_if<command>(&r.what)) {
      add_command(*c, r.at_us);
    } else if (const auto *w = std::get_if<wait>(&r.what)) {
      add_wait(*w, r.at_us);
    } else if (const auto *end = std::get_if<run_end>(&r.what)) {
      s.status = end->status;
      s.sensor.node_error = end->node_error;
      if (end->node_error != 0) {
        s.sensor.node = end->node_error == ENOENT ? node_state::kMissing : node_state::kNotOpenable;
      }
    }
  }
  return s;
}

std::string first_difference(const std::vector<recorded> &recording,
                             const std::vector<recorded> &run) {
  for (size_t i = 0; i < std::max(recording.size(), run.size()); ++i) {
    const json then = i < recording.size() ? comparable(recording[i]) : json();
    const json now = i < run.size() ? comparable(run[i]) : json();
    if (then == now) continue;
    const std::string place = fmt::format("event {}", i + 1);
    if (then.is_null()) return fmt::format("{}, {}, was not recorded", place, shortened(now));
    if (now.is_null()) return fmt::format("{}, {}, did not come", place, shortened(then));
    if (then["event"] != now["event"]) {
      return fmt::format("{}: recorded {}, now {}", place, shortened(then), shortened(now));
    }
    json keys = then;
    keys.update(now);
    for (const auto &entry : keys.items()) {
      const std::string &key = entry.key();
      const json was = then.value(key, json()), is = now.value(key, json());
      if (was == is) continue;
      return fmt::format("{}, {}: {} recorded {}, now {}", place, shortened(then["event"]), key,
                         shortened(was), shortened(is));
    }
  }
  return "";
}

}  // namespace simulator
