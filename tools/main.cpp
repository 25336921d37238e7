// orva-fp: the sensor test and the sensor's operations from a command line.
#include <cstdio>

#include "simulator/scenario.h"
#include "tools/commands.h"

void tools::need_subcommand(CLI::App *app) {
  app->callback([app] {
    if (app->get_subcommands().empty()) throw CLI::RequiredError("A sub-command");
  });
}

int main(int argc, char **argv) {
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
    app.parse(argc, argv);
  } catch (const CLI::Success &help) {
    return app.exit(help);
  } catch (const CLI::ParseError &error) {
    return fail(error.what(), tools::kBadUsage);
  } catch (const simulator::scenario_error &error) {
    return fail(error.what(), tools::kBadScenario);
  } catch (const tools::command_error &error) {
    return fail(error.what(), error.status());
  }
  return result;
}
