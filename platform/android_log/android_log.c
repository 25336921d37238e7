// Stand-in for Android's log library: logcat's brief form on standard error.
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <android/log.h>

static char priority_letter(int prio) {
  static const char letters[] = "??VDIWEF";
  return prio >= 0 && prio < (int)sizeof letters - 1 ? letters[prio] : '?';
}

int __android_log_print(int prio, const char *tag, const char *fmt, ...) {
  char message[4096];
  va_list args;
  va_start(args, fmt);
  const int length = vsnprintf(message, sizeof message, fmt, args);
  va_end(args);
  if (length < 0) return -1;

  // The lines of one message stay together, whatever other threads log.
  flockfile(stderr);
  const char *line = message;
  do {
    const size_t line_length = strcspn(line, "\n");
    fprintf(stderr, "%c/%-8s(%5d): %.*s\n", priority_letter(prio), tag ? tag : "", (int)getpid(),
            (int)line_length, line);
    line += line_length;
    if (*line == '\n') ++line;
  } while (*line != '\0');
  funlockfile(stderr);
  return 1;
}
