// Logging calls: bounded formatting, then one entry in the Android system log.
#include "orva_fp/log.h"

#include <cstdarg>
#include <cstdio>

#include <android/log.h>

#include "platform/log_line.h"

namespace {

constexpr size_t kMessageSize = 1024;

void format_message(char (&message)[kMessageSize], const char *format, va_list args) {
  message[0] = '\0';
  vsnprintf(message, sizeof message, format, args);
}

}  // namespace

void output_log(uint32_t level, const char *tag, const char *, const char *, int32_t,
                const char *format, ...) {
  if (format == nullptr) return;
  if (level != orva::kLogInfo && level != orva::kLogError) return;

  char message[kMessageSize];
  va_list args;
  va_start(args, format);
  format_message(message, format, args);
  va_end(args);
  __android_log_print(static_cast<int>(level), tag, "%s \n", message);
}

void output_nw_orva_log(const char *, const char *, int32_t, const char *format, ...) {
  if (format == nullptr) return;

  char message[kMessageSize];
  va_list args;
  va_start(args, format);
  format_message(message, format, args);
  va_end(args);
  __android_log_print(static_cast<int>(orva::kLogError), orva::kLogTag, "%s", message);
}
