// orva-fp: the sensor test and the sensor's operations from a command line.
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "simulator/scenario.h"
#include "tools/commands.h"
#include "tools/output_file.h"

void tools::need_subcommand(CLI::App *app) {
  app->callback([app] {
    if (app->get_subcommands().empty()) throw CLI::RequiredError("A sub-command");
  });
}

int main(int argc, char **argv) {
  // A reader that goes away ends no run half-way: the failed write is told at the end.
  signal(SIGPIPE, SIG_IGN);
  // No file may become a standard stream that the caller has closed, the driver node least of all.
  // Opened for reading, the place-holder refuses what is written to it.
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", O_RDONLY);
  }

  CLI::App app("Fingerprint sensor test and bring-up");
  tools::need_subcommand(&app);
  tools::exit_status result = tools::kPass;
  tools::add_sensor_test_command(app, result);
  tools::add_device_command(app, result);
#ifdef ORVA_FP_IMAGE_COMMAND
  tools::add_image_command(app, result);
#endif

  const auto fail = [](const char *what, tools::exit_status status) {
    fprintf(stderr, "orva-fp: %s\n", what);
    return static_cast<int>(status);
  };
  try {
    try {
      app.parse(argc, argv);
    } catch (const CLI::Success &help) {
      app.exit(help);
    }
    tools::check_standard_output();
  } catch (const CLI::ParseError &error) {
    return fail(error.what(), tools::kBadUsage);
  } catch (const simulator::scenario_error &error) {
    return fail(error.what(), tools::kBadScenario);
  } catch (const tools::command_error &error) {
    return fail(error.what(), error.status());
  }
  return result;
}
