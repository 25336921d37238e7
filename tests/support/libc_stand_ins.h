// Stand-ins for the libc calls that the sensor test makes besides those on the driver node. They
// note what was asked for, and fail or answer as a test says; otherwise they forward.
#pragma once

#include <cstdio>
#include <ctime>
#include <functional>
#include <optional>
#include <poll.h>
#include <string>

namespace support {

struct libc_script {
  // Called with "usleep N", "remove PATH" and "fopen PATH MODE" as they happen; with an error
  // number for an answer, usleep and fopen fail with it. While it is set usleep returns at once.
  std::function<std::optional<int>(const std::string &)> note;
  std::optional<time_t> now;  // what time returns
  bool gmtime_fails = false;
  bool asctime_fails = false;
  FILE *(*opened)() = nullptr;                   // makes the stream that fopen hands out
  std::optional<timespec> monotonic;             // what clock_gettime returns for CLOCK_MONOTONIC
  int (*poll)(pollfd *, nfds_t, int) = nullptr;  // answers in poll's place
};

// The script in force; assign to it to change it.
libc_script &libc();

// Blocks that malloc handed out to the calling thread so far. Always 0 where a sanitizer owns
// malloc.
size_t mallocs_on_this_thread();

}  // namespace support
