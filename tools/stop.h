// SIGINT and SIGTERM while the sensor is at work. The first ends the wait that is going on, so that
// the interrupt is disarmed and the run comes to an orderly end; a second one ends the program.
#ifndef ORVA_TOOLS_STOP_H
#define ORVA_TOOLS_STOP_H

#include <string>

namespace tools {

void catch_stop_signals();

// The signal that came, 0 for none.
int stop_signal();

// Which signal it was, and how it left the interrupt.
std::string describe_stop(bool interrupt_armed);

}  // namespace tools

#endif
