#include "tools/image/report.h"

#include <algorithm>
#include <iomanip>
#include <numeric>
#include <sstream>
#include <vector>

#include "tools/image/text.h"

namespace tools {

namespace {

using json = nlohmann::ordered_json;

struct column {
  const char *title;
  const char *key;
};
constexpr column kColumns[] = {
    {"file", "file"},           {"width", "width"},         {"height", "height"},
    {"bits", "bits"},           {"used", "sample_bits"},    {"tiles", "tiles"},
    {"mean", "mean"},           {"centre", "center_mean"},  {"min", "minimum"},
    {"sd", "std_dev"},          {"high", "high_count"},     {"low", "low_count"},
    {"dev", "deviation_count"}, {"run", "max_run"},         {"defect", "defect_found"},
    {"water", "is_water"},      {"otsu", "otsu_threshold"}, {"strong", "strong_spikes"},
    {"delta", "delta_spikes"},  {"noise", "noise"},         {"range", "block_range"},
    {"white", "white_noise"},
};

// Names need not be UTF-8.
std::string to_text(const json &value, int indent) {
  return value.dump(indent, ' ', false, json::error_handler_t::replace);
}

std::string cell(const json &value) {
  if (value.is_null()) return "-";
  if (value.is_string()) return printable(value.get<std::string>());
  return value.is_number_float() ? fmt::format("{:.1f}", value.get<double>()) : value.dump();
}

// As many columns as fmt reckons when it fills up to a width.
size_t width_of(const std::string &text) {
  const size_t room = 2 * text.size();
  return room - (fmt::format("{:<{}}", text, room).size() - text.size());
}

std::string to_table(const json &frames) {
  std::vector<std::string> lines;
  for (const auto &[title, key] : kColumns) {
    std::vector<std::string> cells = {title};
    for (const json &f : frames) {
      if (!f.contains("error")) cells.push_back(cell(f[key]));
    }
    size_t width = 0;
    for (const std::string &text : cells) width = std::max(width, width_of(text));
    lines.resize(cells.size());
    for (size_t i = 0; i < cells.size(); ++i) {
      lines[i] += lines[i].empty() ? fmt::format("{:<{}}", cells[i], width)
                                   : fmt::format("  {:>{}}", cells[i], width);
    }
  }
  return lines.size() == 1 ? "" : fmt::format("{}\n", fmt::join(lines, "\n"));
}

// Texts in quotes, an array as a text of JSON.
std::string field(const json &value) {
  if (value.is_null()) return "";
  if (value.is_number()) return value.dump();
  std::ostringstream text;
  text << std::quoted(value.is_string() ? value.get<std::string>() : to_text(value, -1), '"', '"');
  return text.str();
}

std::string to_csv(const json &frames) {
  json keys = to_json("", analysis());
  keys["error"] = nullptr;
  std::vector<std::string> line;
  for (const auto &[key, none] : keys.items()) line.push_back(key);
  std::string text = fmt::format("{}\r\n", fmt::join(line, ","));
  for (const json &f : frames) {
    line.clear();
    for (const auto &[key, none] : keys.items()) line.push_back(field(f.value(key, json())));
    text += fmt::format("{}\r\n", fmt::join(line, ","));
  }
  return text;
}

}  // namespace

json to_json(const std::string &file, const analysis &a) {
  const evaluation &e = a.marked;
  const pixel_run &run = e.longest_run;
  const auto bright = std::ranges::count(e.clusters, true, &pixel_cluster::bright);
  const auto largest = std::ranges::max_element(e.clusters, {}, &pixel_cluster::pixels);
  const pixel_cluster cluster = largest != e.clusters.end() ? *largest : pixel_cluster{};
  const raw_facts raw = a.raw.value_or(raw_facts{});
  json j = {{"file", file}};
  // Null where they do not apply.
  const auto add = [&](const json &measures, bool apply = true) {
    for (const auto &[key, value] : measures.items()) j[key] = apply ? value : json();
  };
  const auto add_verdict = [&](const char *key, const verdict &v) {
    add({{key, v.found ? 1 : 0}}, v.possible);
  };
  const auto add_blocks = [&](const std::string &key, std::vector<uint8_t> values) {
    const bool apply = !values.empty();
    if (!apply) values = {0};
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    add({{key, sum / static_cast<double>(values.size())},
         {key + "_min", std::ranges::min(values)},
         {key + "_max", std::ranges::max(values)}},
        apply);
  };
  add({{"width", a.shown.width}, {"height", a.shown.height}, {"bits", a.raw ? 16 : 8}});
  add({{"sample_bits", raw.sample_bits}}, a.raw.has_value());
  add_verdict("white_noise", a.white_noise);
  add({{"saturated", raw.saturated}, {"over_range", raw.over_range}}, a.raw.has_value());
  add({{"mean", a.mean}, {"minimum", a.minimum}, {"std_dev", a.std_dev}});
  add({{"center_size", a.center}});
  add({{"center_mean", a.center_mean}}, a.center_mean >= 0);
  add({{"quadrant_means", a.quadrant_means}});
  add({{"tiles", e.tiles}, {"eval_std_dev", e.std_dev}});
  add({{"high_count", e.high_count}, {"low_count", e.low_count}});
  add({{"deviation_count", e.deviation_count}});
  add({{"max_run", e.max_run}, {"run_length", run.length}});
  add({{"run_x", run.start.x}, {"run_y", run.start.y}, {"run_step", {run.step.x, run.step.y}}},
      run.length != 0);
  add({{"clusters", e.clusters.size()}, {"bright_clusters", bright}});
  add({{"dark_clusters", std::ssize(e.clusters) - bright}});
  add({{"cluster_x", cluster.first.x},
       {"cluster_y", cluster.first.y},
       {"cluster_pixels", cluster.pixels}},
      !e.clusters.empty());
  add_verdict("defect_found", a.defect);
  add_verdict("is_water", a.water);
  add({{"dark_rows", a.dark_rows.qualifying}, {"dark_columns", a.dark_columns.qualifying}});
  add({{"dark_row_streak", a.dark_rows.longest_streak}});
  add({{"dark_column_streak", a.dark_columns.longest_streak}});
  add({{"otsu_threshold", a.otsu_threshold},
       {"otsu_low_count", a.otsu_low_count},
       {"otsu_high_count", a.otsu_high_count},
       {"otsu_low_mean", a.otsu_low_mean},
       {"otsu_high_mean", a.otsu_high_mean}},
      a.has_otsu_split());
  add({{"strong_spikes", a.spikes.strong_spike_count}});
  add({{"strong_spike_limit", a.strong_spike_limit}});
  add({{"delta_spikes", a.spikes.delta_spike_count}});
  add({{"noise", a.noise_result}}, a.noise.possible);
  add({{"spikes_removed", a.spikes_removed}, {"median_distance", a.median_distance}});
  add({{"block_columns", a.blocks.columns}, {"block_rows", a.blocks.rows}});
  add_blocks("block_mean", a.blocks.means);
  add({{"block_mean_sd", a.blocks.means_sd}}, !a.blocks.means.empty());
  add_blocks("block_range", a.blocks.ranges);
  add({{"sheet", nullptr}, {"panels", json::array()}});
  return j;
}

std::string report(const json &frames, report_form form) {
  return form == report_form::kJson  ? to_text(frames, 2) + "\n"
         : form == report_form::kCsv ? to_csv(frames)
                                     : to_table(frames);
}

}  // namespace tools
