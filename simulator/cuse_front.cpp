// The driver of the simulated node: serves a genuine "/dev/ovfp0" from a sensor model through CUSE
// (character devices in user space). The program that started it controls it over a socket.
#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

#define FUSE_USE_VERSION 35
#include <cuse_lowlevel.h>
#include <fuse_lowlevel.h>

#include <orva_fp/device.h>

#include "api/driver_channel.h"
#include "simulator/driver_control.h"
#include "simulator/sensor_model.h"

namespace {

using namespace simulator;

// As spidev does, the driver refuses longer transfers.
constexpr uint32_t kLargestTransfer = 64 * 1024;

// Everything runs on one thread, the callbacks of the FUSE library included.
struct driver {
  sensor_model model;
  dev_t number = 0;   // of the node, 0 until the kernel has made it
  int timer = -1;     // runs until the interrupt comes
  uint32_t line = 0;  // poll events that the node shows
  fuse_pollhandle *waiting = nullptr;
  uint64_t generation = 1;  // counts the sensors; the file of an earlier one is stale
  bool opened = false;
};

driver self;

void set_line(uint32_t events) {
  self.line = events;
  if (events == 0 || self.waiting == nullptr) return;
  fuse_lowlevel_notify_poll(self.waiting);
  fuse_pollhandle_destroy(self.waiting);
  self.waiting = nullptr;
}

void set_timer(std::optional<uint32_t> delay_ms) {
  itimerspec when{};
  if (delay_ms.has_value()) {
    when.it_value.tv_sec = *delay_ms / 1000;
    when.it_value.tv_nsec = static_cast<long>(*delay_ms % 1000) * 1000000;
  }
  timerfd_settime(self.timer, 0, &when, nullptr);
}

void drive_line(const answer &given) {
  if (given.interrupt_line == answer::line::kUnchanged) return;
  set_timer(std::nullopt);
  set_line(0);
  if (given.interrupt_line == answer::line::kClear) return;
  switch (given.plan.what) {
    case interrupt_plan::kind::kNever:
    case interrupt_plan::kind::kWaitFails:  // not in a driver's power
      break;
    case interrupt_plan::kind::kInterrupt:
      if (given.plan.delay_ms == 0) {
        set_line(POLLIN);
      } else {
        set_timer(given.plan.delay_ms);
      }
      break;
    case interrupt_plan::kind::kErrorEvent:
      set_line(POLLERR);
      break;
  }
}

// The node's name leads to the device, to nothing where the sensor's node is missing.
void place_node() {
  struct stat found;
  const bool present = lstat(ORVA_FP_DRIVER_NODE, &found) == 0 && S_ISCHR(found.st_mode) &&
                       found.st_rdev == self.number;
  const bool wanted = self.model.config().node != node_state::kMissing;
  if (present == wanted) return;
  remove(ORVA_FP_DRIVER_NODE);
  if (wanted) mknod(ORVA_FP_DRIVER_NODE, S_IFCHR | 0600, self.number);
}

void on_init_done(void *) {
  struct stat node;
  if (stat(ORVA_FP_DRIVER_NODE, &node) == 0) self.number = node.st_rdev;
}

void on_open(fuse_req_t request, fuse_file_info *file) {
  if (self.model.config().node == node_state::kNotOpenable) {
    fuse_reply_err(request, self.model.config().node_error_or(EACCES));
  } else if (self.opened) {
    fuse_reply_err(request, EBUSY);
  } else {
    self.opened = true;
    file->fh = self.generation;
    fuse_reply_open(request, file);
  }
}

void on_release(fuse_req_t request, fuse_file_info *file) {
  if (file->fh == self.generation) self.opened = false;
  fuse_reply_err(request, 0);
}

void on_ioctl(fuse_req_t request, int number, void *, fuse_file_info *file, unsigned,
              const void *argument, size_t argument_size, size_t) {
  command c;
  if (static_cast<uint32_t>(number) != orva::kDriverRequest || file->fh != self.generation ||
      argument_size != c.record.size()) {
    fuse_reply_err(request, ENOTTY);
    return;
  }
  memcpy(c.record.data(), argument, argument_size);

  const bool has_buffer = c.tx_buf() != 0 || c.rx_buf() != 0;
  if (has_buffer && c.len() > kLargestTransfer) {
    fuse_reply_err(request, EMSGSIZE);
    return;
  }
  const pid_t caller = fuse_req_ctx(request)->pid;
  const auto at_caller = [](uint64_t address, size_t size) {
    return iovec{reinterpret_cast<void *>(address), size};
  };

  std::vector<uint8_t> sent(c.tx_buf() != 0 ? c.len() : 0);
  const iovec from = at_caller(c.tx_buf(), sent.size());
  const iovec to{sent.data(), sent.size()};
  if (process_vm_readv(caller, &to, 1, &from, 1, 0) != static_cast<ssize_t>(sent.size())) {
    fuse_reply_err(request, EFAULT);
    return;
  }

  answer given = self.model.handle(c.record, sent);
  const iovec received{given.received.data(), given.received.size()};
  const iovec place = at_caller(c.rx_buf(), given.received.size());
  if (given.error == 0 && process_vm_writev(caller, &received, 1, &place, 1, 0) !=
                              static_cast<ssize_t>(given.received.size())) {
    given.error = EFAULT;
  }
  if (given.error != 0) {
    fuse_reply_err(request, given.error);
    return;
  }
  drive_line(given);
  fuse_reply_ioctl(request, 5, nullptr, 0);  // any result but -1 is a success
}

void on_poll(fuse_req_t request, fuse_file_info *, fuse_pollhandle *waiting) {
  if (waiting != nullptr) {
    if (self.waiting != nullptr) fuse_pollhandle_destroy(self.waiting);
    self.waiting = waiting;
  }
  fuse_reply_poll(request, self.line);
}

void attach(sensor_config config) {
  self.model = sensor_model(std::move(config));
  ++self.generation;
  self.opened = false;
  set_timer(std::nullopt);
  set_line(0);
  place_node();
}

// Answers one question; false when the other end is gone.
bool serve_control() {
  static std::array<uint8_t, kControlMessageSize> question;
  const ssize_t size = recv(kControlHandle, question.data(), question.size(), 0);
  if (size <= 0) return false;

  message_reader asked({question.data(), static_cast<size_t>(size)});
  message_writer answered;
  switch (read_value<control>(asked)) {
    case control::kAttach:
      attach(read_value<sensor_config>(asked));
      break;
    case control::kCommands:
      write_value(answered, self.model.commands());
      break;
    case control::kSetLine:
      set_line(read_value<uint32_t>(asked));
      break;
  }
  // An empty answer would read as the end of the channel.
  if (answered.bytes.empty()) write_value(answered, true);
  return send(kControlHandle, answered.bytes.data(), answered.bytes.size(), 0) >= 0;
}

void serve(fuse_session *session) {
  fuse_buf buffer{};
  std::array<pollfd, 3> sources = {{{fuse_session_fd(session), POLLIN, 0},
                                    {self.timer, POLLIN, 0},
                                    {kControlHandle, POLLIN, 0}}};
  while (fuse_session_exited(session) == 0) {
    // Until there is a node, nothing is asked about it.
    if (poll(sources.data(), self.number != 0 ? 3 : 1, -1) < 0) break;
    if (sources[0].revents != 0) {
      const int size = fuse_session_receive_buf(session, &buffer);
      if (size == -EINTR) continue;
      if (size <= 0) break;
      fuse_session_process_buf(session, &buffer);
    }
    uint64_t expirations = 0;
    if (sources[1].revents != 0 && read(self.timer, &expirations, sizeof expirations) > 0) {
      set_line(POLLIN);
    }
    if (sources[2].revents != 0 && !serve_control()) break;
  }
  free(buffer.mem);
}

}  // namespace

int main(int, char *argv[]) {
  self.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  remove(ORVA_FP_DRIVER_NODE);  // left by a driver that died, it would lead nowhere

  cuse_lowlevel_ops operations{};
  operations.init_done = on_init_done;
  operations.open = on_open;
  operations.release = on_release;
  operations.ioctl = on_ioctl;
  operations.poll = on_poll;

  const char *name = "DEVNAME=ovfp0";
  cuse_info info{};
  info.dev_info_argc = 1;
  info.dev_info_argv = &name;

  char foreground[] = "-f";
  char *arguments[] = {argv[0], foreground, nullptr};
  int multithreaded = 0;
  fuse_session *session =
      cuse_lowlevel_setup(2, arguments, &info, &operations, &multithreaded, nullptr);
  if (session == nullptr) {
    fprintf(stderr, "ovfp_cuse_server: no character devices in user space here\n");
    return 1;
  }
  serve(session);
  cuse_lowlevel_teardown(session);
  return 0;
}
