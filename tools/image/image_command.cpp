// orva-fp image: looks at frames, changes them and makes them up.
#include "tools/image/image_command.h"

namespace tools {

namespace {

constexpr char kImageHelp[] =
    R"(Formats: BMP (8 bits, uncompressed), PNG (grey), PGM (P5) and raw samples, 16-bit ones
little-endian. A file named .raw or .bin, such as the fp_data.bin of a sensor test, is raw, and so
is any other with --raw; it needs --width and --height. The name - stands for standard input or
output.)";

}  // namespace

CLI::Option *add_number(CLI::App *command, const char *name, int32_t &to, const char *text,
                        int32_t low, int32_t high) {
  return command->add_option(name, to, text)->check(CLI::Range(low, high))->capture_default_str();
}

void add_format_option(CLI::App *command, std::string &format, const char *text) {
  command->add_option("--as", format, text)->check(CLI::IsMember(output_formats()));
}

void add_layout_options(CLI::App *command, raw_layout &layout) {
  command->add_flag("--raw", layout.always, "The files hold raw samples, whatever their names");
  command->add_option("--width", layout.width, "Width of raw files in pixels")
      ->check(CLI::PositiveNumber);
  command->add_option("--height", layout.height, "Height of raw files in pixels")
      ->check(CLI::PositiveNumber);
  command->add_option("--bits", layout.bits, "Bits per sample of raw files, else told by the size")
      ->check(CLI::IsMember({8, 16}));
  command
      ->add_option("--sample-bits", layout.sample_bits,
                   "Bits that 16-bit samples use; else what the format says, or 16")
      ->check(CLI::Range(8, 16));
  command->add_flag("--transposed", layout.transposed, "16-bit frames are stored column by column");
}

void add_frame_options(CLI::App *command, inspect_settings &s) {
  add_layout_options(command, s.layout);
  command->add_flag("--keep-dummy", s.keep_dummy, "16-bit frames have no T dummy to remove");
  add_number(command, "--high", s.high, "Pixels above are high");
  add_number(command, "--low", s.low, "Pixels below are low");
  add_number(command, "--deviation", s.deviation, "Pixels farther from the mean deviate");
  command->add_flag("--spread-low", s.spread_low, "A low pixel marks its right neighbour as well");
  add_number(command, "--spike-delta", s.spike_delta, "Margin of spikes to count and remove", 0,
             255);
  add_number(command, "--block", s.block, "Side of the blocks in pixels", 1, 255);
  command->add_option("--center", s.center, "Side of the middle square; half the shorter side")
      ->check(CLI::PositiveNumber);
  add_number(command, "--white-percent", s.white_percent,
             "Share of brightest pixels for equalised-white to keep", 0, 100);
}

void add_image_command(CLI::App &app, exit_status &result) {
  CLI::App *image =
      app.add_subcommand("image", "Looks at frames, compares, changes and makes them");
  image->footer(std::string(kImageHelp) + "\n\n" + kExitStatuses);
  need_subcommand(image);
  add_inspect_command(image, result);
  add_diff_command(image, result);
  add_apply_command(image, result);
  add_synth_command(image, result);
}

}  // namespace tools
