#include "simulator/json_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <vector>

#include "simulator/scenario.h"

namespace simulator {

namespace {

using json = nlohmann::ordered_json;

constexpr size_t kLargestFile = size_t{4} << 20;

[[noreturn]] void fail_in(const std::filesystem::path &file, const std::string &what) {
  throw scenario_error(file.string() + ": " + what);
}

// "line 3, column 7" of a byte, counted from 1.
std::string line_and_column(const std::string &text, size_t byte) {
  const auto end =
      text.begin() + static_cast<std::ptrdiff_t>(std::clamp<size_t>(byte, 1, text.size() + 1) - 1);
  const auto line = 1 + std::count(text.begin(), end, '\n');
  const auto line_start = std::find(std::make_reverse_iterator(end), text.rend(), '\n').base();
  return "line " + std::to_string(line) + ", column " + std::to_string(1 + (end - line_start));
}

// A key of a JSON pointer.
std::string pointer_token(std::string_view key) {
  std::string token = "/";
  for (const char c : key) token += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
  return token;
}

json parse(const std::filesystem::path &file, const std::string &text) {
  // The parser itself keeps the last of two members with one key.
  std::vector<std::set<std::string>> keys;
  const auto watch = [&](int, json::parse_event_t event, json &value) {
    if (event == json::parse_event_t::object_start) keys.emplace_back();
    if (event == json::parse_event_t::object_end) keys.pop_back();
    if (event == json::parse_event_t::key && !keys.back().insert(value.get<std::string>()).second) {
      fail_in(file, "key " + value.dump() + " is there twice in one object");
    }
    return true;
  };
  try {
    return json::parse(text, watch);
  } catch (const json::parse_error &error) {
    fail_in(file, line_and_column(text, error.byte) + ": not JSON");
  }
}

}  // namespace

void json_value::fail(const std::string &what) const {
  fail_in(file_, (place_.empty() ? "top level" : place_) + ": " + what);
}

const std::string &json_value::text(size_t longest) const {
  if (!value_.is_string()) fail("must be a text");
  const auto &text = value_.get_ref<const std::string &>();
  if (text.size() > longest) {
    fail("is " + std::to_string(text.size()) + " bytes long, at most " + std::to_string(longest) +
         " fit");
  }
  return text;
}

int64_t json_value::whole(int64_t lowest, int64_t highest) const {
  const bool fits_64_bits =
      value_.is_number_integer() &&
      (!value_.is_number_unsigned() || value_.get<uint64_t>() <= uint64_t{INT64_MAX});
  const int64_t number = fits_64_bits ? value_.get<int64_t>() : 0;
  if (!fits_64_bits || number < lowest || number > highest) {
    fail("must be a whole number from " + std::to_string(lowest) + " to " +
         std::to_string(highest));
  }
  return number;
}

void json_value::object(std::initializer_list<member> members) const {
  if (!value_.is_object()) fail("must be an object");
  for (const auto &entry : value_.items()) {
    const json_value child(entry.value(), file_, place_ + pointer_token(entry.key()));
    const auto *known = std::find_if(members.begin(), members.end(),
                                     [&](const member &m) { return m.key == entry.key(); });
    if (known == members.end()) child.fail("unknown key");
    known->read(child);
  }
  for (const member &m : members) {
    if (m.needed == presence::kRequired && !has(m.key)) {
      fail("key \"" + std::string(m.key) + "\" is missing");
    }
  }
}

void json_value::array(const std::function<void(const json_value &)> &read) const {
  if (!value_.is_array()) fail("must be an array");
  for (size_t i = 0; i < value_.size(); ++i) {
    read(json_value(value_[i], file_, place_ + "/" + std::to_string(i)));
  }
}

void read_json_file(const std::filesystem::path &file,
                    const std::function<void(const json_value &)> &read) {
  std::string problem;
  const auto text = read_bytes(file, kLargestFile, problem);
  if (!text) fail_in(file, problem);
  const json value = parse(file, *text);
  read(json_value(value, file, ""));
}

std::optional<std::string> read_bytes(const std::filesystem::path &file, size_t longest,
                                      std::string &problem) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::string bytes(longest + 1, '\0');
  if (stream) stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!stream.is_open() || stream.bad()) {
    problem = strerror(errno);
    return std::nullopt;
  }
  bytes.resize(static_cast<size_t>(stream.gcount()));
  if (bytes.size() <= longest) return bytes;
  problem = "longer than " + std::to_string(longest) + " bytes";
  return std::nullopt;
}

}  // namespace simulator
