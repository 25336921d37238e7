// orva-fp image synth: frames with known defects at known places.
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "simulator/synthetic_frame.h"
#include "tools/image/frame_file.h"
#include "tools/image/image_command.h"
#include "tools/image/text.h"
#include "tools/output_file.h"

namespace tools {

namespace {

using json = nlohmann::ordered_json;
using simulator::synthetic_frame;

constexpr char kHelp[] =
    R"(Standard output names each defect and its place; --truth writes them as JSON. The same arguments
give the same file on every machine. OUT is written in the format of its extension: .png, .pgm, .bmp,
.raw or .bin. Samples of 16 bits use 12: inspect them with --sample-bits 12.)";

const std::map<std::string, synthetic_frame::place> kDirections = {
    {"row", {1, 0}}, {"column", {0, 1}}, {"down-right", {1, 1}}, {"down-left", {-1, 1}}};
const std::set<std::string> kPatterns = {"ridges", "flat"};
const std::map<std::string, uint8_t> kLevels = {{"dark", synthetic_frame::kDark},
                                                {"bright", synthetic_frame::kBright}};

struct options {
  std::string out, as, truth;
  int32_t width = 64, height = 64;
  uint32_t seed = 1;
  std::string pattern = "ridges";
  int32_t dead_line = 0, cluster = 0, water = 0, saturate = 0, salt_pepper = 0;
  std::string direction = "row";
  std::string line_level = "dark";
  std::vector<int32_t> line_at, cluster_at;
  std::string cluster_level = "bright";
  int32_t bits = 8;
  bool dummy = false, water_columns = false;
};

// A band of the given number of rows across the middle of the frame, or of columns down it. Its
// ends stay off the border: a dark stretch that reaches it is not one of water.
void add_water(synthetic_frame &f, const options &o) {
  const int32_t across = o.water_columns ? f.height() : f.width();
  const int32_t along = o.water_columns ? f.width() : f.height();
  const int32_t length = across * 5 / 8, start = (across - length) / 2, top = (along - o.water) / 2;
  if (o.water_columns) {
    f.add_water({top, start}, o.water, length);
  } else {
    f.add_water({start, top}, length, o.water);
  }
}

// Where not given: centred, in the upper half.
void add_line(synthetic_frame &f, const options &o) {
  const synthetic_frame::place step = kDirections.at(o.direction);
  synthetic_frame::place start = {(f.width() - step.x * (o.dead_line - 1)) / 2,
                                  (f.height() - step.y * (o.dead_line - 1)) / 2};
  if (step.y == 0) start.y = f.height() * 3 / 8;
  if (!o.line_at.empty()) start = {o.line_at[0], o.line_at[1]};
  f.add_line(start, step, o.dead_line, kLevels.at(o.line_level));
}

synthetic_frame make(const options &o) {
  constexpr uint8_t kFlatLevel = 128;
  synthetic_frame f = o.pattern == "flat" ? synthetic_frame(o.width, o.height, o.seed, kFlatLevel)
                                          : synthetic_frame(o.width, o.height, o.seed);
  if (o.water != 0) add_water(f, o);
  if (o.dead_line != 0) add_line(f, o);
  synthetic_frame::place corner = {f.width() * 3 / 4, f.height() * 3 / 4};
  if (!o.cluster_at.empty()) corner = {o.cluster_at[0], o.cluster_at[1]};
  if (o.cluster != 0) f.add_cluster(corner, o.cluster, kLevels.at(o.cluster_level));
  if (o.saturate != 0) f.saturate(o.saturate);
  if (o.salt_pepper != 0) f.add_salt_and_pepper(o.salt_pepper);
  return f;
}

exit_status run(const options &o) {
  need(!o.dummy || o.bits == 16, kBadUsage, "--dummy goes with --bits 16");
  frame file{o.width + o.dummy, o.height + o.dummy, {}, {}};
  need(file.width <= kLongestSide && file.height <= kLongestSide &&
           int64_t{file.width} * file.height <= kLargestFrame,
       kBadUsage, "more than {} pixels, or {} on a side", kLargestFrame, kLongestSide);
  const std::string format = output_format(o.out, o.as, o.bits == 16);
  const synthetic_frame f = make(o);
  if (o.bits == 16) {
    file.samples = f.raw(o.dummy);
    file.sample_bits = synthetic_frame::kSampleBits;
  } else {
    file.pixels = f.pixels();
  }
  save_frame(o.out, format, file);
  if (!o.truth.empty()) {
    const json truth = {{"file", o.out},  {"width", f.width()},    {"height", f.height()},
                        {"bits", o.bits}, {"dummy", o.dummy},      {"pattern", o.pattern},
                        {"seed", o.seed}, {"defects", f.defects()}};
    const std::string text = truth.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
    write_output_file(o.truth, std::vector<uint8_t>(text.begin(), text.end()));
  }
  FILE *to = lines_beside(o.truth == kStandardStream ? o.truth : o.out);
  for (json defect : f.defects()) {
    defect.erase("pixels");
    print(to, "{}\n", defect.dump());
  }
  print(to, "{}: {} x {}, {} bits\n",
        o.out == kStandardStream ? "standard output" : printable(o.out), file.width, file.height,
        o.bits);
  return kPass;
}

}  // namespace

void add_synth_command(CLI::App *image, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *command = image->add_subcommand("synth", "Makes up a frame with known defects");
  command->footer(std::string(kHelp) + "\n\n" + kExitStatuses);
  const auto size = CLI::Range(1, static_cast<int>(kLargestFrame));
  const auto count = [&](const char *name, int32_t &to, const char *text) {
    return command->add_option(name, to, text)->check(size);
  };
  command->add_option("out", o->out, "File to write")->required()->type_name("OUT");
  add_format_option(command, o->as, "Format of OUT, whatever its name");
  command->add_option("--truth", o->truth, "File for the defects and their places as JSON");
  count("--width", o->width, "Width in pixels")->capture_default_str();
  count("--height", o->height, "Height in pixels")->capture_default_str();
  command->add_option("--seed", o->seed, "Another number, another frame")->capture_default_str();
  const auto place = [&](const char *name, std::vector<int32_t> &to, const char *text) {
    return command->add_option(name, to, text)->expected(2)->delimiter(',');
  };
  const auto choice = [&](const char *name, std::string &to, const char *text, const auto &from) {
    return command->add_option(name, to, text)->check(CLI::IsMember(&from))->capture_default_str();
  };

  choice("--pattern", o->pattern, "ridges or flat", kPatterns);
  CLI::Option *line = count("--dead-line", o->dead_line, "A line of so many pixels of one level");
  choice("--dead-line-direction", o->direction, "row, column, down-right, down-left", kDirections)
      ->needs(line);
  choice("--dead-line-level", o->line_level, "dark or bright", kLevels)->needs(line);
  place("--dead-line-at", o->line_at, "Column and row of its first pixel: X,Y")->needs(line);
  CLI::Option *cluster =
      count("--cluster", o->cluster, "A square of so many pixels each way of one level");
  choice("--cluster-level", o->cluster_level, "dark or bright", kLevels)->needs(cluster);
  place("--cluster-at", o->cluster_at, "Column and row of its top left pixel: X,Y")->needs(cluster);
  CLI::Option *water = count("--water", o->water, "A dark band of so many rows");
  command->add_flag("--water-columns", o->water_columns, "The band has so many columns instead")
      ->needs(water);
  count("--saturate", o->saturate, "So many pixels of 255, or samples of 65535, here and there");
  count("--salt-pepper", o->salt_pepper, "So many single pixels of 0 or 255");
  command->add_option("--bits", o->bits, "8, or 16 for samples of 12 bits in 16")
      ->check(CLI::IsMember({8, 16}))
      ->capture_default_str();
  command->add_flag("--dummy", o->dummy, "Add the T dummy: row 0 and the middle column");
  command->callback([o, &result] { result = run(*o); });
}

}  // namespace tools
