// The tool itself on a genuine node, as it runs on a phone.
#include <gtest/gtest.h>
#include <thread>

#include <orva_fp/status.h>

#include "kernel/kernel_rig.h"
#include "simulator/scenario.h"
#include "tool/tool_runner.h"

namespace {

using namespace std::chrono_literals;
using simulator::interrupt_plan;
using simulator::node_state;
using simulator::sensor_config;

constexpr char kNotOpened[] = "open FP_ERR_NO_DEVICE (210)";

struct device_case {
  sensor_config sensor;
  support::tool_case row;
};

const device_case kOperations[] = {
    {{}, {"orva-fp device reset power off", 0,
             "command power len=1...command reset...reset FP_OK (0)...command power len=0...power "
             "FP_OK (0)...close FP_OK (0)"}},
    {{.faults = {{.opcode = 4}}}, {"orva-fp device reset", 1, "reset FP_ERR_DRIVER_IO (209)"}},
    {{.interrupts = {interrupt_plan::after(30)}},
        {"orva-fp device wait-interrupt --timeout-ms 60000", 0,
            "int-enable...int-disable...wait-interrupt FP_OK (0)"}},
    {{}, {"orva-fp device wait-interrupt --timeout-ms 50", 1,
             "int-enable...int-disable...wait-interrupt FP_ERR_INT_NOT_TRIGGERED (13)"}},
    {{.node = node_state::kMissing}, {"orva-fp device open", 1, kNotOpened, "/dev/ovfp0: No such"}},
    {{.node = node_state::kNotOpenable},
        {"orva-fp device open", 1, kNotOpened, "/dev/ovfp0: Permission denied"}},
};

TEST(KernelTool, DeviceOperations) {
  for (const device_case &c : kOperations) {
    support::attach_sensor(c.sensor);
    support::tool_folder().check(c.row);
  }
}

TEST(KernelTool, DriverDiesDuringAWait) {
  support::attach_sensor({});
  std::thread die([] {
    std::this_thread::sleep_for(300ms);
    support::kill_driver();
  });
  support::tool_folder().check({"orva-fp device wait-interrupt --timeout-ms 60000", 1,
      "int-disable...fails...wait-interrupt FP_ERR_DRIVER_IO (209)"});
  die.join();
}

// Each shipped scenario as its script runs on the node, where the genuine driver has the sensor
// that the scenario describes; what was recorded there happens once more in the process.
TEST(KernelTool, SensorTestsAndTheirRecordings) {
  size_t runs = 0;
  for (const auto &entry : std::filesystem::directory_iterator(ORVA_TEST_SCENARIOS)) {
    const simulator::scenario played = simulator::load_scenario(entry.path());
    const std::string run =
        "orva-fp sensor-test --script " + std::to_string(played.scripts.front()) + " --scenario ";
    support::tool_case row{run + entry.path().string() + " --out genuine --record r.jsonl",
        played.status == FP_OK ? 0 : 1, std::string("status ") + orva_fp_status_name(played.status),
        played.status == FP_ERR_NO_DEVICE ? "/dev/ovfp0: " : ""};
    const support::tool_folder folder;
    support::attach_sensor(played.sensor);
    folder.check(row);
    row.command = run + "r.jsonl --out replayed --against r.jsonl --simulate";
    folder.check(row);
    ++runs;
  }
  EXPECT_GE(runs, 15);
}

}  // namespace
