// orva-fp image diff: how two frames of one size differ.
#include <algorithm>
#include <cmath>
#include <memory>

#include <orva_fp/sensor_test.h>

#include "tools/image/contact_sheet.h"
#include "tools/image/image_command.h"
#include "tools/image/report.h"
#include "tools/image/sheet.h"
#include "tools/image/text.h"

namespace tools {

namespace {

using fmt::format;
using json = nlohmann::ordered_json;

constexpr char kHelp[] =
    R"(A folder stands for the fp_data.bin in it, so that two units can be compared. Standard output
gets the measures of both frames and of B - A. With --out a picture shows both frames, their
difference, and the defect marks that they share and do not share.)";

struct options {
  std::string files[2];
  std::string out;
  bool as_json = false;
  inspect_settings settings;
};

struct difference {
  std::vector<int32_t> levels;  // B - A, pixel by pixel
  double mean = 0;
  double root_mean_square = 0;
  int64_t changed = 0;
  int32_t largest = 0;  // without its sign
  pixel_place largest_at{};
};

difference compare(const frame &a, const frame &b) {
  difference d;
  int64_t sum = 0, squares = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    const int32_t level = b.pixels[i] - a.pixels[i];
    d.levels.push_back(level);
    sum += level;
    squares += level * level;
    d.changed += level != 0 ? 1 : 0;
    if (std::abs(level) > d.largest) {
      const auto width = static_cast<size_t>(a.width);
      d.largest = std::abs(level);
      d.largest_at = {static_cast<int32_t>(i % width), static_cast<int32_t>(i / width)};
    }
  }
  d.mean = static_cast<double>(sum) / static_cast<double>(a.size());
  d.root_mean_square = std::sqrt(static_cast<double>(squares) / static_cast<double>(a.size()));
  return d;
}

class diff_sheet : public sheet {
 public:
  diff_sheet(const analysis &a, const analysis &b, const difference &d)
      : sheet(a.shown.width, a.shown.height, 3, 2), a_(a), b_(b), d_(d) {}

  void draw(const std::string &name_a, const std::string &name_b) {
    header(format("A: {}   B: {}", name_a, name_b), frame_facts(a_));
    frame_panel("A", a_);
    frame_panel("B", b_);
    signed_panel();
    size_panel();
    histogram_panel();
    marks_panel();
  }

 private:
  void frame_panel(const char *name, const analysis &a) {
    begin(name);
    picture(a.shown.pixels);
    const auto tell = [](const verdict &v) { return !v.possible ? "n/a" : v.found ? "yes" : "no"; };
    caption(format("mean {}, standard deviation {:.1f}", a.mean, a.std_dev),
            format("defect {}, water {}, noise {}, white noise {}", tell(a.defect), tell(a.water),
                   tell(a.noise), tell(a.white_noise)));
  }

  void signed_panel() {
    begin("B - A");
    const mark darker = {kBlue, "\u25a0"}, brighter = {kVermilion, "\u25a0"};
    const shading shades = {{darker.c, grey(0.97), brighter.c}, -most_, most_};
    scale(shades);
    picture(d_.levels, shades);
    caption(format("{} B darker   {} B brighter", key(darker), key(brighter)),
            format("mean {:+.2f}", d_.mean));
  }

  void size_panel() {
    begin("Size of the difference");
    std::vector<int32_t> sizes;
    for (const int32_t level : d_.levels) sizes.push_back(std::abs(level));
    const shading shades = {kHeat, 0, most_};
    scale(shades);
    picture(sizes, shades);
    caption(format("{} of {} pixels differ", d_.changed, d_.levels.size()),
            format("root mean square {:.2f}, largest {} at {},{}", d_.root_mean_square, d_.largest,
                   d_.largest_at.x, d_.largest_at.y));
  }

  void histogram_panel() {
    begin("Differences");
    std::vector<int32_t> counts(static_cast<size_t>(2 * most_ + 1));
    for (const int32_t level : d_.levels) ++counts[static_cast<size_t>(level + most_)];
    chart(counts, -most_, most_, {{0, "no difference", {2, 3}}});
    caption("pixels per difference, square root scale");
  }

  void marks_panel() {
    begin("Defect marks");
    picture(b_.shown.pixels, kPale);
    const auto draw = [&](const mark &m, bool in_a, bool in_b) {
      return draw_marks(m, [&](size_t i) {
        return (a_.marked.marks[i] != 0) == in_a && (b_.marked.marks[i] != 0) == in_b;
      });
    };
    const int64_t both = draw(kSquare, true, true), only_a = draw(kDown, true, false),
                  only_b = draw(kUp, false, true);
    caption(format("{} both {}   {} A only {}   {} B only {}", key(kSquare), both, key(kDown),
                   only_a, key(kUp), only_b),
            "marked high, low or deviating");
  }

  const analysis &a_;
  const analysis &b_;
  const difference &d_;
  const int32_t most_ = std::max(d_.largest, 1);
};

exit_status run(const options &o) {
  std::string files[2];
  analysis frames[2];
  json measures;
  for (size_t i = 0; i < 2; ++i) {
    const std::filesystem::path given = o.files[i];
    std::error_code none;
    files[i] = std::filesystem::is_directory(given, none) ? given / ORVA_FP_DATA_FILE : given;
    frames[i] = analyse(files[i], load_frame(files[i], o.settings.layout), o.settings);
    measures[i == 0 ? "a" : "b"] = to_json(files[i], frames[i]);
  }
  const frame &a = frames[0].shown, &b = frames[1].shown;
  if (a.width != b.width || a.height != b.height) {
    throw frame_error(files[1], format("{} x {} pixels, but {} has {} x {}", b.width, b.height,
                                       printable(files[0]), a.width, a.height));
  }

  const difference d = compare(frames[0].shown, frames[1].shown);
  measures["difference"] = {{"mean", d.mean},
                            {"root_mean_square", d.root_mean_square},
                            {"changed", d.changed},
                            {"largest", d.largest},
                            {"largest_x", d.largest_at.x},
                            {"largest_y", d.largest_at.y}};
  if (!o.out.empty()) {
    diff_sheet s(frames[0], frames[1], d);
    s.draw(printable(o.files[0]), printable(o.files[1]));
    save_sheet(o.out, s.png());
  }
  FILE *text = lines_beside(o.out);
  if (o.as_json) {
    print(text, "{}", report(measures, report_form::kJson));
  } else {
    print(text, "{}", report({measures["a"], measures["b"]}, report_form::kTable));
    print(text,
          "B - A: mean {:+.2f}, root mean square {:.2f}, {} pixels differ, largest {} at {},{}\n",
          d.mean, d.root_mean_square, d.changed, d.largest, d.largest_at.x, d.largest_at.y);
  }
  return kPass;
}

}  // namespace

void add_diff_command(CLI::App *image, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *command = image->add_subcommand("diff", "Compares two frames of one size");
  command->footer(std::string(kHelp) + "\n\n" + kExitStatuses);
  command->add_option("a", o->files[0], "Frame or unit's folder")->required()->type_name("A");
  command->add_option("b", o->files[1], "Frame or unit's folder")->required()->type_name("B");
  command->add_option("--out", o->out, "Picture to draw (PNG)");
  command->add_flag("--json", o->as_json, "Print all measures as JSON");
  add_frame_options(command, o->settings);
  command->callback([o, &result] { result = run(*o); });
}

}  // namespace tools
