// What the counting program and the emulator's plugin agree on.
#pragma once

// A system call that does not exist. Its argument is a file descriptor, to which the plugin writes
// the number of instructions executed so far, as eight bytes.
enum { kReadInstructionCounter = 4242 };
