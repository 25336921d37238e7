#include "simulator/libc_front.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <set>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

#include <orva_fp/device.h>

#include "api/driver_channel.h"

namespace simulator {

namespace {

struct front {
  explicit front(sensor_config config) : model(std::move(config)) {}
  sensor_model model;
  node_use use;
  std::set<int> handles;
  int wait_error = 0;
};

std::unique_ptr<front> attached;

bool is_node(const char *path) {
  return attached != nullptr && path != nullptr && strcmp(path, ORVA_FP_DRIVER_NODE) == 0;
}

int fail(int error) {
  errno = error;
  return -1;
}

int stat_node(struct stat *status) {
  ++attached->use.stats;
  const sensor_config &config = attached->model.config();
  if (config.node == node_state::kMissing) return fail(config.node_error_or(ENOENT));
  *status = {};
  status->st_mode = S_IFCHR | 0660;
  return 0;
}

int open_node(int flags) {
  ++attached->use.opens;
  attached->use.flags = flags;
  const sensor_config &config = attached->model.config();
  switch (config.node) {
    case node_state::kMissing:
      return fail(config.node_error_or(ENOENT));
    case node_state::kNotOpenable:
      return fail(config.node_error_or(EACCES));
    case node_state::kPresent:
      break;
  }
  // A timer becomes readable when it expires and unreadable when it is set anew.
  const int handle = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
  if (handle >= 0) attached->handles.insert(handle);
  return handle;
}

void set_timer(int handle, bool armed, uint32_t delay_ms) {
  itimerspec when{};
  if (armed) {
    when.it_value.tv_sec = delay_ms / 1000;
    when.it_value.tv_nsec = static_cast<long>(delay_ms % 1000) * 1000000;
    if (delay_ms == 0) when.it_value.tv_nsec = 1;  // 0 would disarm it
  }
  timerfd_settime(handle, 0, &when, nullptr);
}

// Puts another open file behind the node's descriptor.
void replace(int handle, int file) {
  dup3(file, handle, O_CLOEXEC);
  close(file);
}

// Polling the write end of a pipe without a reader reports an error and no data.
void show_error(int handle) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  close(ends[0]);
  replace(handle, ends[1]);
}

void show_timer(int handle, bool armed, uint32_t delay_ms) {
  replace(handle, timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  set_timer(handle, armed, delay_ms);
}

void drive_line(int handle, const answer &given) {
  if (given.interrupt_line != answer::line::kUnchanged) attached->wait_error = 0;
  switch (given.interrupt_line) {
    case answer::line::kUnchanged:
      break;
    case answer::line::kClear:
      show_timer(handle, false, 0);
      break;
    case answer::line::kSchedule:
      switch (given.plan.what) {
        case interrupt_plan::kind::kNever:
          show_timer(handle, false, 0);
          break;
        case interrupt_plan::kind::kInterrupt:
          show_timer(handle, true, given.plan.delay_ms);
          break;
        case interrupt_plan::kind::kErrorEvent:
          show_error(handle);
          break;
        case interrupt_plan::kind::kWaitFails:
          show_timer(handle, false, 0);
          attached->wait_error = given.plan.error;
          break;
      }
      break;
  }
}

int send_to_node(int handle, const void *argument) {
  if (fcntl(handle, F_GETFD) == -1) return fail(EBADF);

  const command c = copy_command(argument);
  const answer given = attached->model.handle(c.record, c.sent);
  report(attached->model.commands().back());
  if (given.error != 0) return fail(given.error);
  if (!given.received.empty()) {
    memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(c.rx_buf())), given.received.data(),
           given.received.size());
  }
  drive_line(handle, given);
  return 5;  // any result but -1 is a success
}

}  // namespace

void attach(sensor_config config) { attached = std::make_unique<front>(std::move(config)); }

void detach() { attached.reset(); }

const sensor_model &sensor() { return attached->model; }

node_use usage() { return attached->use; }

int poll_node(pollfd *entries, nfds_t count, int limit_ms) {
  const bool fails = attached != nullptr && attached->wait_error != 0 && count == 1 &&
                     attached->handles.count(entries->fd) != 0;
  if (!fails) return forward_poll(entries, count, limit_ms);
  errno = std::exchange(attached->wait_error, 0);
  report_poll(*entries, limit_ms, -1);
  return -1;
}

}  // namespace simulator

// The stand-ins. They forward with system calls of other names, so that nothing has to be looked
// up before main.

extern "C" int stat(const char *path, struct stat *status) {
  if (simulator::is_node(path)) return simulator::stat_node(status);
  return fstatat(AT_FDCWD, path, status, 0);
}

extern "C" int open(const char *path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
    va_list args;
    va_start(args, flags);
    mode = va_arg(args, mode_t);
    va_end(args);
  }
  if (simulator::is_node(path)) return simulator::open_node(flags);
  return openat(AT_FDCWD, path, flags, mode);
}

// What fortified headers call for open without a mode.
extern "C" int __open_2(const char *path, int flags) { return open(path, flags); }

extern "C" int ioctl(int handle, simulator::ioctl_request request, ...) {
  va_list args;
  va_start(args, request);
  void *argument = va_arg(args, void *);
  va_end(args);
  if (simulator::attached != nullptr && request == orva::kDriverRequest &&
      simulator::attached->handles.count(handle) != 0) {
    return simulator::send_to_node(handle, argument);
  }
  return simulator::forward_ioctl(handle, request, argument);
}
