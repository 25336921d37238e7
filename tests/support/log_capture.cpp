#include "support/log_capture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include <android/log.h>

namespace support {

namespace {

std::mutex guard;
std::vector<log_line> lines;

}  // namespace

std::vector<log_line> log_lines() {
  const std::lock_guard lock(guard);
  return lines;
}

void clear_log() {
  const std::lock_guard lock(guard);
  lines.clear();
}

}  // namespace support

extern "C" int __android_log_print(int prio, const char *tag, const char *fmt, ...) {
  char text[4096];
  va_list args;
  va_start(args, fmt);
  vsnprintf(text, sizeof text, fmt, args);
  va_end(args);

  const std::lock_guard lock(support::guard);
  support::lines.push_back({prio, tag, text});
  return 1;
}
