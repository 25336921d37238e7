// What goes to the driver node and how it answers, for whoever looks on: each command and each
// wait, after it is over. A front reports them; forward_ioctl and forward_poll are the system's own
// calls with a report.
#pragma once

#include <csignal>
#include <functional>
#include <poll.h>

#include "simulator/sensor_model.h"

namespace simulator {

// The type that the C library gives to ioctl's request: a stand-in must declare it alike.
#ifdef __GLIBC__
using ioctl_request = unsigned long;
#else
using ioctl_request = int;
#endif

enum class wait_outcome : uint8_t { kInterrupt, kTimeout, kErrorEvent, kFailed };

// One wait for the interrupt.
struct wait {
  int32_t limit_ms = 0;  // negative for none
  wait_outcome outcome = wait_outcome::kTimeout;
  int32_t events = 0;  // poll events that the node showed
  int32_t error = 0;   // system error number of a wait that failed
};

// The one observer of each; null for none.
void observe(std::function<void(const command &)> commands,
             std::function<void(const wait &)> waits = nullptr);

// From the moment at which a signal's handler sets the flag, waits fail with EINTR: the one that is
// going on, and later ones as they begin.
void end_waits_at(const volatile sig_atomic_t *flag);

void report(const command &c);
void report_poll(const pollfd &entry, int limit_ms, int result);

// Whether the interrupt is armed after a command.
bool armed_after(const command &c, bool before);

// The record at an ioctl's argument and the bytes that it sends.
command copy_command(const void *argument);

int forward_ioctl(int handle, ioctl_request request, void *argument);
int forward_poll(pollfd *entries, nfds_t count, int limit_ms);

}  // namespace simulator
