// orva-fp image diff: how two frames of one size differ.
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include <orva_fp/sensor_test.h>

#include "tools/image/contact_sheet.h"
#include "tools/image/image_command.h"
#include "tools/image/report.h"
#include "tools/image/sheet.h"
#include "tools/image/text.h"

namespace tools {

namespace {

using fmt::format;

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

json summarise(const std::vector<int32_t> &difference, int32_t width) {
  const auto pixels = static_cast<double>(difference.size());
  const auto begin = difference.begin(), end = difference.end();
  const auto size = [](int32_t level) { return std::abs(level); };
  const auto largest = std::ranges::max_element(difference, {}, size);
  const auto place = static_cast<int32_t>(largest - begin);
  return {{"mean", std::accumulate(begin, end, 0.0) / pixels},
          {"root_mean_square", std::sqrt(std::inner_product(begin, end, begin, 0.0) / pixels)},
          {"changed", std::ssize(difference) - std::ranges::count(difference, 0)},
          {"largest", size(*largest)},
          {"largest_x", place % width},
          {"largest_y", place / width}};
}

void draw_frame(sheet &s, const char *name, const analysis &a) {
  s.begin(name);
  s.picture(a.shown.pixels);
  s.caption(tell(a.measures, "mean {mean}, standard deviation {std_dev:.1f}"),
            tell(a.measures,
                 "defect {defect_found}, water {is_water}, noise {noise}, white noise "
                 "{white_noise} (0 none, - not applicable)"));
}

void draw_difference(sheet &s, const std::vector<int32_t> &difference, const json &measures) {
  const int32_t largest = measures.at("largest"), most = std::max(largest, 1);
  s.begin("B - A");
  const mark darker = {kBlue, "\u25a0"}, brighter = {kVermilion, "\u25a0"};
  const shading directions = {{darker.c, grey(0.97), brighter.c}, -most, most};
  s.picture(difference, directions);
  s.scale(directions);
  s.caption(format("{} B darker   {} B brighter", key(darker), key(brighter)),
            tell(measures, "mean {mean:+.2f}"));

  s.begin("Size of the difference");
  std::vector<int32_t> sizes;
  for (const int32_t level : difference) sizes.push_back(std::abs(level));
  s.picture(sizes, {kHeat, 0, most});
  s.scale({kHeat, 0, most});
  s.caption(tell(measures, "{changed} pixels differ, root mean square {root_mean_square:.2f}"),
            tell(measures, "largest {largest} at {largest_x},{largest_y}"));

  s.begin("Differences");
  std::vector<int32_t> counts(static_cast<size_t>(2 * most + 1));
  for (const int32_t level : difference) ++counts[static_cast<size_t>(level + most)];
  s.chart(counts, -most, most, {{0, "no difference", {2, 3}}});
  s.caption("pixels per difference, square root scale");
}

void draw_marks(sheet &s, const analysis &a, const analysis &b) {
  s.begin("Defect marks");
  s.picture(b.shown.pixels, kPale);
  const auto draw = [&](const mark &m, const char *name, bool in_a, bool in_b) {
    const int64_t count = s.draw_marks(
        m, [&](size_t i) { return (a.marks[i] != 0) == in_a && (b.marks[i] != 0) == in_b; });
    return format("{} {} {}   ", key(m), name, count);
  };
  std::string legend = draw(kSquare, "both", true, true);
  legend += draw(kDown, "A only", true, false) + draw(kUp, "B only", false, true);
  s.caption(legend, "marked high, low or deviating");
}

exit_status run(const options &o) {
  std::string files[2];
  analysis frames[2];
  json measures;
  for (size_t i = 0; i < 2; ++i) {
    const std::filesystem::path given = o.files[i];
    std::error_code none;
    files[i] = std::filesystem::is_directory(given, none) ? given / ORVA_FP_DATA_FILE : given;
    frames[i] = analyse(files[i], load_frame(files[i], o.settings.layout), o.settings);
    measures[i == 0 ? "a" : "b"] = frames[i].measures;
  }
  const frame &a = frames[0].shown, &b = frames[1].shown;
  if (a.width != b.width || a.height != b.height) {
    throw frame_error(files[1], format("{} x {} pixels, but {} has {} x {}", b.width, b.height,
                                       printable(files[0]), a.width, a.height));
  }

  std::vector<int32_t> difference;
  for (size_t i = 0; i < a.size(); ++i) difference.push_back(b.pixels[i] - a.pixels[i]);
  measures["difference"] = summarise(difference, a.width);
  if (!o.out.empty()) {
    sheet s(a, 3, 2);
    s.header(format("A: {}   B: {}", printable(o.files[0]), printable(o.files[1])),
             frames[0].facts);
    draw_frame(s, "A", frames[0]);
    draw_frame(s, "B", frames[1]);
    draw_difference(s, difference, measures["difference"]);
    draw_marks(s, frames[0], frames[1]);
    save_sheet(o.out, s);
  }
  FILE *text = lines_beside(o.out);
  if (o.as_json) {
    print(text, "{}", report(measures, report_form::kJson));
  } else {
    print(text, "{}", report({measures["a"], measures["b"]}, report_form::kTable));
    print(text, "{}",
          tell(measures["difference"],
               "B - A: mean {mean:+.2f}, root mean square {root_mean_square:.2f}, {changed} pixels "
               "differ, largest {largest} at {largest_x},{largest_y}\n"));
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
