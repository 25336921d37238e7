// What holds only in a process that has just loaded the library: one test, a program of its own.
#include <gtest/gtest.h>

#include <orva_fp/device.h>
#include <orva_fp/image.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"

namespace {

TEST(FirstLoad, GlobalsAndTheFirstCommand) {
  EXPECT_EQ(g_fp_device_handle, 0);
  EXPECT_EQ(g_sensor_test_abort, 0);
  EXPECT_EQ(g_img_alg_sd.width, 0);
  EXPECT_EQ(g_img_alg_sd.height, 0);

  simulator::attach({});
  ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
  ASSERT_EQ(simulator::sensor().commands().size(), 1u);
  // Addresses 0, len 1, speed_hz 12500000, then the constant fields, opcode and parameters.
  const simulator::record_bytes expected = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
      1, 0, 0, 0, 0x20, 0xBC, 0xBE, 0, 0, 0, 8, 1, 5, 0, 0, 0};
  EXPECT_EQ(simulator::sensor().commands()[0].record, expected);
  EXPECT_EQ(simulator::usage().stats, 1);
  EXPECT_EQ(simulator::usage().opens, 1);
  EXPECT_EQ(simulator::usage().flags, 2) << "O_RDWR and nothing else";
  EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
}

}  // namespace
