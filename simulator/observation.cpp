#include "simulator/observation.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

#include "api/driver_channel.h"

namespace simulator {

namespace {

std::function<void(const command &)> command_observer;
std::function<void(const wait &)> wait_observer;

constexpr sig_atomic_t kNeverSet = 0;
const volatile sig_atomic_t *waits_end = &kNeverSet;

uint8_t *memory_at(uint64_t address) {
  return reinterpret_cast<uint8_t *>(static_cast<uintptr_t>(address));
}

}  // namespace

void observe(std::function<void(const command &)> commands,
             std::function<void(const wait &)> waits) {
  command_observer = std::move(commands);
  wait_observer = std::move(waits);
}

void end_waits_at(const volatile sig_atomic_t *flag) { waits_end = flag; }

void report(const command &c) {
  const int error = errno;
  if (command_observer) command_observer(c);
  errno = error;
}

void report_poll(const pollfd &entry, int limit_ms, int result) {
  if (!wait_observer) return;
  const int error = errno;
  wait w{.limit_ms = limit_ms, .events = result > 0 ? entry.revents : 0};
  if (result > 0) {
    const bool came = (entry.revents & POLLIN) != 0;
    w.outcome = came ? wait_outcome::kInterrupt : wait_outcome::kErrorEvent;
  } else if (result < 0) {
    w.outcome = wait_outcome::kFailed;
    w.error = error;
  }
  wait_observer(w);
  errno = error;
}

bool armed_after(const command &c, bool before) {
  if (c.error != 0) return before;
  return c.opcode() == orva::FP_IOC_INT_ENABLE ||
         (before && c.opcode() != orva::FP_IOC_INT_DISABLE);
}

command copy_command(const void *argument) {
  command c;
  memcpy(c.record.data(), argument, c.record.size());
  if (c.tx_buf() != 0) c.sent.assign(memory_at(c.tx_buf()), memory_at(c.tx_buf()) + c.len());
  return c;
}

int forward_ioctl(int handle, ioctl_request request, void *argument) {
  const bool seen = request == orva::kDriverRequest && command_observer;
  // The driver may write over what it is sent.
  command c = seen ? copy_command(argument) : command{};
  const int result = static_cast<int>(syscall(SYS_ioctl, handle, request, argument));
  if (!seen) return result;
  if (result == -1) {
    c.error = errno;
  } else if (c.rx_buf() != 0) {
    c.received.assign(memory_at(c.rx_buf()), memory_at(c.rx_buf()) + c.len());
  }
  report(c);
  return result;
}

int forward_poll(pollfd *entries, nfds_t count, int limit_ms) {
  timespec limit{.tv_sec = limit_ms / 1000, .tv_nsec = limit_ms % 1000 * 1000000L};
  // A signal after the look at the flag is held back until the wait has begun, which it then ends.
  sigset_t all, before;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, &before);
  int result = -1;
  if (*waits_end != 0) {
    errno = EINTR;
  } else {
    result = ppoll(entries, count, limit_ms < 0 ? nullptr : &limit, &before);
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  if (count == 1) report_poll(*entries, limit_ms, result);
  return result;
}

}  // namespace simulator
