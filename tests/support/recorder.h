// For programs that compile the library's sources without its logging calls: records every log call
// as it is made, driver command and libc call in one journal, in order.
#ifndef ORVA_TESTS_RECORDER_H
#define ORVA_TESTS_RECORDER_H

#include <string>
#include <utility>
#include <vector>

namespace support {

// Entries, one a line:
//   "LEVEL:LINE TEXT"    a log call of the sensor test's file and entry point
//   "LEVEL:FILE FUNCTION:LINE TEXT"   of any other; FILE and FUNCTION only where they are others
//   "FUNCTION:LINE TEXT"              of the device layer
//   "reset 0"            a command with its len; detailed also "CLOCK PARAMETERS" and " buffers"
//   "poll 100 in", "usleep 15000", "remove PATH", "fopen PATH MODE"
// What a command, usleep or fopen fails with "!" at its end.
// "a | b" in a test's tables stands for two entries.
std::string lines(std::string entries);

// As snprintf.
std::string text(const char *format, ...);

// Starts a journal on a fresh sensor. What the expected entries say happens: "!" makes a call fail,
// and the last word of a poll ("in", "none", "error", "both", "fails") is its answer. Polls and
// pauses take no time, but the clock goes on: by all of a pause or of a poll that nothing comes in,
// by 2 ms when a signal cuts a pause short, by 4 ms when a poll fails. The first half of a short
// form shows as its second.
using short_forms = std::vector<std::pair<std::string, std::string>>;
void start_journal(const std::string &expected, bool detailed, short_forms forms = {});

// The entries since the latest call.
std::string take_journal();
void note(const std::string &entry);

// Ends recording: log calls do nothing, libc is the system's.
void stop_journal();

}  // namespace support

#endif
