// What holds only in a process that has just loaded the library: one test, a program of its own.
#include <cstring>

#include <orva_fp/image.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "support/sensor_fixture.h"

namespace {

TEST(FirstLoad, GlobalsAndTheFirstCommand) {
  EXPECT_EQ(g_fp_device_handle, 0);
  EXPECT_EQ(g_sensor_test_abort, 0);
  EXPECT_EQ(g_img_alg_sd.width, 0);
  EXPECT_EQ(g_img_alg_sd.height, 0);

  simulator::attach({});
  ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
  ASSERT_EQ(simulator::sensor().commands().size(), 1u);
  const simulator::record_bytes expected = {
      0,    0,    0,    0, 0, 0, 0, 0,  // tx_buf
      0,    0,    0,    0, 0, 0, 0, 0,  // rx_buf
      1,    0,    0,    0,              // len
      0x20, 0xBC, 0xBE, 0,              // speed_hz, 12500000
      0,    0,    8,    1,              // delay_usecs, bits_per_word, cs_change
      5,    0,    0,    0};             // opcode, param
  EXPECT_EQ(simulator::sensor().commands()[0].record, expected);
  EXPECT_EQ(simulator::usage().stats, 1);
  EXPECT_EQ(simulator::usage().opens, 1);
  EXPECT_EQ(simulator::usage().flags, 2) << "O_RDWR and nothing else";
  EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
}

}  // namespace
