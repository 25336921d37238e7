// Runs of orvaFpSensorTest on replies, driver answers and poll results that are drawn from the
// input: its statuses, the sizes of its files, and that it leaves no descriptor open.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "fuzz/expect.h"
#include "simulator/libc_front.h"
#include "support/input.h"
#include "support/libc_stand_ins.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace {

support::input in(nullptr, 0);

// The lowest descriptor that is not in use.
int next_descriptor() {
  const int handle = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(handle);
  return handle;
}

int32_t answer(void *, uint32_t, const sensor_test_request *, uint32_t, sensor_test_reply *reply,
    uint32_t *reply_size) {
  static constexpr uint32_t kCodes[] = {0, 12, 21, 23, 24, 35, 37, 41};
  const uint8_t choice = in.byte();
  if (choice >= 250) return in.number();
  reply->result = choice < 200 ? kCodes[choice % std::size(kCodes)] : in.below(0xFFFFFFFF);
  reply->data_len = in.number();
  *reply_size = in.below(0xFFFFFFFF);
  const auto text = in.bytes(in.byte());
  for (size_t i = 0; i < text.size() * 8; ++i)
    reply->result_text[i] = static_cast<char>(text[i / 8]);
  return 0;
}

int answer_poll(pollfd *entry, nfds_t, int) {
  entry->revents = static_cast<short>(in.byte());
  errno = EINTR;
  return in.number();
}

}  // namespace

// Nothing is allocated by the library, and looking for leaks takes most of the time.
extern "C" const char *__asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const support::temp_folder folder;
  const int before = next_descriptor();
  in = support::input(data, size);
  support::libc().note = [](const std::string &) {
    return in.byte() == 255 ? std::optional(EIO) : std::nullopt;
  };
  support::libc().poll = answer_poll;
  simulator::sensor_config sensor;
  for (uint32_t count = in.below(6); count > 0; --count)
    sensor.faults.push_back({in.byte(), in.below(4)});
  simulator::attach(sensor);
  for (uint32_t runs = 1 + in.below(3); runs > 0; --runs) {
    const int32_t status = orvaFpSensorTest(999 + static_cast<int32_t>(in.below(8)), in.number(), 0,
        0, answer, nullptr, 0, 0, folder.path().c_str());
    fuzz::expect(status == 0 || status == 35 || status == 209, "sensor test", "unknown status");
    for (const auto &file : std::filesystem::directory_iterator(folder.path())) {
      const size_t limit = file.path().extension() == ".bin" ? SENSOR_TEST_DATA_SIZE : 1023;
      fuzz::expect(file.file_size() <= limit, "sensor test", "file too large");
    }
  }
  fuzz::expect(simulator::sensor().problems().empty(), "sensor test", "odd record");
  orvaFpDeviceClose(g_fp_device_handle);
  g_fp_device_handle = 0;
  support::libc() = {};
  support::clear_log();  // or the lines of all inputs would fill the memory
  fuzz::expect(next_descriptor() == before, "sensor test", "a descriptor is left open");
  return 0;
}
