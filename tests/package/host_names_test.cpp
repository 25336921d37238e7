// A program that has functions of its own under names of the library's: neither disturbs the other.
#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "simulator/secure_side.h"
#include "support/temp_folder.h"

extern "C" int host_calls;  // of sort and file_write, the program's own
extern "C" int host_calls_its_own(void);

namespace {

TEST(HostNames, ProgramCallsItsOwn) {
  EXPECT_EQ(host_calls_its_own(), 1);
  EXPECT_EQ(host_calls, 2);
}

TEST(HostNames, SensorTestSavesThroughTheLibrarysFileWrite) {
  simulator::attach({});
  host_calls = 0;
  const support::temp_folder folder;
  simulator::secure_side secure_side({{.text = "passed", .data = {1, 2, 3}}});
  EXPECT_EQ(orvaFpSensorTest(ORVA_SCRIPT_NORMAL_SCAN, 0, 0, 0, simulator::secure_side::request,
                &secure_side, 0, 0, folder.path().c_str()),
      FP_OK);
  EXPECT_EQ(folder.contents("fp_data.bin"), "\1\2\3");
  EXPECT_NE(folder.contents("orva_sensor_test_NS.log").find("passed"), std::string::npos);
  EXPECT_EQ(host_calls, 0);
}

// What the program hides from itself is still there for who asks the library.
TEST(HostNames, LibrarysSortIsFoundByHandle) {
  void *library = dlopen("liborva_fp_normal_sensor_test.so", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto sort_values = reinterpret_cast<void (*)(uint8_t *, int32_t)>(dlsym(library, "sort"));
  ASSERT_NE(sort_values, nullptr);
  std::vector<uint8_t> values(100);
  std::iota(values.rbegin(), values.rend(), uint8_t{0});
  sort_values(values.data(), 100);
  EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
  dlclose(library);
}

}  // namespace
