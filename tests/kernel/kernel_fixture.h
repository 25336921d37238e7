// Common ground of the tests that only a kernel can serve.
#ifndef ORVA_TESTS_KERNEL_FIXTURE_H
#define ORVA_TESTS_KERNEL_FIXTURE_H

#include <chrono>
#include <functional>
#include <thread>

#include <orva_fp/sensor_test.h>

#include "kernel/kernel_rig.h"
#include "support/sensor_fixture.h"

namespace support {

inline int64_t milliseconds_of(const std::function<void()> &what) {
  const auto start = std::chrono::steady_clock::now();
  what();
  return (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
}

// Runs something on another thread after a while; the end of its life waits for that.
class later {
 public:
  later(std::chrono::milliseconds delay, std::function<void()> what)
      : thread_([delay, what = std::move(what)] {
          std::this_thread::sleep_for(delay);
          what();
        }) {}
  ~later() { thread_.join(); }

 private:
  std::thread thread_;
};

class kernel_fixture : public sensor_fixture {
 protected:
  void TearDown() override {
    __atomic_store_n(&g_sensor_test_abort, 0, __ATOMIC_RELEASE);
    sensor_fixture::TearDown();
  }
};

}  // namespace support

#endif
