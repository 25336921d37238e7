#include "tools/sensor_at_work.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/observation.h"

namespace tools {

namespace {

volatile sig_atomic_t caught = 0;

void stop(int signal) {
  caught = signal;
  // For waits without a limit, which go on after a slice that fails.
  __atomic_store_n(&g_sensor_test_abort, 1, __ATOMIC_RELAXED);
}

}  // namespace

void catch_stop_signals() {
  simulator::end_waits_at(&caught);
  struct sigaction action {};
  action.sa_handler = stop;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

int stop_signal() { return caught; }

std::string describe_stop(bool interrupt_armed) {
  return std::string("stopped by ") + (caught == SIGTERM ? "SIGTERM" : "SIGINT") +
         "; the interrupt is " + (interrupt_armed ? "still armed" : "disarmed");
}

int why_node_does_not_open() {
  struct stat found {};
  if (stat(ORVA_FP_DRIVER_NODE, &found) != 0) return errno;
  const int handle = open(ORVA_FP_DRIVER_NODE, O_RDWR);
  return handle == -1 ? errno : close(handle);
}

std::string describe_node_error(int error) {
  return std::string(ORVA_FP_DRIVER_NODE ": ") + strerror(error);
}

}  // namespace tools
