// orva-fp image synth: frames with known defects at known places.
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/synthetic_frame.h"
#include "tools/image/image_command.h"

namespace tools {

namespace {

using simulator::synthetic_frame;

constexpr char kHelp[] =
    R"(Standard output names each defect and its place. The same arguments give the same file on every
machine. OUT is written in the format of its extension: .png, .pgm, .bmp, .raw or .bin.

Exit status:
  0  OUT was written
  2  bad arguments, or a defect that does not fit the frame
  4  OUT cannot be written)";

const std::map<std::string, synthetic_frame::place> kDirections = {
    {"row", {1, 0}}, {"column", {0, 1}}, {"down-right", {1, 1}}, {"down-left", {-1, 1}}};
const std::map<std::string, uint8_t> kLevels = {{"dark", synthetic_frame::kDark},
                                                {"bright", synthetic_frame::kBright}};

struct options {
  std::string out;
  int32_t width = 64;
  int32_t height = 64;
  uint32_t seed = 1;
  std::string pattern = "ridges";
  int32_t dead_line = 0;
  std::string direction = "row";
  std::string line_level = "dark";
  std::vector<int32_t> line_at;
  int32_t cluster = 0;
  std::vector<int32_t> cluster_at;
  int32_t water = 0;
  bool water_columns = false;
  int32_t saturate = 0;
  int32_t salt_pepper = 0;
  int32_t bits = 8;
  bool dummy = false;
};

// A band of the given number of rows across the middle of the frame, or of columns down it. Its
// ends stay off the border: a dark stretch that reaches it is not one of water.
void add_water(synthetic_frame &f, const options &o) {
  const int32_t across = o.water_columns ? f.height() : f.width();
  const int32_t along = o.water_columns ? f.width() : f.height();
  const int32_t length = across * 5 / 8;
  const synthetic_frame::place turned = {(across - length) / 2, (along - o.water) / 2};
  const auto corner = o.water_columns ? synthetic_frame::place{turned.y, turned.x} : turned;
  const int32_t columns = o.water_columns ? o.water : length;
  const int32_t rows = o.water_columns ? length : o.water;
  f.add_water(corner, columns, rows);
  printf("water: columns %d to %d, rows %d to %d\n", corner.x, corner.x + columns - 1, corner.y,
         corner.y + rows - 1);
}

// Where not given: centred, in the upper half.
void add_line(synthetic_frame &f, const options &o) {
  const synthetic_frame::place step = kDirections.at(o.direction);
  synthetic_frame::place start = {(f.width() - step.x * (o.dead_line - 1)) / 2,
                                  (f.height() - step.y * (o.dead_line - 1)) / 2};
  if (step.y == 0) start.y = f.height() * 3 / 8;
  if (!o.line_at.empty()) start = {o.line_at[0], o.line_at[1]};
  f.add_line(start, step, o.dead_line, kLevels.at(o.line_level));
  printf("dead line: %d pixels from %d,%d to %d,%d\n", o.dead_line, start.x, start.y,
         start.x + step.x * (o.dead_line - 1), start.y + step.y * (o.dead_line - 1));
}

void add_cluster(synthetic_frame &f, const options &o) {
  synthetic_frame::place corner = {f.width() * 3 / 4, f.height() * 3 / 4};
  if (!o.cluster_at.empty()) corner = {o.cluster_at[0], o.cluster_at[1]};
  f.add_cluster(corner, o.cluster, synthetic_frame::kBright);
  printf("cluster: %d x %d pixels at %d,%d\n", o.cluster, o.cluster, corner.x, corner.y);
}

synthetic_frame make(const options &o) {
  constexpr uint8_t kFlatLevel = 128;
  synthetic_frame f = o.pattern == "flat" ? synthetic_frame(o.width, o.height, o.seed, kFlatLevel)
                                          : synthetic_frame(o.width, o.height, o.seed);
  if (o.water != 0) add_water(f, o);
  if (o.dead_line != 0) add_line(f, o);
  if (o.cluster != 0) add_cluster(f, o);
  if (o.saturate != 0) {
    f.saturate(o.saturate);
    printf("saturated: %d pixels between the first and last column\n", o.saturate);
  }
  if (o.salt_pepper != 0) {
    f.add_salt_and_pepper(o.salt_pepper);
    printf("salt and pepper: %d pixels\n", o.salt_pepper);
  }
  return f;
}

exit_status run(const options &o) {
  if (o.dummy && o.bits != 16) throw command_error(kBadUsage, "--dummy goes with --bits 16");
  if (int64_t{o.width} * o.height > kLargestFrame) {
    throw command_error(kBadUsage, "more than " + std::to_string(kLargestFrame) + " pixels");
  }
  try {
    need_writable_format(o.out, o.bits == 16);
    const synthetic_frame f = make(o);
    const int32_t more = o.dummy ? 1 : 0;
    frame file{f.width() + more, f.height() + more, {}, {}};
    if (o.bits == 16) {
      file.samples = f.raw(o.dummy);
    } else {
      file.pixels = f.pixels();
    }
    save_frame(o.out, file);
    printf("%s: %d x %d, %d bits\n", o.out.c_str(), file.width, file.height, o.bits);
  } catch (const simulator::placement_error &error) {
    throw command_error(kBadUsage, error.what());
  } catch (const frame_error &error) {
    throw command_error(kBadOutput, error.what());
  }
  return kPass;
}

}  // namespace

void add_synth_command(CLI::App *image, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *command = image->add_subcommand("synth", "Makes up a frame with known defects");
  command->footer(kHelp);
  const auto size = CLI::Range(1, static_cast<int>(kLargestFrame));
  const auto count = [&](const char *name, int32_t &to, const char *text) {
    return command->add_option(name, to, text)->check(size);
  };
  command->add_option("out", o->out, "File to write")->required()->type_name("OUT");
  count("--width", o->width, "Width in pixels")->capture_default_str();
  count("--height", o->height, "Height in pixels")->capture_default_str();
  command->add_option("--seed", o->seed, "Another number, another frame")->capture_default_str();
  command->add_option("--pattern", o->pattern, "ridges or flat")
      ->check(CLI::IsMember({"ridges", "flat"}))
      ->capture_default_str();
  count("--dead-line", o->dead_line, "A line of so many pixels of one level");
  command->add_option("--dead-line-direction", o->direction, "row, column, down-right, down-left")
      ->check(CLI::IsMember(&kDirections))
      ->capture_default_str();
  command->add_option("--dead-line-level", o->line_level, "dark or bright")
      ->check(CLI::IsMember(&kLevels))
      ->capture_default_str();
  command->add_option("--dead-line-at", o->line_at, "Column and row of its first pixel: X,Y")
      ->expected(2)
      ->delimiter(',');
  count("--cluster", o->cluster, "A bright square of so many pixels each way");
  command->add_option("--cluster-at", o->cluster_at, "Column and row of its top left pixel: X,Y")
      ->expected(2)
      ->delimiter(',');
  count("--water", o->water, "A dark band of so many rows");
  command->add_flag("--water-columns", o->water_columns, "The band has so many columns instead");
  count("--saturate", o->saturate, "So many pixels of 255, or samples of 65535, here and there");
  count("--salt-pepper", o->salt_pepper, "So many single pixels of 0 or 255");
  command->add_option("--bits", o->bits, "8, or 16 for samples of 12 bits in 16")
      ->check(CLI::IsMember({8, 16}))
      ->capture_default_str();
  command->add_flag("--dummy", o->dummy, "Add the T dummy: row 0 and the middle column");
  command->callback([o, &result] { result = run(*o); });
}

}  // namespace tools
