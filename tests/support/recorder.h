// One journal of what the library does, in order: log calls, driver commands and libc calls. For
// programs that compile the library's sources, with this in the place of its logging calls.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace support {

// Entries, one a line:
//   "LEVEL:LINE TEXT"           a log call of orvaFpSensorTest
//   "LEVEL:FUNCTION:LINE TEXT"  of another function; before it "FILE ", if not the sensor test's
//   "FUNCTION:LINE TEXT"        of the device layer, in detailed journals
//   "reset 0"                   a command with its len; detailed: "reset 0 CLOCK PARAMETERS"
//   "poll 100 in", "usleep 15000", "remove PATH", "fopen PATH MODE"
// A command, usleep or fopen that fails has "!" at its end.

// Entries as a test's table holds them: "a | b" for two.
std::string lines(std::string entries);

// As snprintf.
std::string text(const char *format, ...);

// Starts a journal on a fresh sensor. The expected entries also decide what happens: a call with
// "!" fails, and a poll ends as its last word says ("in", "none", "error", "both", "fails"). Polls
// and pauses return at once. The clock moves on by the length of a pause, or 2 ms when it fails;
// and by the limit of a poll that ends with "none", or 4 ms when it "fails". In every entry the
// first half of a short form is replaced with the second.
using short_forms = std::vector<std::pair<std::string, std::string>>;
void start_journal(const std::string &expected, bool detailed, short_forms forms = {});

// The entries since the latest call.
std::string take_journal();
void note(const std::string &entry);

// Ends recording: log calls do nothing, libc is the system's.
void stop_journal();

}  // namespace support
