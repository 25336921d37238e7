// Strict reading of a JSON file: every value is taken through a check, and a value that fails it is
// reported with its place.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <istream>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

// One value and its place.
class json_value {
 public:
  enum class presence : uint8_t { kOptional, kRequired };
  struct member {
    std::string_view key;
    presence needed;
    std::function<void(const json_value &)> read;
  };

  // The origin is the file's name, or the name and a line.
  json_value(const nlohmann::ordered_json &value, const std::string &origin, std::string place)
      : value_(value), origin_(origin), place_(std::move(place)) {}

  [[noreturn]] void fail(const std::string &what) const;

  bool is_text() const { return value_.is_string(); }
  bool is_object() const { return value_.is_object(); }
  bool has(std::string_view key) const { return is_object() && value_.contains(key); }

  // The value, which must be of that type and within the limits.
  const std::string &text(size_t longest) const;
  bool truth() const;
  std::vector<uint8_t> hex(size_t longest) const;
  int64_t whole(int64_t lowest, int64_t highest) const;

  template <typename T>
  T whole() const {
    return static_cast<T>(whole(std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max()));
  }

  // Hands every member of an object to its reader, in the order of the file. A key without a reader
  // and a required key that is missing are errors.
  void object(const std::vector<member> &members) const;

  // A member of an object, where it is there; and the check that an object has no member but these.
  std::optional<json_value> find(std::string_view key) const;
  void has_only(const std::set<std::string, std::less<>> &keys) const;

  // Hands every element of an array to the reader.
  void array(const std::function<void(const json_value &)> &read) const;

 private:
  const nlohmann::ordered_json &value_;
  const std::string &origin_;
  std::string place_;  // JSON pointer
};

// Reads the file and hands its value to the reader. Throws scenario_error for a file that cannot be
// read, is not JSON or has a key twice in one object.
void read_json_file(const std::filesystem::path &file,
                    const std::function<void(const json_value &)> &read);

// The same for a file with one value a line: hands each to the reader, with the line's number.
void read_json_lines(const std::filesystem::path &file,
                     const std::function<void(const json_value &, size_t line)> &read);

// The bytes that pairs of hexadecimal digits stand for, blanks ignored; nothing for anything else.
std::optional<std::vector<uint8_t>> bytes_of_hex(std::string_view digits);

// All bytes of a file or a stream; nothing, and the problem, when it cannot be read or is longer
// than the limit.
std::optional<std::string> read_bytes(const std::filesystem::path &file, size_t longest,
                                      std::string &problem);
std::optional<std::string> read_bytes(std::istream &stream, size_t longest, std::string &problem);

}  // namespace simulator
