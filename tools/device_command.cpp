// orva-fp device: operations on the sensor, for bring-up at the bench.
#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/json_reader.h"
#include "tools/commands.h"
#include "tools/device_node.h"
#include "tools/simulation.h"
#include "tools/stop.h"
#include "tools/trace.h"

namespace tools {

namespace {

constexpr char kHelp[] =
    R"(Opens the driver node, which powers the sensor on, does the operations in their order and closes
the node. An operation that fails ends the list. For instance:
  orva-fp device power on reset wait-interrupt --timeout-ms 500
Standard output shows every command to the driver, every wait and the status of every operation.)";

constexpr uint32_t kLongestLimitMs = 0x7FFFFFFF;

// A node with an error event is readable at once, again and again.
constexpr std::chrono::milliseconds kPauseAfterErrorEvent{100};
constexpr double kErrorsToldEveryMs = 1000;

// The interrupts of a simulated sensor that no scenario describes.
constexpr uint32_t kInterruptAfterMs = 100;
constexpr size_t kInterrupts = 1000;

struct options {
  bool simulate = false;
  std::string scenario;
  trace_options shown;
};

// The bench: the open node and what it shows.
class bench {
 public:
  explicit bench(const trace_options &shown) : show(shown) {}

  void saw(const simulator::command &c) {
    show.event(c);
    last_received = c.received;
  }
  // Tells waits that end without an interrupt only when there is something wrong, and not too
  // often.
  void saw(const simulator::wait &w) {
    if (w.outcome == simulator::wait_outcome::kInterrupt) return show.event(w);
    if (w.outcome != simulator::wait_outcome::kErrorEvent) return;
    ++error_events;
    if (error_events == 1 || show.milliseconds() - told_at_ms >= kErrorsToldEveryMs) {
      told_at_ms = show.milliseconds();
      show.event(look::kBad, "wait",
                 fmt::format("error event {:#x} on the node, no interrupt; {} so far", w.events,
                             error_events));
    }
    std::this_thread::sleep_for(kPauseAfterErrorEvent);
  }

  trace show;
  std::vector<uint8_t> last_received;
  uint32_t error_events = 0;
  double told_at_ms = 0;
};

using operation = std::function<int32_t(bench &b, int32_t handle)>;

struct named_operation {
  std::string name;
  operation operate;
};

struct wait_options {
  uint32_t timeout_ms = ORVA_FP_NO_TIME_LIMIT;
  uint32_t count = 1;
};

// Without an interrupt, or with a signal, it does not go on to the next.
int32_t wait_for_interrupts(bench &b, const wait_options &o) {
  int32_t status = FP_OK;
  for (uint32_t i = 1; i <= o.count && status == FP_OK && stop_signal() == 0; ++i) {
    status = wait_interrupt_in_sensor_test(o.timeout_ms);
    if (status == FP_OK && o.count > 1) {
      b.show.event(look::kGood, fmt::format("interrupt {}", i), fmt::format("of {}", o.count));
    }
  }
  return status;
}

struct command_options {
  uint8_t code = 0;
  std::string tx;
  uint32_t rx = 0;
  uint32_t len = 0;
  std::vector<uint8_t> param;
  uint32_t speed_hz = 0;
};

// The operation, from options that fit together.
operation send_command(const command_options &o) {
  const auto refuse = [](const std::string &why) { throw CLI::ValidationError(why); };
  const auto bytes = simulator::bytes_of_hex(o.tx);
  if (!bytes) refuse("--tx must be pairs of hexadecimal digits");
  if (o.rx != 0 && !bytes->empty() && o.rx != bytes->size()) {
    refuse(fmt::format("--tx and --rx share one length, {} is not {}", bytes->size(), o.rx));
  }
  if (o.len != 0 && (o.rx != 0 || !bytes->empty())) {
    refuse("--len is the argument of a command without --tx and --rx");
  }
  return [=](bench &, int32_t handle) {
    std::vector<uint8_t> received(o.rx);
    const size_t transfer = std::max(bytes->size(), received.size());
    return orva_call_driver(handle, o.code, bytes->empty() ? nullptr : bytes->data(),
                            transfer != 0 ? static_cast<uint32_t>(transfer) : o.len,
                            received.empty() ? nullptr : received.data(),
                            o.param.empty() ? nullptr : o.param.data(), o.speed_hz);
  };
}

// Goes through the operations on the open node; true when all went well.
bool operate(bench &b, const std::vector<named_operation> &operations) {
  for (const named_operation &next : operations) {
    if (stop_signal() != 0) return false;
    b.last_received.clear();
    if (!b.show.status(next.name, next.operate(b, g_fp_device_handle))) return false;
    if (next.name != "command" || b.last_received.empty()) continue;
    b.show.note("received", fmt::format("{:02x}", fmt::join(b.last_received, " ")));
  }
  return true;
}

exit_status run(const options &o, const std::vector<named_operation> &operations) {
  if (!o.scenario.empty()) {
    simulate(simulator::load_scenario(o.scenario).sensor);
  } else if (o.simulate) {
    const auto plan = simulator::interrupt_plan::after(kInterruptAfterMs);
    simulate({.interrupts = std::vector<simulator::interrupt_plan>(kInterrupts, plan)});
  }
  bench b(o.shown);
  bool armed = false;
  simulator::observe([&](const simulator::command &c) {
    b.saw(c);
    armed = simulator::armed_after(c, armed);
  });
  simulator::observe_waits([&](const simulator::wait &w) { b.saw(w); });
  catch_stop_signals();

  const int32_t opened = orvaFpDeviceOpen(&g_fp_device_handle);
  bool passed = b.show.status("open", opened);
  if (opened == FP_ERR_NO_DEVICE) complain(describe_node_error(why_node_does_not_open()));
  if (passed) passed = operate(b, operations);
  if (g_fp_device_handle != 0) {
    passed &= b.show.status("close", orvaFpDeviceClose(g_fp_device_handle));
    g_fp_device_handle = 0;
  }
  simulator::observe(nullptr);
  simulator::observe_waits(nullptr);
  if (stop_signal() != 0) complain(describe_stop(armed));
  const exit_status status = stop_signal() != 0 ? kStopped : passed ? kPass : kFailingStatus;
  b.show.last_line(status == kPass ? look::kGood : look::kBad, "result", b.show.worst());
  return status;
}

// The command line after "device". It is parsed on its own, since only a program's own sub-commands
// may come more than once.
class device_parser {
 public:
  explicit device_parser(exit_status &result) : app_("", "orva-fp device") {
    app_.description("Does operations on the sensor, one after the other");
    app_.footer(std::string(kHelp) + "\n\n" + kExitStatuses);
    app_.add_flag("--simulate", options_.simulate,
                  "Simulate the sensor instead of driving /dev/ovfp0");
    app_.add_option("--scenario", options_.scenario,
                    "Simulate the sensor of a scenario or recording");
    app_.add_flag("--verbose", options_.shown.verbose, "Show the bytes of every command record");
    app_.add_flag("-q,--quiet", options_.shown.quiet, "Show the last line alone");
    app_.final_callback([this, &result] {
      if (operations_.empty()) throw CLI::RequiredError("A sub-command");
      result = run(options_, operations_);
    });
    add_operations();
  }

  void parse(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());
    try {
      app_.parse(arguments);
    } catch (const CLI::Success &help) {
      app_.exit(help);
    }
  }

 private:
  // An operation that make returns when its name and its options have been read.
  CLI::App *add(const std::string &name, const std::string &what,
                const std::function<operation()> &make) {
    CLI::App *command = app_.add_subcommand(name, what);
    command->fallthrough();
    command->immediate_callback();
    command->callback([this, name, make] { operations_.push_back({name, make()}); });
    return command;
  }

  void add_state(CLI::App *command) {
    const std::map<std::string, uint32_t> names = {{"off", 0}, {"on", 1}};
    command->add_option("state", value_, "on, off or another number for the driver")
        ->required()
        ->transform(CLI::Transformer(names).description(""));
  }

  void add_operations() {
    add("open", "Opens the node, no more", [] { return [](bench &, int32_t) { return FP_OK; }; });
    add("reset", "Resets the sensor",
        [] { return [](bench &, int32_t handle) { return orvaFpDeviceReset(handle); }; });
    add_state(add("power", "Switches the sensor on or off", [this] {
      return [value = value_](bench &, int32_t handle) {
        return orvaFpDevicePowerCtrl(handle, value);
      };
    }));
    add("clock", "Sets the bus clock",
        [this] {
          return [mode = mode_](bench &, int32_t handle) {
            return orvaFpDeviceSetClock(handle, mode);
          };
        })
        ->add_option("mode", mode_,
                     "1 for 12.5 MHz, any other for the driver's other clock command")
        ->required();
    add_state(add("info-memory", "Switches the sensor's information memory on or off", [this] {
      return [value = value_](bench &, int32_t handle) {
        return orvaFpDeviceEEPROMEnable(handle, value);
      };
    }));
    add("cpu-speedup", "Asks for a CPU speed-up",
        [this] {
          return [value = value_](bench &, int32_t handle) {
            return orvaFpDeviceCPUSpeedup(handle, value);
          };
        })
        ->add_option("value", value_, "The driver's own value")
        ->required();
    add_wait();
    add_command();
  }

  void add_wait() {
    CLI::App *command =
        add("wait-interrupt", "Arms the interrupt, waits for it and disarms it", [this] {
          return [o = std::exchange(wait_, {})](bench &b, int32_t) {
            return wait_for_interrupts(b, o);
          };
        });
    command
        ->add_option("--timeout-ms,--timeout", wait_.timeout_ms,
                     "Time limit in milliseconds; until Ctrl-C without it")
        ->check(CLI::Range(uint32_t{0}, kLongestLimitMs));
    command->add_option("--count", wait_.count, "Wait for so many interrupts, armed anew for each")
        ->check(CLI::PositiveNumber);
  }

  void add_command() {
    CLI::App *command = add("command", "Sends any command to the driver",
                            [this] { return send_command(std::exchange(command_, {})); });
    command->add_option("--code", command_.code, "Command code, 0 to 255")
        ->required()
        ->check(CLI::Range(0, 255));
    command->add_option("--tx", command_.tx, "Bytes to send, in hexadecimal digits");
    command->add_option("--rx", command_.rx, "Count of bytes to receive")
        ->check(CLI::Range(1, 1 << 20));
    command->add_option("--len", command_.len, "Argument of a command that transfers nothing");
    command
        ->add_option("--param", command_.param, "Three parameters A,B,C; as they were without it")
        ->delimiter(',')
        ->expected(3)
        ->check(CLI::Range(0, 255));
    command->add_option("--speed", command_.speed_hz, "Bus clock in Hz; as it was without it");
  }

  CLI::App app_;
  options options_;
  std::vector<named_operation> operations_;
  uint32_t value_ = 0;
  int32_t mode_ = 0;
  wait_options wait_;
  command_options command_;
};

}  // namespace

void add_device_command(CLI::App &app, exit_status &result) {
  CLI::App *device = app.add_subcommand("device", "Does operations on the sensor");
  device->set_help_flag();
  device->prefix_command();
  device->callback([device, &result] { device_parser(result).parse(device->remaining()); });
}

}  // namespace tools
