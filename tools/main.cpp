// orva-fp: the sensor test and the sensor's operations from a command line.
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include <orva_fp/version.h>

#include "simulator/scenario.h"
#include "simulator/synthetic_frame.h"
#include "tools/commands.h"
#include "tools/output_file.h"
#include "tools/trace.h"

namespace {

char **arguments;

// Runs the command line; throws what is wrong with it or with its run.
tools::exit_status run(int argc, char **argv) {
  tools::exit_status result = tools::kPass;
  CLI::App app("Fingerprint sensor test and bring-up");
  app.set_version_flag("--version", "orva-fp " ORVA_FP_VERSION);
  app.footer(tools::kExitStatuses);
  tools::need_subcommand(&app);
  tools::add_sensor_test_command(app, result);
  tools::add_device_command(app, result);
#ifdef ORVA_FP_IMAGE_COMMAND
  tools::add_image_command(app, result);
#endif
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &help) {
    app.exit(help);
  }
  tools::check_standard_output();
  return result;
}

}  // namespace

char **tools::command_line() { return arguments; }

void tools::need_subcommand(CLI::App *app) {
  app->callback([app] {
    if (app->get_subcommands().empty()) throw CLI::RequiredError("A sub-command");
  });
}

int main(int argc, char **argv) {
  arguments = argv;
  // A reader that goes away ends no run half-way: the failed write is told at the end.
  signal(SIGPIPE, SIG_IGN);
  // No file may become a standard stream that the caller has closed, the driver node least of all.
  // Opened for reading, the place-holder refuses what is written to it.
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", O_RDONLY);
  }
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {
    tools::complain(error.what());
    if (const auto *own = dynamic_cast<const tools::command_error *>(&error)) return own->status;
    const auto *scenario = dynamic_cast<const simulator::scenario_error *>(&error);
    if (scenario != nullptr) return tools::kBadScenario;
    const bool usage = dynamic_cast<const CLI::ParseError *>(&error) != nullptr ||
                       dynamic_cast<const simulator::placement_error *>(&error) != nullptr;
    return usage ? tools::kBadUsage : tools::kBadOutput;
  }
}
