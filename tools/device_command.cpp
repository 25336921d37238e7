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
#include "tools/output_file.h"
#include "tools/sensor_at_work.h"
#include "tools/simulation.h"
#include "tools/trace.h"

namespace tools {

namespace {

constexpr char kHelp[] =
    R"(Opens the driver node, which powers the sensor on, does the operations in their order and closes
the node. An operation that fails ends the list. For instance:
  orva-fp device power on reset wait-interrupt --timeout-ms 500
Standard output shows every command to the driver, every wait and the status of every operation.)";

constexpr char kStateHelp[] = "on, off or another number for the driver";

// A node with an error event is readable at once, again and again.
constexpr std::chrono::milliseconds kPauseAfterErrorEvent{100};
constexpr uint32_t kErrorEventsForALine = 10;

// A simulated sensor that no scenario describes: each interrupt comes after 100 ms.
const simulator::sensor_config kUsualSensor = {
    .interrupts = std::vector(1000, simulator::interrupt_plan::after(100))};

struct wait_options {
  uint32_t timeout_ms = ORVA_FP_NO_TIME_LIMIT;
  uint32_t count = 1;
};

struct command_options {
  uint8_t code = 0;
  std::string tx;
  uint32_t rx = 0, len = 0;
  std::vector<uint8_t> param;
  uint32_t speed_hz = 0;
};

// The command line after "device" and what comes of it. It is parsed on its own, since only a
// program's own sub-commands may come more than once.
class device_command {
 public:
  device_command() {
    app_.footer(std::string(kHelp) + "\n\n" + kExitStatuses);
    app_.add_flag("--simulate", simulate_, "Simulate the sensor instead of driving /dev/ovfp0");
    app_.add_option("--scenario", scenario_, "Simulate the sensor of a scenario or recording");
    app_.add_flag("--verbose", shown_.verbose, "Show the bytes of every command record");
    app_.add_flag("-q,--quiet", shown_.quiet, "Show the last line alone");

    need_subcommand(&app_);
    const std::map<std::string, uint32_t> names = {{"off", 0}, {"on", 1}};
    const CLI::Validator on_or_off = CLI::Transformer(names).description("");
    add("open", "Opens the node, no more", [] { return [] { return FP_OK; }; });
    add("reset", "Resets the sensor",
        [] { return [] { return orvaFpDeviceReset(g_fp_device_handle); }; });
    add("power", "Switches the sensor on or off", kStateHelp, orvaFpDevicePowerCtrl)
        ->transform(on_or_off);
    add("clock", "Sets the bus clock", "1 for 12.5 MHz, any other for the driver's other command",
        orvaFpDeviceSetClock);
    add("info-memory", "Switches the sensor's information memory on or off", kStateHelp,
        orvaFpDeviceEEPROMEnable)
        ->transform(on_or_off);
    add("cpu-speedup", "Asks for a CPU speed-up", "The driver's own value", orvaFpDeviceCPUSpeedup);

    CLI::App *wait_command =
        add("wait-interrupt", "Arms the interrupt, waits for it and disarms it",
            [this] { return wait(std::exchange(wait_, {})); });
    wait_command
        ->add_option("--timeout-ms,--timeout", wait_.timeout_ms,
                     "Time limit in milliseconds; until Ctrl-C without it")
        ->check(CLI::Range(uint32_t{0}, uint32_t{INT32_MAX}));
    wait_command->add_option("--count", wait_.count, "Wait for so many, armed anew for each")
        ->check(CLI::PositiveNumber);

    CLI::App *any = add("command", "Sends any command to the driver",
                        [this] { return send(std::exchange(command_, {})); });
    any->add_option("--code", command_.code, "Command code, 0 to 255")
        ->required()
        ->check(CLI::Range(0, 255));
    any->add_option("--tx", command_.tx, "Bytes to send, in hexadecimal digits");
    any->add_option("--rx", command_.rx, "Count of bytes to receive")
        ->check(CLI::Range(1, 1 << 20));
    any->add_option("--len", command_.len, "Argument of a command that transfers nothing")
        ->excludes("--tx")
        ->excludes("--rx");
    any->add_option("--param", command_.param, "Three parameters A,B,C; as they were without it")
        ->delimiter(',')
        ->expected(3)
        ->check(CLI::Range(0, 255));
    any->add_option("--speed", command_.speed_hz, "Bus clock in Hz; as it was without it");
  }

  exit_status run(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());
    try {
      app_.parse(arguments);
    } catch (const CLI::Success &help) {
      app_.exit(help);
      return kPass;
    }
    if (!scenario_.empty()) {
      simulate(simulator::load_scenario(scenario_).sensor);
    } else if (simulate_) {
      simulate(kUsualSensor);
    }
    simulator::observe([this](const simulator::command &c) { show_.event(c); },
                       [this](const simulator::wait &w) { saw(w); });
    catch_stop_signals();

    const int32_t opened = orvaFpDeviceOpen(&g_fp_device_handle);
    ended("open", opened);
    if (opened == FP_ERR_NO_DEVICE) complain(describe_node_error(why_node_does_not_open()));
    for (const auto &[name, operate] : operations_) {
      if (failure_.empty() && stop_signal() == 0) ended(name, operate());
    }
    if (g_fp_device_handle != 0) {
      ended("close", orvaFpDeviceClose(std::exchange(g_fp_device_handle, 0)));
    }
    if (stop_signal() != 0) complain(describe_stop(show_.interrupt_armed()));
    const exit_status passed_or_not = failure_.empty() ? kPass : kFailingStatus;
    const exit_status status = stop_signal() != 0 ? kStopped : passed_or_not;
    show_.last_line(status == kPass, "result", failure_.empty() ? named(FP_OK) : failure_);
    simulator::observe(nullptr);
    return status;
  }

 private:
  using operation = std::function<int32_t()>;

  // An operation that make returns once its name and its options have been read.
  CLI::App *add(const std::string &name, const std::string &what,
                const std::function<operation()> &make) {
    CLI::App *command = app_.add_subcommand(name, what)->fallthrough()->immediate_callback();
    command->callback([this, name, make] { operations_.emplace_back(name, make()); });
    return command;
  }

  // An operation with one value.
  template <typename T>
  CLI::Option *add(const std::string &name, const std::string &what, const char *help,
                   int32_t (*operate_on)(int32_t, T)) {
    const auto value = std::make_shared<T>();
    CLI::App *command = add(name, what, [=] {
      return [operate_on, now = *value] { return operate_on(g_fp_device_handle, now); };
    });
    return command->add_option("value", *value, help)->required();
  }

  void ended(const std::string &name, int32_t status) {
    show_.status(name, status);
    if (status != FP_OK && failure_.empty()) failure_ = name + " " + named(status);
  }

  // Without an interrupt, or with a signal, it does not go on to the next.
  operation wait(wait_options o) {
    return [this, o] {
      int32_t status = FP_OK;
      in_slices_ = o.timeout_ms == ORVA_FP_NO_TIME_LIMIT;
      for (uint32_t i = 1; i <= o.count && status == FP_OK && stop_signal() == 0; ++i) {
        status = wait_interrupt_in_sensor_test(o.timeout_ms);
        if (status != FP_OK || o.count == 1) continue;
        show_.event(look::kGood, fmt::format("interrupt {}", i), fmt::format("of {}", o.count));
      }
      return status;
    };
  }

  operation send(command_options o) {
    const auto bytes = simulator::bytes_of_hex(o.tx);
    need(bytes.has_value(), kBadUsage, "--tx must be pairs of hexadecimal digits");
    const auto sent = static_cast<uint32_t>(bytes->size());
    need(o.rx == 0 || sent == 0 || o.rx == sent, kBadUsage,
         "--tx and --rx share one length, {} is not {}", sent, o.rx);
    return [this, o, sent, bytes = *bytes] {
      std::vector<uint8_t> received(o.rx);
      const auto given = [](auto &list) { return list.empty() ? nullptr : list.data(); };
      const int32_t status =
          orva_call_driver(g_fp_device_handle, o.code, given(bytes), std::max({sent, o.rx, o.len}),
                           given(received), given(o.param), o.speed_hz);
      if (status == FP_OK && o.rx != 0) {
        show_.note("received", fmt::format("{:02x}", fmt::join(received, " ")));
      }
      return status;
    };
  }

  // Of a wait without a limit, slices that end without an interrupt are told only where there is an
  // error event, and not every one.
  void saw(const simulator::wait &w) {
    const bool whole = !in_slices_ || w.outcome == simulator::wait_outcome::kInterrupt;
    const bool error = w.outcome == simulator::wait_outcome::kErrorEvent;
    if (whole || (error && error_events_++ % kErrorEventsForALine == 0)) show_.event(w);
    if (error) std::this_thread::sleep_for(kPauseAfterErrorEvent);
  }

  CLI::App app_{"Does operations on the sensor, one after the other", "orva-fp device"};
  bool simulate_ = false;
  std::string scenario_;
  trace_options shown_;
  wait_options wait_;
  command_options command_;
  std::vector<std::pair<std::string, operation>> operations_;
  trace show_{shown_};
  std::string failure_;     // the first status that was not FP_OK, with its operation
  bool in_slices_ = false;  // the wait that goes on has no limit
  uint32_t error_events_ = 0;
};

}  // namespace

void add_device_command(CLI::App &app, exit_status &result) {
  CLI::App *device = app.add_subcommand("device", "Does operations on the sensor");
  device->set_help_flag();
  device->prefix_command();
  device->callback([device, &result] { result = device_command().run(device->remaining()); });
}

}  // namespace tools
