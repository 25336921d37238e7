// orva-fp device: one operation on the sensor, for bring-up at the bench.
#include <csignal>
#include <functional>
#include <map>
#include <memory>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "simulator/scenario.h"
#include "tools/commands.h"
#include "tools/trace.h"

namespace tools {

namespace {

constexpr char kHelp[] = R"(Opens the driver node, does one operation and closes the node.
Standard output shows every command to the driver and the status of every operation.

Exit status:
  0  every status is FP_OK
  1  an operation ended with a failing status
  2  bad arguments
  3  the scenario cannot be read)";

constexpr uint32_t kLongestLimitMs = 0x7FFFFFFF;

// The interrupt of a simulated sensor that no scenario describes.
constexpr uint32_t kInterruptAfterMs = 100;

struct options {
  bool simulate = false;
  bool verbose = false;
  std::string scenario;
};

using operation = std::function<int32_t(int32_t handle)>;

void attach_sensor(const options &o) {
  if (!o.scenario.empty()) {
    simulator::attach(simulator::load_scenario(o.scenario).sensor);
  } else if (o.simulate) {
    simulator::sensor_config config;
    config.interrupts = {simulator::interrupt_plan::after(kInterruptAfterMs)};
    simulator::attach(config);
  }
}

exit_status run(const options &o, const std::string &name, const operation &operate) {
  attach_sensor(o);
  trace show(o.verbose);
  simulator::observe([&](const simulator::command &c) { show.command(c); });

  bool passed = show.status("open", orvaFpDeviceOpen(&g_fp_device_handle));
  if (passed && operate) passed = show.status(name, operate(g_fp_device_handle));
  if (g_fp_device_handle != 0) {
    passed &= show.status("close", orvaFpDeviceClose(g_fp_device_handle));
    g_fp_device_handle = 0;
  }
  simulator::observe(nullptr);
  return passed ? kPass : kFailingStatus;
}

// A first Ctrl-C ends the wait, which then disarms the interrupt; a second one ends the program.
void abort_wait(int) {
  __atomic_store_n(&g_sensor_test_abort, 1, __ATOMIC_RELAXED);
  signal(SIGINT, SIG_DFL);
}

int32_t wait_for_interrupt(uint32_t timeout_ms) {
  signal(SIGINT, abort_wait);
  return wait_interrupt_in_sensor_test(timeout_ms);
}

}  // namespace

void add_device_command(CLI::App &app, exit_status &result) {
  CLI::App *device = app.add_subcommand("device", "Does one operation on the sensor");
  device->footer(kHelp);
  device->fallthrough();
  need_subcommand(device);

  const auto o = std::make_shared<options>();
  device->add_flag("--simulate", o->simulate, "Simulate the sensor instead of driving /dev/ovfp0");
  device->add_option("--scenario", o->scenario, "Simulate the sensor of a scenario file");
  device->add_flag("--verbose", o->verbose, "Show the bytes of every command record");

  const auto add = [&](const std::string &name, const std::string &what, const operation &operate) {
    CLI::App *command = device->add_subcommand(name, what);
    command->fallthrough();
    command->callback([o, name, operate, &result] { result = run(*o, name, operate); });
    return command;
  };
  const auto value = std::make_shared<uint32_t>(0);
  const auto mode = std::make_shared<int32_t>(0);
  const auto state = [&](CLI::App *command) {
    const std::map<std::string, uint32_t> names = {{"off", 0}, {"on", 1}};
    command->add_option("state", *value, "on, off or another number for the driver")
        ->required()
        ->transform(CLI::Transformer(names).description(""));
  };

  add("open", "Opens the node, which powers the sensor on", nullptr);
  add("reset", "Resets the sensor", orvaFpDeviceReset);
  state(add("power", "Switches the sensor on or off",
            [value](int32_t handle) { return orvaFpDevicePowerCtrl(handle, *value); }));
  add("clock", "Sets the bus clock",
      [mode](int32_t handle) { return orvaFpDeviceSetClock(handle, *mode); })
      ->add_option("mode", *mode, "1 for 12.5 MHz, any other for the driver's other clock command")
      ->required();
  state(add("info-memory", "Switches the sensor's information memory on or off",
            [value](int32_t handle) { return orvaFpDeviceEEPROMEnable(handle, *value); }));
  add("cpu-speedup", "Asks for a CPU speed-up",
      [value](int32_t handle) { return orvaFpDeviceCPUSpeedup(handle, *value); })
      ->add_option("value", *value, "The driver's own value")
      ->required();

  const auto timeout_ms = std::make_shared<uint32_t>(ORVA_FP_NO_TIME_LIMIT);
  add("wait-interrupt", "Arms the interrupt, waits for it until Ctrl-C, and disarms it",
      [timeout_ms](int32_t) { return wait_for_interrupt(*timeout_ms); })
      ->add_option("--timeout-ms", *timeout_ms, "Time limit in milliseconds; none without it")
      ->check(CLI::Range(uint32_t{0}, kLongestLimitMs));
}

}  // namespace tools
