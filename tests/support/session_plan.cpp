#include "support/session_plan.h"

#include <algorithm>
#include <iterator>

#include <orva_fp/sensor_test.h>

namespace support {

namespace {

template <typename T, size_t N>
T one_of(const T (&values)[N], const chooser &below) {
  return values[below(N)];
}

// Runs of a few characters of one to four bytes, or of bytes that are none.
std::string make_text(const chooser &below) {
  static const std::string kUnits[] = {
      "a", "\n", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "\xFF", std::string(1, 0)};
  static constexpr size_t kLengths[] = {0, 1, 960, 985, 1010, 1020, 2040, 2048};
  const size_t length = one_of(kLengths, below) + below(16);
  if (length == 0) return {};
  std::string pattern;
  for (uint32_t units = 1 + below(4); units > 0; --units) pattern += one_of(kUnits, below);
  std::string text(below(4), '.');
  while (text.size() < length) text += pattern;
  text.resize(std::min(text.size(), size_t{SENSOR_TEST_TEXT_SIZE}));
  return text;
}

reply_plan make_reply(const chooser &below) {
  static constexpr uint32_t kCodes[] = {0,  12, 21, 23, 24, 41, 12, 23,         24, 21,
                                        41, 35, 37, 12, 1,  13, 36, 0x80000000, 12, 0xFFFFFFFF};
  static constexpr int32_t kOddLengths[] = {-1,
                                            INT32_MIN,
                                            1,
                                            SENSOR_TEST_DATA_SIZE - 1,
                                            SENSOR_TEST_DATA_SIZE,
                                            SENSOR_TEST_DATA_SIZE + 1,
                                            INT32_MAX};
  reply_plan reply;
  reply.result = one_of(kCodes, below);
  switch (below(16)) {
    case 1:
      reply.failure = static_cast<int32_t>(below(3)) - 1;
      break;
    case 2:
      reply.silent = true;
      break;
    case 3:
      reply.reply_size = below(1000000);
      break;
    case 4:
      reply.data_len = one_of(kOddLengths, below);
      break;
    default:
      reply.data_len = static_cast<int32_t>(below(200));
      break;
  }
  reply.data_start = static_cast<uint8_t>(below(256));
  if (below(4) == 1) reply.text = make_text(below);
  return reply;
}

wait_plan make_wait(const chooser &below) {
  static constexpr int32_t kDelays[] = {0, 99, 100, 101, 999, 1000, 1001, INT32_MAX};
  switch (below(8)) {
    case 1:
      return {wait_plan::kind::kErrorEvent, 0};
    case 2:
      return {wait_plan::kind::kPollFails, 0};
    default:
      return {wait_plan::kind::kInterrupt, one_of(kDelays, below)};
  }
}

run_plan make_run(const chooser &below) {
  static constexpr int32_t kUnknownScripts[] = {999, 1006, 0, -1, INT32_MIN, INT32_MAX};
  static const char *const kNames[] = {kNormalScanLog, kSnrLog, kDataFile};
  run_plan run;
  run.script_id = 1000 + static_cast<int32_t>(below(6));
  switch (below(24)) {
    case 1:
      run.script_id = one_of(kUnknownScripts, below);
      break;
    case 2:
      run.null_folder = true;
      break;
    case 3:
      run.null_callback = true;
      break;
    case 4:
    case 5:
      run.folder_length = 225 + below(40);
      break;
    case 6:
    case 7:
      run.not_openable = one_of(kNames, below);
      break;
    case 8:
      run.no_date = true;
      break;
    default:
      break;
  }
  for (uint32_t count = below(14); count > 0; --count) run.replies.push_back(make_reply(below));
  for (uint32_t count = below(5); count > 0; --count) run.waits.push_back(make_wait(below));
  return run;
}

}  // namespace

session_plan make_session(const chooser &below) {
  static constexpr uint8_t kOpcodes[] = {4, 5, 6, 7, 164, 165};
  session_plan session;
  const uint32_t node = below(20);
  if (node == 1) session.sensor.node = simulator::node_state::kMissing;
  if (node == 2) session.sensor.node = simulator::node_state::kNotOpenable;
  for (uint32_t count = below(8); count > 4; --count) {
    session.sensor.faults.push_back({one_of(kOpcodes, below), below(6)});
  }
  for (uint32_t count = 1 + below(3); count > 0; --count) session.runs.push_back(make_run(below));
  return session;
}

std::string stretched(const std::string &folder, size_t length) {
  std::string path = folder;
  while (path.size() + 2 <= length) path += "/.";
  if (path.size() < length) path += "/";
  return path;
}

std::string counting_bytes(uint8_t start, size_t count) {
  std::string bytes(count, '\0');
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(start + i);
  return bytes;
}

}  // namespace support
