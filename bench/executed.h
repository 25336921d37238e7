// The reading side of the instruction counter, for programs under emulation.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "bench/instruction_counter.h"

namespace bench {

// All instructions so far. Ends the program when the emulator has no counter.
inline uint64_t executed() {
  static int pipe_ends[2] = {-1, -1};
  if (pipe_ends[0] < 0 && pipe2(pipe_ends, O_NONBLOCK) != 0) abort();
  syscall(kReadInstructionCounter, pipe_ends[1]);
  uint64_t count = 0;
  if (read(pipe_ends[0], &count, sizeof count) != sizeof count) {
    fputs("no instruction counter in the emulator\n", stderr);
    exit(1);
  }
  return count;
}

}  // namespace bench
