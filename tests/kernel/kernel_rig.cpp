// The rig on a driver that serves the node through the kernel, in a process of its own.
#include "kernel/kernel_rig.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "api/driver_channel.h"
#include "simulator/driver_control.h"

namespace support {

namespace {

constexpr char kDriverProgram[] = "/ovfp_cuse_server";

using simulator::control;

pid_t driver = 0;
int channel = -1;
std::function<void(const simulator::command &)> command_observer;

[[noreturn]] void give_up(const char *what) {
  perror(what);
  abort();
}

void start_driver() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) give_up("socketpair");
  const int buffer_size = 2 * static_cast<int>(simulator::kControlMessageSize);
  for (const int end : ends) {
    setsockopt(end, SOL_SOCKET, SO_SNDBUFFORCE, &buffer_size, sizeof buffer_size);
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], simulator::kControlHandle);
  char *arguments[] = {const_cast<char *>(kDriverProgram), nullptr};
  errno = posix_spawn(&driver, kDriverProgram, &actions, nullptr, arguments, environ);
  if (errno != 0) give_up(kDriverProgram);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  channel = ends[0];
}

std::vector<uint8_t> ask(const simulator::message_writer &question) {
  std::vector<uint8_t> answer(simulator::kControlMessageSize);
  ssize_t size = send(channel, question.bytes.data(), question.bytes.size(), MSG_NOSIGNAL);
  if (size >= 0) size = recv(channel, answer.data(), answer.size(), 0);
  if (size <= 0) give_up("the driver does not answer");
  answer.resize(static_cast<size_t>(size));
  return answer;
}

template <typename T>
T ask_for(control what) {
  simulator::message_writer question;
  simulator::write_value(question, what);
  const std::vector<uint8_t> bytes = ask(question);
  simulator::message_reader answer(bytes);
  return simulator::read_value<T>(answer);
}

template <typename T>
void tell(control what, const T &value) {
  simulator::message_writer question;
  simulator::write_value(question, what);
  simulator::write_value(question, value);
  ask(question);
}

// What ioctl was given, without the bytes at its addresses.
simulator::command sent_command(const void *argument, int error) {
  simulator::command c;
  memcpy(c.record.data(), argument, c.record.size());
  c.error = error;
  return c;
}

}  // namespace

void attach_sensor(const simulator::sensor_config &config) {
  if (driver == 0) start_driver();
  tell(control::kAttach, config);
}

std::vector<simulator::command> sensor_commands() {
  return ask_for<std::vector<simulator::command>>(control::kCommands);
}

simulator::sensor_state sensor_state() { return ask_for<simulator::sensor_state>(control::kState); }

std::vector<std::string> sensor_problems() {
  return ask_for<std::vector<std::string>>(control::kProblems);
}

void observe_commands(std::function<void(const simulator::command &)> observer) {
  command_observer = std::move(observer);
}

void show_events(uint32_t events) { tell(control::kSetLine, events); }

void freeze_driver() {
  if (kill(driver, SIGSTOP) != 0) give_up("SIGSTOP");
}

void kill_driver() {
  if (kill(driver, SIGKILL) != 0 || waitpid(driver, nullptr, 0) != driver) give_up("SIGKILL");
  driver = 0;
  close(channel);
}

}  // namespace support

// Records the library's commands on their way to the kernel.
extern "C" int ioctl(int handle, unsigned long request, ...) {
  va_list args;
  va_start(args, request);
  const void *argument = va_arg(args, const void *);
  va_end(args);
  const int result = static_cast<int>(syscall(SYS_ioctl, handle, request, argument));
  const int error = result == -1 ? errno : 0;
  const bool arrived = error != EBADF && error != ENOTTY;
  if (request == orva::kDriverRequest && arrived && support::command_observer) {
    support::command_observer(support::sent_command(argument, error));
    errno = error;
  }
  return result;
}
