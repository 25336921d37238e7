// orva-fp image: looks at frames, changes them and makes them up.
#include "tools/image/image_command.h"

#include <memory>

#include "tools/image/inspect.h"

namespace tools {

namespace {

constexpr char kInspectHelp[] =
    R"(Standard output gets a table with a line per frame, or with --json an array with an object per
frame (all measures, null where one does not apply; {"file", "error"} for a frame that cannot be
read). With --out each frame gets a contact sheet OUT/FRAME.sheet.png.
A file named .raw or .bin holds raw samples, 16-bit ones little-endian, and needs --width and
--height; so do the fp_data.bin files of sensor tests. 16-bit frames (raw, PGM, PNG) are checked for
white noise, freed of their T dummy (row 0 and the middle column), and scaled to 8 bits.

Exit status:
  0  every frame was inspected
  2  bad arguments
  4  the output folder or a contact sheet cannot be written
  6  a frame cannot be read
  7  a frame is too large for the evaluation; all else was measured)";

constexpr char kImageHelp[] =
    R"(Formats: BMP (8 bits, uncompressed), PNG (grey), PGM (P5) and raw samples.)";

}  // namespace

void add_layout_options(CLI::App *command, raw_layout &layout) {
  command->add_option("--width", layout.width, "Width of raw files in pixels")
      ->check(CLI::PositiveNumber);
  command->add_option("--height", layout.height, "Height of raw files in pixels")
      ->check(CLI::PositiveNumber);
  command->add_option("--bits", layout.bits, "Bits per sample of raw files, else told by the size")
      ->check(CLI::IsMember({8, 16}));
}

void add_inspect_command(CLI::App *image, exit_status &result) {
  const auto job = std::make_shared<inspect_job>();
  inspect_settings &s = job->settings;
  CLI::App *command = image->add_subcommand("inspect", "Measures frames and draws what was found");
  command->footer(kInspectHelp);
  command->add_option("frames", job->files, "Frames to inspect")->required()->type_name("FRAME");
  command->add_option("--out", job->out, "Folder of the contact sheets; created if missing");
  command->add_flag("--json", job->json, "Print all measures as JSON");
  add_layout_options(command, s.layout);
  command->add_flag("--keep-dummy", s.keep_dummy, "16-bit frames have no T dummy to remove");
  command->add_flag("--transposed", s.transposed, "16-bit frames are stored column by column");
  command->add_option("--high", s.high, "Pixels above are high")->capture_default_str();
  command->add_option("--low", s.low, "Pixels below are low")->capture_default_str();
  command->add_option("--deviation", s.deviation, "Pixels farther from the mean deviate")
      ->capture_default_str();
  command->add_flag("--spread-low", s.spread_low, "A low pixel marks its right neighbour as well");
  command->add_option("--spike-delta", s.spike_delta, "Margin of spikes to count and remove")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  command->add_option("--block", s.block, "Side of the blocks in pixels")
      ->check(CLI::Range(1, 255))
      ->capture_default_str();
  command->add_option("--center", s.center, "Side of the middle square; half the shorter side")
      ->check(CLI::PositiveNumber);
  command
      ->add_option("--white-percent", s.white_percent,
                   "Share of brightest pixels that the second equalisation keeps")
      ->check(CLI::Range(0, 100))
      ->capture_default_str();
  command->callback([job, &result] { result = inspect(*job); });
}

void add_image_command(CLI::App &app, exit_status &result) {
  CLI::App *image = app.add_subcommand("image", "Looks at frames, changes them, makes them up");
  image->footer(kImageHelp);
  need_subcommand(image);
  add_inspect_command(image, result);
  add_apply_command(image, result);
  add_synth_command(image, result);
}

}  // namespace tools
