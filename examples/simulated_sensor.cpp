// Linked into a program, this puts a faultless sensor behind the program's driver node, so that it
// runs without a device.
#include "simulator/libc_front.h"

namespace {

[[maybe_unused]] const bool attached = [] {
  simulator::attach({});
  return true;
}();

}  // namespace
