#include "simulator/sensor_model.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace simulator {

namespace {

struct named_opcode {
  uint8_t opcode;
  const char *name;
};

constexpr named_opcode kNames[] = {{orva::FP_IOC_RESET, "reset"},
                                   {orva::FP_IOC_POWER_CTRL, "power"},
                                   {orva::FP_IOC_SET_CLOCK, "set-clock"},
                                   {orva::FP_IOC_EEPROM_ENABLE, "info-memory"},
                                   {orva::FP_IOC_CLOCK_OTHER, "clock-other"},
                                   {orva::FP_IOC_CPU_SPEEDUP, "cpu-speedup"},
                                   {orva::FP_IOC_INT_ENABLE, "int-enable"},
                                   {orva::FP_IOC_INT_DISABLE, "int-disable"}};

const named_opcode *find_name(uint8_t opcode) {
  for (const named_opcode &entry : kNames) {
    if (entry.opcode == opcode) return &entry;
  }
  return nullptr;
}

bool is_transfer(uint8_t opcode) {
  return opcode == orva::FP_IOC_INT_ENABLE || opcode == orva::FP_IOC_INT_DISABLE;
}

}  // namespace

std::string opcode_name(uint8_t opcode) {
  const named_opcode *entry = find_name(opcode);
  return entry != nullptr ? entry->name : "command " + std::to_string(opcode);
}

std::optional<uint8_t> find_opcode(std::string_view name) {
  for (const named_opcode &entry : kNames) {
    if (entry.name == name) return entry.opcode;
  }
  return std::nullopt;
}

std::string describe(const command &c) {
  char text[160];
  snprintf(text, sizeof text, "%-11s len=%u speed_hz=%u param=%u,%u,%u",
           opcode_name(c.opcode()).c_str(), c.len(), c.speed_hz(), c.param()[0], c.param()[1],
           c.param()[2]);
  return c.error != 0 ? text + std::string(" -> fails: ") + strerror(c.error) : text;
}

int sensor_model::fault_for(uint8_t opcode, uint32_t nth) const {
  for (const command_fault &fault : config_.faults) {
    if (fault.opcode == opcode && (fault.nth == 0 || fault.nth == nth)) return fault.error;
  }
  return 0;
}

// Whatever is received differs from what was sent and from fresh memory.
std::vector<uint8_t> sensor_model::receipt_for(const command &c, uint32_t nth) const {
  for (const command_receipt &receipt : config_.receipts) {
    const bool fits = receipt.bytes.size() == c.len();
    if (receipt.opcode == c.opcode() && receipt.nth == nth && fits) return receipt.bytes;
  }
  return std::vector<uint8_t>(c.len(), 0x5A);
}

std::vector<std::string> sensor_model::unmet_faults() const {
  std::vector<std::string> unmet;
  for (const command_fault &fault : config_.faults) {
    const auto seen = seen_.find(fault.opcode);
    const uint32_t count = seen != seen_.end() ? seen->second : 0;
    if (count >= std::max(fault.nth, 1u)) continue;
    unmet.push_back("a fault was not met: " + std::to_string(count) + " of " +
                    std::to_string(std::max(fault.nth, 1u)) + " commands \"" +
                    opcode_name(fault.opcode) + "\" came");
  }
  return unmet;
}

void sensor_model::check(const command &c) {
  const auto expect = [&](bool holds, const char *what) {
    if (!holds) problems_.push_back(opcode_name(c.opcode()) + ": " + what);
  };
  expect(c.fields().delay_usecs == 0, "delay_usecs is not 0");
  expect(c.fields().bits_per_word == 8, "bits_per_word is not 8");
  expect(c.fields().cs_change == 1, "cs_change is not 1");
  if (find_name(c.opcode()) == nullptr) return;
  const bool has_buffers = c.tx_buf() != 0 && c.rx_buf() != 0;
  const bool has_none = c.tx_buf() == 0 && c.rx_buf() == 0;
  if (is_transfer(c.opcode())) {
    expect(has_buffers && c.len() == 1, "not a transfer of one byte");
    expect(c.sent.size() == 1 && c.sent[0] == 0, "the byte sent is not 0");
  } else {
    expect(has_none, "carries an address");
  }
}

answer sensor_model::handle(const record_bytes &record, std::span<const uint8_t> sent) {
  command c{record, {sent.begin(), sent.end()}, {}, 0};
  const uint32_t nth = ++seen_[c.opcode()];
  c.error = fault_for(c.opcode(), nth);
  if (c.error == 0 && c.rx_buf() != 0) c.received = receipt_for(c, nth);
  check(c);
  commands_.push_back(c);

  answer result{.error = c.error, .received = c.received, .plan = {}};
  if (c.error != 0) return result;

  state_.clock_hz = c.speed_hz();
  switch (c.opcode()) {
    case orva::FP_IOC_RESET:
      ++state_.resets;
      break;
    case orva::FP_IOC_POWER_CTRL:
      state_.powered = c.len() != 0;
      if (!state_.powered) state_.info_memory = false;
      break;
    case orva::FP_IOC_EEPROM_ENABLE:
      state_.info_memory = c.len() == 0;
      break;
    case orva::FP_IOC_CPU_SPEEDUP:
      state_.cpu_speedup = c.len();
      break;
    case orva::FP_IOC_INT_ENABLE:
      state_.armed = true;
      if (armings_ < config_.interrupts.size()) result.plan = config_.interrupts[armings_];
      ++armings_;
      result.interrupt_line = answer::line::kSchedule;
      break;
    case orva::FP_IOC_INT_DISABLE:
      state_.armed = false;
      result.interrupt_line = answer::line::kClear;
      break;
    default:
      break;
  }
  return result;
}

}  // namespace simulator
