#include "simulator/json_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <utility>

#include "simulator/scenario.h"

namespace simulator {

namespace {

using json = nlohmann::ordered_json;

constexpr size_t kLargestFile = size_t{64} << 20;

[[noreturn]] void fail_in(const std::string &origin, const std::string &what) {
  throw scenario_error(origin + ": " + what);
}

// "line 3, column 7" of a byte of the text, counted from 1. The text begins on the first line.
std::string line_and_column(std::string_view text, size_t byte, size_t first_line) {
  const auto end =
      text.begin() + static_cast<std::ptrdiff_t>(std::clamp<size_t>(byte, 1, text.size() + 1) - 1);
  const auto line = first_line + static_cast<size_t>(std::count(text.begin(), end, '\n'));
  const auto line_start = std::find(std::make_reverse_iterator(end), text.rend(), '\n').base();
  return "line " + std::to_string(line) + ", column " + std::to_string(1 + (end - line_start));
}

// A key of a JSON pointer.
std::string pointer_token(std::string_view key) {
  std::string token = "/";
  for (const char c : key) token += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
  return token;
}

std::string read_all(const std::filesystem::path &file) {
  std::string problem;
  auto text = read_bytes(file, kLargestFile, problem);
  if (!text) fail_in(file.string(), problem);
  return std::move(*text);
}

json parse(const std::string &file, std::string_view text, size_t first_line = 1) {
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
    fail_in(file, line_and_column(text, error.byte, first_line) + ": not JSON");
  }
}

}  // namespace

void json_value::fail(const std::string &what) const {
  fail_in(origin_, (place_.empty() ? "top level" : place_) + ": " + what);
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

bool json_value::truth() const {
  if (!value_.is_boolean()) fail("must be true or false");
  return value_.get<bool>();
}

std::vector<uint8_t> json_value::hex(size_t longest) const {
  const auto bytes = bytes_of_hex(text(3 * longest));
  if (!bytes) fail("must be pairs of hexadecimal digits");
  if (bytes->size() > longest) fail("more than " + std::to_string(longest) + " bytes");
  return *bytes;
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

void json_value::object(const std::vector<member> &members) const {
  if (!value_.is_object()) fail("must be an object");
  for (const auto &entry : value_.items()) {
    const json_value child(entry.value(), origin_, place_ + pointer_token(entry.key()));
    const auto known = std::find_if(members.begin(), members.end(),
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

std::optional<json_value> json_value::find(std::string_view key) const {
  if (!has(key)) return std::nullopt;
  return json_value(value_[key], origin_, place_ + pointer_token(key));
}

void json_value::has_only(const std::set<std::string, std::less<>> &keys) const {
  for (const auto &entry : value_.items()) {
    if (!keys.contains(entry.key())) find(entry.key())->fail("unknown key");
  }
}

void json_value::array(const std::function<void(const json_value &)> &read) const {
  if (!value_.is_array()) fail("must be an array");
  for (size_t i = 0; i < value_.size(); ++i) {
    read(json_value(value_[i], origin_, place_ + "/" + std::to_string(i)));
  }
}

void read_json_file(const std::filesystem::path &file,
                    const std::function<void(const json_value &)> &read) {
  const std::string origin = file.string();
  const json value = parse(origin, read_all(file));
  read(json_value(value, origin, ""));
}

void read_json_lines(const std::filesystem::path &file,
                     const std::function<void(const json_value &, size_t line)> &read) {
  const std::string text = read_all(file);
  size_t number = 0;
  for (size_t start = 0; start < text.size() || number == 0;) {
    const size_t end = std::min(text.find('\n', start), text.size());
    const std::string origin = file.string() + ": line " + std::to_string(++number);
    const json value =
        parse(file.string(), std::string_view(text).substr(start, end - start), number);
    read(json_value(value, origin, ""), number);
    start = end + 1;
  }
}

std::optional<std::vector<uint8_t>> bytes_of_hex(std::string_view digits) {
  const auto value = [](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
  };
  std::vector<uint8_t> bytes;
  bool half = false;
  for (const char c : digits) {
    if (c == ' ') continue;
    const int digit = value(c);
    if (digit < 0) return std::nullopt;
    if (!half) bytes.push_back(0);
    bytes.back() = static_cast<uint8_t>(bytes.back() << 4 | digit);
    half = !half;
  }
  if (half) return std::nullopt;
  return bytes;
}

std::optional<std::string> read_bytes(const std::filesystem::path &file, size_t longest,
                                      std::string &problem) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  return read_bytes(stream, longest, problem);
}

std::optional<std::string> read_bytes(std::istream &stream, size_t longest, std::string &problem) {
  std::string bytes;
  std::vector<char> piece(size_t{64} << 10);
  while (stream && bytes.size() <= longest) {
    stream.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    bytes.append(piece.data(), static_cast<size_t>(stream.gcount()));
  }
  if (stream.bad() || (stream.fail() && !stream.eof())) {
    problem = strerror(errno);
    return std::nullopt;
  }
  if (bytes.size() <= longest) return bytes;
  problem = "longer than " + std::to_string(longest) + " bytes";
  return std::nullopt;
}

}  // namespace simulator
