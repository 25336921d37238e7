// Around a run or an operation on the sensor: signals that stop it, and a node that does not open.
#pragma once

#include <string>

namespace tools {

// From now on a first SIGINT or SIGTERM ends the wait that is going on, so that the interrupt is
// disarmed and all comes to an orderly end; a second one ends the program.
void catch_stop_signals();

// The signal that came, 0 for none.
int stop_signal();

// Which signal it was, and how it left the interrupt.
std::string describe_stop(bool interrupt_armed);

// After FP_ERR_NO_DEVICE: the system error number of looking for the node and opening it once more;
// 0 when that now works.
int why_node_does_not_open();

std::string describe_node_error(int error);

}  // namespace tools
