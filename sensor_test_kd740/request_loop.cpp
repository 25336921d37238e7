// One request loop for all scripts. A table says what a family of scripts does with each action
// code and what it logs.
#include "sensor_test_kd740/request_loop.h"

#include <cstddef>
#include <span>

#include <orva_fp/device.h>

#include "sensor_test_kd740/pause.h"

namespace orva {

static_assert(sizeof(sensor_test_request) == 12);
static_assert(offsetof(sensor_test_request, script_id) == 0);
static_assert(offsetof(sensor_test_request, interrupt_triggered) == 4);
static_assert(offsetof(sensor_test_request, script_variant) == 8);

static_assert(sizeof(sensor_test_reply) == 514056);
static_assert(offsetof(sensor_test_reply, result_text) == 0);
static_assert(offsetof(sensor_test_reply, result) == 2048);
static_assert(offsetof(sensor_test_reply, data_len) == 2052);
static_assert(offsetof(sensor_test_reply, data) == 2056);

namespace {

// A sensor operation with the pause that the sensor needs after it.
struct operation {
  int32_t (*run)(int32_t handle);
  uint32_t pause_us;
  bool pause_after_failure;
};

constexpr operation kReset = {orvaFpDeviceReset, 15000, false};
constexpr operation kInfoMemoryOn = {
    [](int32_t handle) { return orvaFpDeviceEEPROMEnable(handle, 1); }, 0, false};
constexpr operation kInfoMemoryOff = {
    [](int32_t handle) { return orvaFpDeviceEEPROMEnable(handle, 0); }, 0, false};
constexpr operation kPowerOff = {[](int32_t handle) { return orvaFpDevicePowerCtrl(handle, 0); },
                                 10000, true};
constexpr operation kPowerOn = {[](int32_t handle) { return orvaFpDevicePowerCtrl(handle, 1); },
                                10000, true};

// One operation of a code's action and the error line of its failure.
struct step {
  uint32_t code;
  const operation *op;
  test_line failed;
};

}  // namespace

struct script_family {
  // Logged after every callback with its status, result and data_len; the text may leave out the
  // last ones.
  test_line exchange;
  // Logged at the end of every step with the status of the latest operation and result.
  test_line step_end;
  uint32_t wait_ms;  // time limit of the interrupt wait, 0 where the family has none
  test_line wait_failed;
  // A code's steps are carried out in order, whether the one before failed or not.
  std::span<const step> steps;
  save_profile save;
};

namespace {

constexpr step kNormalScanSteps[] = {
    {ORVA_READ_SENSOR_INFO_START,
     &kInfoMemoryOn,
     {270, "sensor_test ORVA_READ_SENSOR_INFO_START fail %d"}},
    {ORVA_READ_SENSOR_INFO_END,
     &kInfoMemoryOff,
     {278, "sensor_test ORVA_READ_SENSOR_INFO_END fail %d"}},
    {ORVA_READ_SENSOR_INFO_END, &kReset, {284, "sensor_test ORVA_RESET fail 2 %d"}},
    {ORVA_RESET, &kReset, {293, "sensor_test ORVA_RESET fail %d"}},
    {ORVA_POWER_OFF_ON, &kPowerOff, {302, "sensor_test ORVA_POWER_OFF_ON off fail %d"}},
    {ORVA_POWER_OFF_ON, &kPowerOn, {306, "sensor_test ORVA_POWER_OFF_ON on fail %d"}},
};

constexpr script_family kNormalScan = {
    .exchange = {255, "sensor_test normal scan = %d %d %d"},
    .step_end = {},
    .wait_ms = 0,
    .wait_failed = {},
    .steps = kNormalScanSteps,
    .save = {.log = ORVA_FP_NORMAL_SCAN_LOG,
             .data_failed = {315, "Save bin fail, errno=%d"},
             .data_saved = {317, "Save bin=%s"},
             .log_saved = {369, "save result=%s/%s"},
             .log_failed = {371, "Save NS result log fail, errno=%d"}},
};

constexpr step kSnr1Steps[] = {
    {ORVA_READ_SENSOR_INFO_START,
     &kInfoMemoryOn,
     {426, "sensor_test snr_1 ORVA_READ_SENSOR_INFO_START fail %d"}},
    {ORVA_READ_SENSOR_INFO_END, &kReset, {440, "sensor_test ORVA_RESET fail 2 %d"}},
};

constexpr script_family kSnr1 = {
    .exchange = {394, "orvaFpSensorTest pfnCustomRequest SNR1 %d"},
    .step_end = {475, "pfnCustomRequest SNR1 end %d %d"},
    .wait_ms = 100,
    .wait_failed = {416, "sensor_test snr_1 ORVA_WAIT_INTERRUPT fail %d"},
    .steps = kSnr1Steps,
    .save = {},
};

constexpr step kSnr2Steps[] = {
    {ORVA_READ_SENSOR_INFO_START,
     &kInfoMemoryOn,
     {512, "sensor_test snr_2 ORVA_READ_SENSOR_INFO_START fail %d"}},
    {ORVA_READ_SENSOR_INFO_END,
     &kInfoMemoryOff,
     {520, "sensor_test snr_2 ORVA_READ_SENSOR_INFO_END fail %d"}},
};

constexpr script_family kSnr2 = {
    .exchange = {495, "orvaFpSensorTest pfnCustomRequest SNR2 ret = %d, result = %d"},
    .step_end = {},
    .wait_ms = 1000,
    .wait_failed = {534, "sensor_test snr_2 ORVA_WAIT_INTERRUPT fail %d"},
    .steps = kSnr2Steps,
    .save = {.log = ORVA_FP_SNR_LOG,
             .data_failed = {544, "Save bin fail, errno=%d"},
             .data_saved = {},
             .log_saved = {636, "save result=%s/%s"},
             .log_failed = {638, "Save SNR result log fail, errno=%d"}},
};

constexpr int32_t kRemoveNormalScanLine = 172;
constexpr int32_t kRemoveSnrLine = 179;

constexpr script kScripts[] = {
    {ORVA_SCRIPT_NORMAL_SCAN, 0, &kNormalScan, ORVA_FP_NORMAL_SCAN_LOG, kRemoveNormalScanLine},
    {ORVA_SCRIPT_SNR1, 0, &kSnr1, ORVA_FP_SNR_LOG, kRemoveSnrLine},
    {ORVA_SCRIPT_SNR2, 0, &kSnr2, ORVA_FP_SNR_LOG, kRemoveSnrLine},
    {ORVA_SCRIPT_NORMAL_SCAN_VARIANT, 1, &kNormalScan, ORVA_FP_NORMAL_SCAN_LOG,
     kRemoveNormalScanLine},
    {ORVA_SCRIPT_SNR1_VARIANT, 1, &kSnr1, ORVA_FP_SNR_LOG, kRemoveSnrLine},
    {ORVA_SCRIPT_SNR2_VARIANT, 1, &kSnr2, ORVA_FP_SNR_LOG, kRemoveSnrLine},
};

// Carries out the family's steps for a code; returns the status of the last one.
int32_t perform(const script_family &family, uint32_t code) {
  int32_t status = FP_OK;
  for (const step &s : family.steps) {
    if (s.code != code) continue;
    status = s.op->run(g_fp_device_handle);
    if (status != FP_OK) log_test_line(kLogError, s.failed, status);
    const bool pauses = status == FP_OK || s.op->pause_after_failure;
    if (pauses && s.op->pause_us != 0) pause_us(s.op->pause_us);
  }
  return status;
}

// Puts the outcome of an interrupt wait into the request. Any other status than the two outcomes
// is returned.
int32_t wait_for_interrupt(const script_family &family, sensor_test_request &request) {
  const int32_t status = wait_interrupt_in_sensor_test(family.wait_ms);
  if (status != FP_OK && status != FP_ERR_INT_NOT_TRIGGERED) {
    log_test_line(kLogError, family.wait_failed, status);
    return status;
  }
  request.interrupt_triggered = status == FP_OK ? 1 : 0;
  return FP_OK;
}

}  // namespace

const script *find_script(int32_t id) {
  for (const script &entry : kScripts) {
    if (entry.id == id) return &entry;
  }
  return nullptr;
}

int32_t run_request_loop(const script &entry, sensor_test_request_fn request_fn, void *context,
                         const char *folder, const result_path &data_path) {
  const script_family &family = *entry.family;
  sensor_test_request request = {
      .script_id = entry.id, .interrupt_triggered = 0, .script_variant = entry.variant};

  // Half a megabyte, not cleared but for these fields: a callback that writes nothing ends the run
  // with nothing saved.
  sensor_test_reply reply;
  reply.result = ORVA_TEST_STOP;
  reply.data_len = 0;
  reply.result_text[0] = '\0';
  uint32_t reply_size = sizeof reply;

  for (;;) {
    const int32_t requested = request_fn != nullptr
                                  ? request_fn(context, ORVA_CMD_SENSOR_TEST, &request,
                                               sizeof request, &reply, &reply_size)
                                  : FP_ERR_REQUEST_FAILED;
    log_test_line(kLogInfo, family.exchange, requested, static_cast<int32_t>(reply.result),
                  reply.data_len);
    if (requested != 0) return FP_ERR_REQUEST_FAILED;

    int32_t status = FP_OK;
    bool ended = false;
    switch (reply.result) {
      case ORVA_TEST_FINISH:
      case ORVA_TEST_FINISH_ALT:
        if (family.save.log != nullptr) save_results(family.save, reply, folder, data_path);
        ended = true;
        break;
      case ORVA_TEST_STOP:
        reply.result = ORVA_TEST_FINISH;  // as the end-of-step line shows it
        ended = true;
        break;
      case ORVA_WAIT_INTERRUPT:
        if (family.wait_ms == 0) break;
        if (const int32_t failed = wait_for_interrupt(family, request); failed != FP_OK) {
          return failed;
        }
        break;
      default:
        status = perform(family, reply.result);
        break;
    }
    if (family.step_end.text != nullptr) {
      log_test_line(kLogDebug, family.step_end, status, static_cast<int32_t>(reply.result));
    }
    if (ended) return FP_OK;
  }
}

}  // namespace orva
