// Common ground of the device and sensor-test tests: a fresh sensor, a fresh command record, and
// one journal of everything that the library does, in order.
#ifndef ORVA_TESTS_SENSOR_FIXTURE_H
#define ORVA_TESTS_SENSOR_FIXTURE_H

#include <cerrno>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <orva_fp/device.h>

#include "support/libc_stand_ins.h"
#include "support/log_capture.h"
#include "support/rig.h"
#include "support/temp_folder.h"

namespace support {

// Journal entries: "I: TEXT" and "E: TEXT" for a line of output_log, "E- TEXT" for one of the
// device layer, "> NAME LEN" for a command ("> NAME LEN fails" when the driver refuses it), and the
// notes of the libc stand-ins.
class sensor_fixture : public testing::Test {
 protected:
  void SetUp() override {
    // What the record carries over from earlier tests is written anew.
    attach_sensor({});
    ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
    static constexpr uint8_t kNoParams[3] = {};
    ASSERT_EQ(
        orva_call_driver(g_fp_device_handle, 0, nullptr, 0, nullptr, kNoParams, 12500000), FP_OK);
    close_driver();
    attach_sensor({});
    clear_log();
    journal.clear();

    observe_log([this](const log_line &line) {
      const bool ended = line.text.ends_with(" \n");
      const std::string text = ended ? line.text.substr(0, line.text.size() - 2) : line.text;
      journal.push_back((line.priority == 4 ? "I" : "E") + std::string(ended ? ": " : "- ") + text);
      if (line.tag != "(FPLOG)") journal.push_back("wrong tag " + line.tag);
      errno = ENOTTY;  // a log call may change it
    });
    observe_commands([this](const simulator::command &c) {
      journal.push_back("> " + simulator::opcode_name(c.opcode()) + " " + std::to_string(c.len()) +
                        (c.error != 0 ? " fails" : ""));
    });
    libc() = {};
    libc().note = [this](const std::string &what) { journal.push_back(what); };
  }

  void TearDown() override {
    EXPECT_THAT(sensor_problems(), testing::IsEmpty());
    libc() = {};
    observe_commands(nullptr);
    observe_log(nullptr);
    close_driver();
  }

  static void close_driver() {
    EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
    g_fp_device_handle = 0;
  }

  // An open driver on a sensor of the given behaviour, with an empty journal.
  void open_driver(const simulator::sensor_config &config) {
    attach_sensor(config);
    ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
    journal.clear();
  }

  std::vector<std::string> journal;
};

}  // namespace support

#endif
