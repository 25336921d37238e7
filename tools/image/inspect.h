// Measures and contact sheets of many frames.
#pragma once

#include <string>
#include <vector>

#include "tools/exit_status.h"
#include "tools/image/analysis.h"
#include "tools/image/report.h"

namespace tools {

struct inspect_job {
  std::vector<std::string> files;
  std::string out;                  // folder of the pictures; empty for none
  std::vector<std::string> panels;  // single ones in place of the contact sheet
  report_form form = report_form::kTable;
  inspect_settings settings;
};

// Inspects the frames on all processors and prints their measures in the order of the files. What
// is wrong with a frame goes to standard error, and the others are inspected all the same; the
// tool's own sheets are left out. Throws command_error when the folder cannot be made.
exit_status inspect(const inspect_job &job);

}  // namespace tools
