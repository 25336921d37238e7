#include "tool/tool_runner.h"

#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>

namespace support {

namespace {

namespace fs = std::filesystem;

std::string replaced(std::string text, const std::string &what, const std::string &with) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

std::string squeezed(const std::string &text) {
  std::string kept;
  for (const char c : text) {
    if (c != ' ' || !kept.ends_with(' ')) kept += c;
  }
  return kept;
}

std::string without_log_lines(const std::string &text) {
  std::string kept;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("/(FPLOG) (") != 1) kept += line + "\n";
  }
  return kept;
}

void expect_parts(const std::string &stream, const std::string &got, std::string pattern) {
  if (pattern.empty()) {
    EXPECT_EQ(got, "") << stream;
    return;
  }
  const std::string text = squeezed(got);
  pattern = squeezed(pattern) + "...";
  size_t at = 0;
  for (size_t start = 0, end; (end = pattern.find("...", start)) != std::string::npos;
       start = end + 3) {
    std::string part = pattern.substr(start, end - start);
    if (part.ends_with(' ')) part.pop_back();
    if (part.starts_with(' ')) part.erase(0, 1);
    const size_t found = text.find(part, at);
    ASSERT_NE(found, std::string::npos) << stream << " lacks, in its place:\n"
                                        << part << "\nin\n"
                                        << got;
    at = found + part.size();
  }
}

void expect_files(const temp_folder &folder, const std::string &names) {
  std::istringstream words(names);
  for (std::string word; words >> word;) {
    const bool wanted = word[0] != '!';
    const size_t equals = word.find('=');
    const fs::path file = folder / word.substr(wanted ? 0 : 1, equals - (wanted ? 0 : 1));
    EXPECT_EQ(fs::exists(file), wanted) << file;
    if (equals != std::string::npos && fs::exists(file)) {
      EXPECT_EQ(fs::file_size(file), std::stoul(word.substr(equals + 1))) << file;
    }
  }
}

}  // namespace

tool_result tool_folder::run(const std::string &command) const {
  const std::string script = "cd '" + path().string() + "' && exec >stdout 2>stderr </dev/null\n" +
                             replaced(command, "orva-fp", ORVA_TEST_TOOL);
  const int status = system(script.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents("stdout"),
      without_log_lines(contents("stderr"))};
}

void tool_folder::check(const tool_case &row) const {
  SCOPED_TRACE(row.command);
  const tool_result got = run(row.command);
  EXPECT_EQ(got.status, row.status) << got.err;
  const bool refused = got.status == 2 || got.status == 3;
  const auto lines = std::count(got.err.begin(), got.err.end(), '\n');
  EXPECT_TRUE(!refused || lines == 1) << got.err;
  expect_parts("standard output", got.out, row.out);
  expect_parts("standard error", got.err, row.err);
  expect_files(*this, row.files);
}

void tool_folder::write(const std::string &name, const std::string &bytes) const {
  std::ofstream(*this / name, std::ios::binary) << bytes;
}

void check_all(const std::vector<tool_case> &rows, const std::string &before) {
  for (tool_case row : rows) {
    row.command = before + row.command;
    tool_folder().check(row);
  }
}

}  // namespace support
