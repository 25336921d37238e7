#include "kernel/kernel_rig.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/driver_control.h"

namespace support {

namespace {

using simulator::control;

constexpr char kDriverProgram[] = "/ovfp_cuse_server";

pid_t driver = 0;
int channel = -1;

void check(bool holds, const char *what) {
  if (holds) return;
  perror(what);
  abort();
}

void start_driver() {
  int ends[2];
  check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
  const int buffer_size = 2 * static_cast<int>(simulator::kControlMessageSize);
  for (const int end : ends) {
    setsockopt(end, SOL_SOCKET, SO_SNDBUFFORCE, &buffer_size, sizeof buffer_size);
  }
  driver = fork();
  if (driver == 0) {
    dup2(ends[1], simulator::kControlHandle);
    execl(kDriverProgram, kDriverProgram, nullptr);
    _exit(127);
  }
  check(driver > 0, "fork");
  close(ends[1]);
  channel = ends[0];
}

template <typename Answer = bool, typename... Values>
Answer ask(control what, const Values &...values) {
  simulator::message_writer question;
  simulator::write_value(question, what);
  (simulator::write_value(question, values), ...);
  std::vector<uint8_t> bytes(simulator::kControlMessageSize);
  ssize_t size = send(channel, question.bytes.data(), question.bytes.size(), MSG_NOSIGNAL);
  if (size >= 0) size = recv(channel, bytes.data(), bytes.size(), 0);
  check(size > 0, "the driver does not answer");
  simulator::message_reader answer({bytes.data(), static_cast<size_t>(size)});
  return simulator::read_value<Answer>(answer);
}

}  // namespace

void attach_sensor(const simulator::sensor_config &config) {
  if (driver == 0) start_driver();
  ask(control::kAttach, config);
}

std::vector<simulator::command> received_commands() {
  return ask<std::vector<simulator::command>>(control::kCommands);
}

void show_events(int events) { ask(control::kSetLine, static_cast<uint32_t>(events)); }

void kill_driver() {
  check(kill(driver, SIGKILL) == 0 && waitpid(driver, nullptr, 0) == driver, "SIGKILL");
  driver = 0;
  close(channel);
}

}  // namespace support
