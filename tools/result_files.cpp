#include "tools/result_files.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <sstream>

#include "simulator/json_reader.h"
#include "tools/exit_status.h"
#include "tools/output_file.h"

namespace tools {

namespace {

namespace fs = std::filesystem;

// What the log holds beside the text, and the most that it holds in all.
constexpr size_t kDateSize = sizeof "Date: Thu Jan  1 00:00:00 1970\n" - 1;
constexpr size_t kLongestLog = 1023;
// A text that is too long is cut before a character of at most so many bytes.
constexpr size_t kLongestCharacter = 4;

// Empty for one that is not there, or is larger than any that is saved.
std::string contents(const fs::path &file) {
  std::string problem;
  return simulator::read_bytes(file, SENSOR_TEST_DATA_SIZE, problem).value_or("");
}

// Why a file does not hold what was saved. The library does not tell; writing so much once more
// does.
std::string reason(const fs::path &file, size_t size) {
  try {
    output_file(file.string()).write(std::string(size, ' '));
  } catch (const command_error &error) {
    return error.what();
  }
  return file.string() + ": could not be written a moment ago";
}

// The words of a line, with so much between them.
std::string words_of(const std::string &line, const char *between) {
  std::istringstream words(line);
  using word = std::istream_iterator<std::string>;
  return fmt::format("{}", fmt::join(word(words), word(), between));
}

}  // namespace

result_files::result_files(const fs::path &folder, int32_t script)
    : data_(folder / ORVA_FP_DATA_FILE) {
  const bool normal_scan =
      script == ORVA_SCRIPT_NORMAL_SCAN || script == ORVA_SCRIPT_NORMAL_SCAN_VARIANT;
  log_ = folder / (normal_scan ? ORVA_FP_NORMAL_SCAN_LOG : ORVA_FP_SNR_LOG);
  saves_ = script != ORVA_SCRIPT_SNR1 && script != ORVA_SCRIPT_SNR1_VARIANT;
}

void result_files::remove_old() const {
  const fs::path sheet = data_.string() + ".sheet.png";
  std::error_code error;
  fs::remove(sheet, error);
  need(!error, kBadOutput, "{}: {}", sheet.string(), error.message());
}

void result_files::expect(const sensor_test_reply &reply) {
  const bool ends = reply.result == ORVA_TEST_FINISH || reply.result == ORVA_TEST_FINISH_ALT;
  if (!saves_ || !ends) return;
  const auto size =
      static_cast<size_t>(std::clamp<int32_t>(reply.data_len, 0, SENSOR_TEST_DATA_SIZE));
  bytes_.assign(reinterpret_cast<const char *>(reply.data), size);
  text_.emplace(reply.result_text, strnlen(reply.result_text, sizeof reply.result_text));
}

std::vector<std::string> result_files::problems() const {
  std::vector<std::string> found;
  // Nothing was saved where the size is 0.
  const auto check = [&](const fs::path &file, size_t size, const auto &is_whole) {
    std::error_code none;
    if (size == 0 && fs::exists(file)) {
      found.push_back(file.string() + ": of an earlier run, could not be removed");
    } else if (size != 0 && !is_whole(contents(file))) {
      const uintmax_t there = fs::file_size(file, none);
      found.push_back(
          fmt::format("{}; {} of {} bytes are there", reason(file, size), none ? 0 : there, size));
    }
  };
  check(data_, bytes_.size(), [&](const std::string &data) { return data == bytes_; });
  const std::string text = text_.value_or("");
  const size_t log_size = text_ ? std::min(kDateSize + text.size(), kLongestLog) : 0;
  check(log_, log_size, [&](const std::string &log) {
    const std::string kept = log.substr(std::min(log.size(), kDateSize));
    const bool cut = text.starts_with(kept) && log.size() > kLongestLog - kLongestCharacter;
    return log.starts_with("Date: ") && (kept == text || cut);
  });
  return found;
}

std::vector<std::string> result_files::log_lines() const {
  std::istringstream log(contents(log_));
  std::vector<std::string> lines;
  for (std::string line; std::getline(log, line);) lines.push_back(line);
  return lines;
}

std::string result_files::verdict() const {
  std::string last;
  for (const std::string &line : log_lines()) {
    const std::string words = words_of(line, " ");
    if (words.starts_with("RESULT")) last = words;
  }
  return last;
}

bool result_files::log_has_line(const std::string &text) const {
  return std::ranges::any_of(log_lines(), [&](const std::string &line) {
    return words_of(line, "") == words_of(text, "");
  });
}

}  // namespace tools
