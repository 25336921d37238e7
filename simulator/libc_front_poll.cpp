// poll beside the simulated node, for a program that looks on at waits or plans their failure.
#include "simulator/libc_front.h"

extern "C" int poll(pollfd *entries, nfds_t count, int limit_ms) {
  return simulator::poll_node(entries, count, limit_ms);
}
