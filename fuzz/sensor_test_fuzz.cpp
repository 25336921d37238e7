// Sessions of orvaFpSensorTest drawn from the input, each compared with the model's prediction.
#include <fcntl.h>
#include <unistd.h>

#include "fuzz/expect.h"
#include "support/input.h"
#include "support/session_player.h"
#include "support/temp_folder.h"

namespace {

// The lowest descriptor that is not in use.
int next_descriptor() {
  const int handle = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(handle);
  return handle;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const support::temp_folder folder;
  support::input in(data, size);
  const support::session_plan session =
      support::make_session([&](uint32_t bound) { return in.below(bound); });
  const int before = next_descriptor();
  {
    support::session_player player(folder.path());
    const std::string difference = player.play(session);
    fuzz::expect(difference.empty(), "sensor test", difference.c_str());
  }
  fuzz::expect(next_descriptor() == before, "sensor test", "a descriptor is left open");
  return 0;
}
