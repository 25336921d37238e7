#include "support/libc_stand_ins.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVA_SANITIZER_OWNS_MALLOC
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVA_SANITIZER_OWNS_MALLOC
#endif
#endif

namespace support {

namespace {

thread_local size_t malloc_count = 0;

// What the note answers. A note is only put together when there is somebody to take it.
template <typename... Parts>
std::optional<int> note(const Parts &...parts) {
  if (!libc().note) return std::nullopt;
  std::string what;
  (what.append(parts), ...);
  return libc().note(what);
}

int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace

libc_script &libc() {
  static libc_script script;
  return script;
}

size_t mallocs_on_this_thread() { return malloc_count; }

}  // namespace support

extern "C" int usleep(useconds_t us) {
  if (support::libc().note) {
    const auto error = support::note("usleep ", std::to_string(us));
    return error.has_value() ? support::fail(*error) : 0;
  }
  const timespec pause = {us / 1000000, static_cast<long>(us % 1000000) * 1000};
  return nanosleep(&pause, nullptr);
}

extern "C" int poll(pollfd *entries, nfds_t count, int limit_ms) {
  if (support::libc().poll != nullptr) return support::libc().poll(entries, count, limit_ms);
  const timespec limit = {limit_ms / 1000, static_cast<long>(limit_ms % 1000) * 1000000};
  return ppoll(entries, count, limit_ms < 0 ? nullptr : &limit, nullptr);
}

extern "C" int remove(const char *path) {
  support::note("remove ", path);
  if (unlink(path) == 0) return 0;
  return errno == EISDIR ? rmdir(path) : -1;
}

extern "C" FILE *fopen(const char *path, const char *mode) {
  if (const auto error = support::note("fopen ", path, " ", mode)) {
    support::fail(*error);
    return nullptr;
  }
  return support::libc().opened != nullptr ? support::libc().opened() : fopen64(path, mode);
}

extern "C" time_t time(time_t *place) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const time_t seconds = support::libc().now.value_or(now.tv_sec);
  if (place != nullptr) *place = seconds;
  return seconds;
}

extern "C" tm *gmtime(const time_t *seconds) {
  static tm broken_down;
  return support::libc().gmtime_fails ? nullptr : gmtime_r(seconds, &broken_down);
}

extern "C" char *asctime(const tm *broken_down) {
  static char text[64];
  return support::libc().asctime_fails ? nullptr : asctime_r(broken_down, text);
}

extern "C" int clock_gettime(clockid_t clock, timespec *now) {
  if (clock == CLOCK_MONOTONIC && support::libc().monotonic.has_value()) {
    *now = *support::libc().monotonic;
    return 0;
  }
  return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
}

#ifndef ORVA_SANITIZER_OWNS_MALLOC
extern "C" void *__libc_malloc(size_t size);

extern "C" void *malloc(size_t size) {
  ++support::malloc_count;
  return __libc_malloc(size);
}
#endif
