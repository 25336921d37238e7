// A program that has functions of its own under names of the library's: neither disturbs the other.
#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

#include <orva_fp/image.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "simulator/secure_side.h"
#include "support/temp_folder.h"

extern "C" int host_calls;  // of sort, file_write and is_water, the program's own
extern "C" int host_calls_its_own(void);

namespace {

class HostNames : public testing::Test {
 protected:
  void SetUp() override { host_calls = 0; }
};

TEST_F(HostNames, ProgramCallsItsOwn) {
  EXPECT_EQ(host_calls_its_own(), 1);
  EXPECT_EQ(host_calls, 3);
}

TEST_F(HostNames, SensorTestSavesThroughTheLibrarysFileWrite) {
  simulator::attach({});
  const support::temp_folder folder;
  simulator::secure_side secure_side({{.text = "passed", .data = {1, 2, 3}}});
  EXPECT_EQ(orvaFpSensorTest(ORVA_SCRIPT_NORMAL_SCAN, 0, 0, 0, simulator::secure_side::request,
                &secure_side, 0, 0, folder.path().c_str()),
      FP_OK);
  EXPECT_EQ(folder.contents("fp_data.bin"), "\1\2\3");
  EXPECT_NE(folder.contents("orva_sensor_test_NS.log").find("passed"), std::string::npos);
  EXPECT_EQ(host_calls, 0);
}

TEST_F(HostNames, SpikeIsRemovedByItsNeighboursMedian) {
  std::vector<uint8_t> image = {10, 20, 30, 40, 255, 60, 70, 80, 90};
  EXPECT_EQ(remove_noise_use_median_filter(image.data(), 3, 3, 5), 1);
  EXPECT_EQ(image[4], 60);
  EXPECT_EQ(host_calls, 0);
}

// What the program hides from itself is still there for who asks the library.
TEST_F(HostNames, LibrarysSortIsFoundByHandle) {
  void *library = dlopen("liborva_fp_normal_sensor_test.so", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto sort_values = reinterpret_cast<void (*)(uint8_t *, int32_t)>(dlsym(library, "sort"));
  ASSERT_NE(sort_values, nullptr);
  std::vector<uint8_t> values(100);
  std::iota(values.rbegin(), values.rend(), uint8_t{0});
  sort_values(values.data(), 100);
  EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
  dlclose(library);
  EXPECT_EQ(host_calls, 0);
}

}  // namespace
