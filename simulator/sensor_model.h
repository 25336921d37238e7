// The sensor behind the driver node, as its driver sees it: what each command record held, what it
// does to the sensor, and the faults that a scenario asks for. It knows nothing of how commands
// arrive: a front hands them over and carries the answers out.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "api/driver_channel.h"

namespace simulator {

inline constexpr size_t kRecordSize = sizeof(orva::fp_ioc_transfer);
using record_bytes = std::array<uint8_t, kRecordSize>;

// One command as the driver received it.
struct command {
  record_bytes record{};
  std::vector<uint8_t> sent;      // the bytes that tx_buf pointed to, empty without it
  std::vector<uint8_t> received;  // the bytes that went to rx_buf, empty without it
  int error = 0;                  // system error number that the driver answered with, 0 for none

  orva::fp_ioc_transfer fields() const { return std::bit_cast<orva::fp_ioc_transfer>(record); }
  uint64_t tx_buf() const { return fields().tx_buf; }
  uint64_t rx_buf() const { return fields().rx_buf; }
  uint32_t len() const { return fields().len; }
  uint32_t speed_hz() const { return fields().speed_hz; }
  uint8_t opcode() const { return fields().opcode; }
  std::array<uint8_t, 3> param() const { return std::to_array(fields().param); }
};

// "reset", "power", ... ; "command N" for a code that has no name.
std::string opcode_name(uint8_t opcode);
std::optional<uint8_t> find_opcode(std::string_view name);

// One line for people: name, argument, clock, parameters and failure.
std::string describe(const command &c);

// What happens after the interrupt has been armed.
struct interrupt_plan {
  enum class kind : uint8_t { kNever, kInterrupt, kErrorEvent, kWaitFails };
  kind what = kind::kNever;
  uint32_t delay_ms = 0;  // of the interrupt; all else comes at once
  int error = 0;          // system error number of the wait that fails

  static interrupt_plan never() { return {}; }
  static interrupt_plan after(uint32_t ms) { return {kind::kInterrupt, ms}; }
  static interrupt_plan error_event() { return {kind::kErrorEvent}; }
  static interrupt_plan wait_fails(int error) { return {kind::kWaitFails, 0, error}; }
  bool operator==(const interrupt_plan &) const = default;
};

// Makes the n-th command with a code (from 1; 0 means every one) fail.
struct command_fault {
  uint8_t opcode = 0;
  uint32_t nth = 1;
  int error = 5;  // EIO
};

// What the n-th command with a code (from 1) receives.
struct command_receipt {
  uint8_t opcode = 0;
  uint32_t nth = 1;
  std::vector<uint8_t> bytes;
};

enum class node_state : uint8_t { kPresent, kMissing, kNotOpenable };

// How the simulated sensor behaves.
struct sensor_config {
  node_state node = node_state::kPresent;
  int node_error = 0;  // that a missing or not openable node gives, 0 for the usual one
  std::vector<command_fault> faults;
  std::vector<command_receipt> receipts;
  // One per arming, in order; armings beyond the last get no interrupt.
  std::vector<interrupt_plan> interrupts;

  int node_error_or(int usual) const { return node_error != 0 ? node_error : usual; }
};

struct sensor_state {
  bool powered = false;
  uint32_t clock_hz = 0;  // of the latest command that went through
  bool info_memory = false;
  bool armed = false;
  uint32_t resets = 0;
  uint32_t cpu_speedup = 0;
  bool operator==(const sensor_state &) const = default;
};

// What the front does after a command.
struct answer {
  int error = 0;                  // 0, or the system error number that ioctl fails with
  std::vector<uint8_t> received;  // goes to rx_buf
  enum class line : uint8_t { kUnchanged, kSchedule, kClear } interrupt_line = line::kUnchanged;
  interrupt_plan plan;  // with kSchedule
};

class sensor_model {
 public:
  sensor_model() = default;
  explicit sensor_model(sensor_config config) : config_(std::move(config)) {}

  answer handle(const record_bytes &record, std::span<const uint8_t> sent);

  const sensor_config &config() const { return config_; }
  const sensor_state &state() const { return state_; }
  const std::vector<command> &commands() const { return commands_; }

  // Records that hold what no caller of the library may send: a changed constant field, an address
  // where the command has none, a transfer without its addresses.
  const std::vector<std::string> &problems() const { return problems_; }

  // The faults that no command met, in words.
  std::vector<std::string> unmet_faults() const;

 private:
  int fault_for(uint8_t opcode, uint32_t nth) const;
  std::vector<uint8_t> receipt_for(const command &c, uint32_t nth) const;
  void check(const command &c);

  sensor_config config_;
  sensor_state state_;
  std::vector<command> commands_;
  std::vector<std::string> problems_;
  std::map<uint8_t, uint32_t> seen_;
  size_t armings_ = 0;
};

}  // namespace simulator
