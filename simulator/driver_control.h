// How a test program talks to the driver of the simulated node: one datagram to ask, one to answer.
// Both ends come from the same build, so numbers travel as they lie in memory.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "simulator/sensor_model.h"

namespace simulator {

// The descriptor on which the driver finds its end of the control channel.
inline constexpr int kControlHandle = 3;

// No message is longer.
inline constexpr size_t kControlMessageSize = 128 * 1024;

// First byte of a question, with what follows it and what the answer holds.
enum class control : uint8_t {
  kAttach,    // sensor_config; nothing
  kCommands,  // nothing; vector of command
  kSetLine    // uint32_t, the poll events that the node shows from now on; nothing
};

// Appends values to a message.
class message_writer {
 public:
  void raw(const void *from, size_t size) {
    const auto *first = static_cast<const uint8_t *>(from);
    bytes.insert(bytes.end(), first, first + size);
  }
  std::vector<uint8_t> bytes;
};

// Takes values off a message; a message that is too short yields zeros.
class message_reader {
 public:
  explicit message_reader(std::span<const uint8_t> message) : rest_(message) {}
  void raw(void *to, size_t size) {
    memset(to, 0, size);
    if (size > rest_.size()) return;
    memcpy(to, rest_.data(), size);
    rest_ = rest_.subspan(size);
  }

 private:
  std::span<const uint8_t> rest_;
};

// Moves a value through a message, in either direction.
template <typename Message, typename T>
void pass(Message &message, T &value) {
  if constexpr (std::is_trivially_copyable_v<T>) {
    message.raw(&value, sizeof value);
  } else if constexpr (std::is_same_v<T, command>) {
    pass(message, value.record);
    pass(message, value.sent);
    pass(message, value.received);
    pass(message, value.error);
  } else if constexpr (std::is_same_v<T, sensor_config>) {
    pass(message, value.node);
    pass(message, value.node_error);
    pass(message, value.faults);
    pass(message, value.receipts);
    pass(message, value.interrupts);
  } else if constexpr (std::is_same_v<T, command_receipt>) {
    pass(message, value.opcode);
    pass(message, value.nth);
    pass(message, value.bytes);
  } else {
    auto count = static_cast<uint32_t>(value.size());
    pass(message, count);
    value.resize(count);
    for (auto &element : value) pass(message, element);
  }
}

template <typename T>
T read_value(message_reader &message) {
  T value{};
  pass(message, value);
  return value;
}

template <typename T>
void write_value(message_writer &message, T value) {
  pass(message, value);
}

}  // namespace simulator
