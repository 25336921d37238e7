// Plays sessions on the library, over the simulator and with stand-ins for all that takes time, and
// compares every run with the model's prediction.
#ifndef ORVA_TESTS_SESSION_PLAYER_H
#define ORVA_TESTS_SESSION_PLAYER_H

#include "support/run_model.h"
#include "support/session_plan.h"

namespace support {

// Only one at a time: it takes the libc stand-ins, the log and the sensor for itself.
class session_player {
 public:
  // The folder for the result files must exist, and whatever result files it holds go away.
  explicit session_player(std::string folder);
  session_player(const session_player &) = delete;
  session_player &operator=(const session_player &) = delete;
  ~session_player();

  // Plays a session and closes the driver. Returns what went otherwise than predicted, empty when
  // nothing did. Counts the runs' statuses where a place is given.
  std::string play(const session_plan &session, std::map<int32_t, int> *statuses = nullptr);

 private:
  run_outcome run(const run_plan &plan);

  std::string folder_;
  run_model model_;
};

}  // namespace support

#endif
