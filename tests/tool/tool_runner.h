// Runs orva-fp as a process and compares what it says and leaves with a row of a table.
#pragma once

#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace support {

// A pattern is a text of parts that must be found in their order, with "..." between them; runs of
// blanks count as one. An empty pattern stands for an empty output.
struct tool_case {
  std::string command;  // shell text; "orva-fp" in it is the tool
  int status = 0;
  std::string out = "...";
  std::string err;    // without the library's log lines
  std::string files;  // "a b=12 !c": a is left, b with 12 bytes, and no c
};

struct tool_result {
  int status = -1;  // -1 when a signal ended the shell
  std::string out;
  std::string err;
};

// A folder of a test's own to run the tool in. While a command runs, its output grows in the files
// stdout and stderr there.
class tool_folder : public temp_folder {
 public:
  tool_result run(const std::string &command) const;

  // Runs a row and reports every difference. A refusal, status 2 or 3, must say why in one line.
  void check(const tool_case &row) const;

  void write(const std::string &name, const std::string &bytes) const;
};

// Each row in a folder of its own, after the shell text that is common to them.
void check_all(const std::vector<tool_case> &rows, const std::string &before = "");

}  // namespace support
