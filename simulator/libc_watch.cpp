// ioctl and poll of a program that looks on at a real device: the system's own calls, reported.
#include <cstdarg>
#include <sys/ioctl.h>

#include "simulator/observation.h"

extern "C" int ioctl(int handle, simulator::ioctl_request request, ...) {
  va_list args;
  va_start(args, request);
  void *argument = va_arg(args, void *);
  va_end(args);
  return simulator::forward_ioctl(handle, request, argument);
}

extern "C" int poll(pollfd *entries, nfds_t count, int limit_ms) {
  return simulator::forward_poll(entries, count, limit_ms);
}
