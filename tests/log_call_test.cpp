// What the library passes to its log calls: level, tag, file, function, line and text of every
// line, also of those that never reach the system log.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <orva_fp/device.h>
#include <orva_fp/image.h>
#include <orva_fp/log.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "simulator/secure_side.h"
#include "support/libc_stand_ins.h"
#include "support/temp_folder.h"

namespace {

using testing::ElementsAre;

// "LEVEL FILE FUNCTION:LINE TEXT"; the device layer's call has no level and shows 0.
std::vector<std::string> calls;

void record(uint32_t level, const char *file, const char *function, int32_t line,
            const char *format, va_list args) {
  char text[2048];
  vsnprintf(text, sizeof text, format, args);
  calls.push_back(std::to_string(level) + " " + file + " " + function + ":" + std::to_string(line) +
                  " " + text);
}

}  // namespace

void output_log(uint32_t level, const char *tag, const char *file, const char *function,
                int32_t line, const char *format, ...) {
  EXPECT_STREQ(tag, "(FPLOG)");
  va_list args;
  va_start(args, format);
  record(level, file, function, line, format, args);
  va_end(args);
}

void output_nw_orva_log(const char *file, const char *function, int32_t line, const char *format,
                        ...) {
  va_list args;
  va_start(args, format);
  record(0, file, function, line, format, args);
  va_end(args);
}

namespace {

using simulator::exchange_step;
using simulator::interrupt_plan;
using simulator::secure_side;

constexpr char kEntry[] = " orva_fp_normal_sensor_test orvaFpSensorTest:";

class LogCalls : public testing::Test {
 protected:
  void SetUp() override {
    calls.clear();
    support::libc().note = [](const std::string &) {};  // no pauses
  }
  void TearDown() override {
    support::libc() = {};
    EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
    g_fp_device_handle = 0;
  }

  // Runs a script with every driver command of the given codes failing, and returns the calls of
  // the entry point as "LEVEL:LINE TEXT" without those of set-up and end.
  std::vector<std::string> entry_calls(int32_t script_id, std::vector<exchange_step> steps,
                                       std::vector<uint8_t> failing = {},
                                       std::vector<interrupt_plan> interrupts = {}) {
    simulator::sensor_config config{.interrupts = std::move(interrupts)};
    for (const uint8_t opcode : failing) config.faults.push_back({opcode, 0});
    simulator::attach(config);
    orvaFpDeviceOpen(&g_fp_device_handle);  // the driver is open, whether powered on or not
    calls.clear();
    secure_side secure(std::move(steps));
    orvaFpSensorTest(script_id, 0, 0, 0, secure_side::request, &secure, 0, 0,
                     folder.path().c_str());
    std::vector<std::string> body;
    for (const std::string &call : calls) {
      const size_t at = call.find(kEntry);
      if (at == std::string::npos) continue;
      body.push_back(call.substr(0, at) + ":" + call.substr(at + strlen(kEntry)));
    }
    body.erase(body.begin(), body.begin() + 4);
    body.pop_back();
    EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
    g_fp_device_handle = 0;
    return body;
  }

  support::temp_folder folder;
};

TEST_F(LogCalls, SetupAndEnd) {
  simulator::attach({});
  const std::string path = folder.path();
  for (const auto &[script_id, family, line] :
       {std::tuple{1003, "NS", "172"}, std::tuple{1004, "SNR", "179"}}) {
    calls.clear();
    secure_side secure(std::vector<exchange_step>{{.result = 37}});
    orvaFpSensorTest(script_id, 5, 0, 0, secure_side::request, &secure, 0, 0, path.c_str());
    std::erase_if(calls, [](const std::string &call) { return call[0] == '0'; });
    ASSERT_GE(calls.size(), 5u);
    const std::string entry = std::string("4") + kEntry;
    EXPECT_EQ(calls[0], entry + line + " remove " + path + "/orva_sensor_test_" + family + ".log");
    EXPECT_EQ(calls[1], entry + "185 remove " + path + "/fp_data.bin");
    EXPECT_EQ(calls[2], entry + "195 sensor_test version X = V2.0.1, script_id = " +
                            std::to_string(script_id) + ", options = 5 pDataLogPath = " + path);
    EXPECT_EQ(calls[3], entry + "197 sensor_test build = 298, patch = 600");
    EXPECT_EQ(calls.back(), entry + "655 orvaFpSensorTest() ret = 0");
  }
  calls.clear();
  orvaFpSensorTest(1000, 0, 0, 0, nullptr, nullptr, 0, 0, nullptr);
  EXPECT_EQ(calls[0], std::string("6") + kEntry + "162 sensor_test pDataLogPath == NULL");
}

TEST_F(LogCalls, NormalScan) {
  EXPECT_THAT(
      entry_calls(1000,
                  {{.result = 23}, {.result = 24}, {.result = 21}, {.result = 41}, {.result = 37}},
                  {4, 5, 6}),
      ElementsAre("4:255 sensor_test normal scan = 0 23 0",
                  "6:270 sensor_test ORVA_READ_SENSOR_INFO_START fail 209",
                  "4:255 sensor_test normal scan = 0 24 0",
                  "6:278 sensor_test ORVA_READ_SENSOR_INFO_END fail 209",
                  "6:284 sensor_test ORVA_RESET fail 2 209",
                  "4:255 sensor_test normal scan = 0 21 0", "6:293 sensor_test ORVA_RESET fail 209",
                  "4:255 sensor_test normal scan = 0 41 0",
                  "6:302 sensor_test ORVA_POWER_OFF_ON off fail 209",
                  "6:306 sensor_test ORVA_POWER_OFF_ON on fail 209",
                  "4:255 sensor_test normal scan = 0 37 0"));
}

TEST_F(LogCalls, Snr1EndOfStep) {
  EXPECT_THAT(
      entry_calls(1001,
                  {{.result = 12}, {.result = 23}, {.result = 24}, {.result = 41}, {.result = 37}},
                  {4, 6}, {interrupt_plan::after(0)}),
      ElementsAre(
          "4:394 orvaFpSensorTest pfnCustomRequest SNR1 0", "3:475 pfnCustomRequest SNR1 end 0 12",
          "4:394 orvaFpSensorTest pfnCustomRequest SNR1 0",
          "6:426 sensor_test snr_1 ORVA_READ_SENSOR_INFO_START fail 209",
          "3:475 pfnCustomRequest SNR1 end 209 23",
          "4:394 orvaFpSensorTest pfnCustomRequest SNR1 0",
          "6:440 sensor_test ORVA_RESET fail 2 209", "3:475 pfnCustomRequest SNR1 end 209 24",
          "4:394 orvaFpSensorTest pfnCustomRequest SNR1 0", "3:475 pfnCustomRequest SNR1 end 0 41",
          "4:394 orvaFpSensorTest pfnCustomRequest SNR1 0", "3:475 pfnCustomRequest SNR1 end 0 0"));
  EXPECT_THAT(entry_calls(1001, {{.result = 12}}, {164}),
              ElementsAre("4:394 orvaFpSensorTest pfnCustomRequest SNR1 0",
                          "6:416 sensor_test snr_1 ORVA_WAIT_INTERRUPT fail 209"));
  EXPECT_THAT(entry_calls(1004, {{.failure = 3}}),
              ElementsAre("4:394 orvaFpSensorTest pfnCustomRequest SNR1 3"));
}

TEST_F(LogCalls, Snr2) {
  EXPECT_THAT(entry_calls(1002, {{.result = 23}, {.result = 24}, {.result = 12}}, {6, 164}),
              ElementsAre("4:495 orvaFpSensorTest pfnCustomRequest SNR2 ret = 0, result = 23",
                          "6:512 sensor_test snr_2 ORVA_READ_SENSOR_INFO_START fail 209",
                          "4:495 orvaFpSensorTest pfnCustomRequest SNR2 ret = 0, result = 24",
                          "6:520 sensor_test snr_2 ORVA_READ_SENSOR_INFO_END fail 209",
                          "4:495 orvaFpSensorTest pfnCustomRequest SNR2 ret = 0, result = 12",
                          "6:534 sensor_test snr_2 ORVA_WAIT_INTERRUPT fail 209"));
}

TEST_F(LogCalls, Saves) {
  const std::vector<exchange_step> steps = {{.result = 0, .text = "t", .data = {1}}};
  const std::string path = folder.path();
  support::libc().opened = []() -> FILE * {
    errno = EROFS;
    return nullptr;
  };
  EXPECT_THAT(entry_calls(1000, steps),
              ElementsAre("4:255 sensor_test normal scan = 0 0 1", "6:315 Save bin fail, errno=30",
                          "4:317 Save bin=" + path + "/fp_data.bin",
                          "4:369 save result=" + path + "/orva_sensor_test_NS.log",
                          "6:371 Save NS result log fail, errno=30"));
  EXPECT_THAT(entry_calls(1005, steps),
              ElementsAre("4:495 orvaFpSensorTest pfnCustomRequest SNR2 ret = 0, result = 0",
                          "6:544 Save bin fail, errno=30",
                          "4:636 save result=" + path + "/orva_sensor_test_SNR.log",
                          "6:638 Save SNR result log fail, errno=30"));
}

TEST_F(LogCalls, InterruptWait) {
  simulator::attach({.interrupts = {interrupt_plan::after(0), interrupt_plan::never(),
                                    interrupt_plan::after(0), interrupt_plan::never()}});
  ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
  calls.clear();
  wait_interrupt_in_sensor_test(1000);
  wait_interrupt_in_sensor_test(1);
  wait_interrupt_in_sensor_test(0xFFFFFFFF);
  g_sensor_test_abort = 1;
  wait_interrupt_in_sensor_test(0xFFFFFFFF);
  g_sensor_test_abort = 0;
  const std::string arm = "0 orva_fp_normal orvaFpDeviceEnableInt:228 DeviceEnableInt 1 4 10 1";
  const std::string disarm = "0 orva_fp_normal orvaFpDeviceEnableInt:228 DeviceEnableInt 0 4 10 1";
  const std::string trigger = "0 orva_fp_normal orvaFpDeviceWaitInt:256 DeviceWaitInt poll trigger";
  const std::string wait = "4 orva_fp_normal_sensor_test wait_interrupt_in_sensor_test:";
  EXPECT_THAT(calls, ElementsAre(arm, trigger, wait + "65 sensor_test interrupt tirgger", disarm,
                                 arm, wait + "67 sensor_test interrupt timeout", disarm, arm,
                                 trigger, wait + "53 sensor_test interrupt tirgger", disarm, arm,
                                 wait + "57 sensor_test interrupt abort", disarm));
}

TEST_F(LogCalls, Device) {
  simulator::attach({});
  ASSERT_EQ(orvaFpDeviceOpen(&g_fp_device_handle), FP_OK);
  orvaFpDeviceEEPROMEnable(g_fp_device_handle, 1);
  orvaFpDeviceSetClock(g_fp_device_handle, 1);
  EXPECT_THAT(
      calls,
      ElementsAre("0 orva_fp_normal orvaFpDevicePowerCtrl:187 orvaFpDevicePowerCtrl 1",
                  "0 orva_fp_normal orvaFpDeviceEEPROMEnable:203 DeviceEEPROMEnable start non-tz 1",
                  "0 orva_fp_normal orvaFpDeviceEEPROMEnable:216 DeviceEEPROMEnable end",
                  "0 orva_fp_normal orvaFpDeviceSetClock:267 12.2.298.600 DeviceSetClock 1"));
}

TEST_F(LogCalls, ConfirmSavePath) {
  char dest[8] = "old";
  confirm_save_path(dest, sizeof dest, "a", "b");
  confirm_save_path(nullptr, 0, "a", "b");
  const std::string call = "4 orva_fp_normal_sensor_test confirm_save_path:";
  EXPECT_THAT(calls, ElementsAre(call + "95 Save dest=old, dest len=8, src1=a, src2=b",
                                 call + "90 addr of destination is NULL !!"));
}

TEST_F(LogCalls, Images) {
  // Mean 1, spread sqrt(0.5): one high, one low, none deviating.
  const uint8_t pixels[2] = {1, 2};
  static image_eval_record record;
  record = {.check_flags = 3, .high_threshold = 1, .low_threshold = 2, .image = pixels};
  g_img_alg_sd = {2, 1};
  evaluate_image(&record);
  g_img_alg_sd = {0, 3};
  evaluate_image(&record);

  std::vector<uint16_t> frame(52 * 2, 65535);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 52, 2), 1);
  frame[1] = 7;
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 52, 2), 0);
  frame[52 + 50] = 3;  // the last inner sample
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 52, 2), 0);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 0, 2), 0);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 2, 2), 0);

  uint32_t count = 0;
  g_img_alg_sd = {2, 1};
  vCalculateBlockDROtsuCS1(pixels, nullptr, &count, nullptr, nullptr, 16);
  g_img_alg_sd = {0, 0};

  const std::string image = "3 orva_image_algorithm ";
  EXPECT_THAT(
      calls,
      ElementsAre(image + "evaluate_image:888 0501FF 1, 1, 0, 3, 1, 707106e-6, 0",
                  image + "evaluate_image:888 0501FF 0, 0, 0, 0, 0, 0e-6, 0",
                  image + "is_mq4xx_white_noise:1561 DBG_NOIDSE k=100, max=65535, min=65535",
                  image + "is_mq4xx_white_noise:1564 white_noise 100",
                  image + "is_mq4xx_white_noise:1561 DBG_NOIDSE k=99, max=65535, min=7",
                  image + "is_mq4xx_white_noise:1561 DBG_NOIDSE k=98, max=65535, min=3",
                  image + "is_mq4xx_white_noise:1561 DBG_NOIDSE k=0, max=0, min=65535",
                  image + "is_mq4xx_white_noise:1561 DBG_NOIDSE k=0, max=0, min=65535",
                  image + "vCalculateBlockDROtsuCS1:1370 slice_window_size: 16, W(2), H(1)"));
}

}  // namespace
