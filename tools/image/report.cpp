#include "tools/image/report.h"

#include <algorithm>
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

std::string cell(const json &value) {
  if (value.is_null()) return "-";
  if (value.is_string()) return printable(value.get<std::string>());
  return value.is_number_float() ? fmt::format("{:.1f}", value.get<double>()) : value.dump();
}

// Mean, smallest and largest of a block map under a name.
void add_blocks(json &to, const std::string &name, const std::vector<uint8_t> &values) {
  json mean, smallest, largest;
  if (!values.empty()) {
    int64_t sum = 0;
    for (const uint8_t value : values) sum += value;
    mean = static_cast<double>(sum) / static_cast<double>(values.size());
    smallest = *std::min_element(values.begin(), values.end());
    largest = *std::max_element(values.begin(), values.end());
  }
  to[name] = mean;
  to[name + "_min"] = smallest;
  to[name + "_max"] = largest;
}

// Null where the measure does not apply.
template <typename T>
json where(bool applies, const T &value) {
  return applies ? json(value) : json();
}

json found(const verdict &v) { return where(v.possible, v.found ? 1 : 0); }

std::string to_text(const json &frames) {
  return frames.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

// As many columns as fmt reckons when it fills up to a width.
size_t width_of(const std::string &text) {
  const size_t room = 2 * text.size();
  return room - (fmt::format("{:<{}}", text, room).size() - text.size());
}

std::string to_table(const json &frames) {
  std::vector<std::vector<std::string>> lines(1);
  for (const column &c : kColumns) lines[0].push_back(c.title);
  for (const json &f : frames) {
    if (f.contains("error")) continue;
    std::vector<std::string> &line = lines.emplace_back();
    for (const column &c : kColumns) line.push_back(cell(f[c.key]));
  }
  std::string text;
  if (lines.size() == 1) return text;
  std::vector<size_t> widths(std::size(kColumns));
  for (const auto &line : lines) {
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], width_of(line[i]));
  }
  for (const auto &line : lines) {
    text += fmt::format("{:<{}}", line[0], widths[0]);
    for (size_t i = 1; i < line.size(); ++i) text += fmt::format("  {:>{}}", line[i], widths[i]);
    text += '\n';
  }
  return text;
}

std::string to_csv(const json &frames) {
  // An array is a text of JSON.
  const auto field = [](const json &value) -> std::string {
    if (value.is_null() || value.is_number()) return value.is_null() ? "" : value.dump();
    std::string quoted = "\"";
    for (const char c : value.is_string() ? value.get<std::string>() : value.dump()) {
      quoted += c == '"' ? std::string(2, c) : std::string(1, c);
    }
    return quoted + "\"";
  };
  json keys = to_json("", analysis());
  keys["error"] = nullptr;
  std::string text;
  for (const auto &[key, none] : keys.items()) text += (text.empty() ? "" : ",") + key;
  text += "\r\n";
  for (const json &f : frames) {
    std::string line;
    for (const auto &[key, none] : keys.items()) {
      line += (line.empty() ? "" : ",") + field(f.value(key, json()));
    }
    text += line + "\r\n";
  }
  return text;
}

}  // namespace

json to_json(const std::string &file, const std::string &error) {
  return {{"file", file}, {"error", error}};
}

json to_json(const std::string &file, const analysis &a) {
  const evaluation &e = a.marked;
  const pixel_run &run = e.longest_run;
  const bool has_run = run.length != 0;
  const auto largest = std::ranges::max_element(e.clusters, {}, &pixel_cluster::pixels);
  const bool has_cluster = largest != e.clusters.end();
  const auto bright = std::ranges::count(e.clusters, true, &pixel_cluster::bright);
  const bool split = a.has_otsu_split();
  json j = {
      {"file", file},
      {"width", a.shown.width},
      {"height", a.shown.height},
      {"bits", a.raw ? 16 : 8},
      {"sample_bits", where(a.raw.has_value(), a.raw ? a.raw->sample_bits : 0)},
      {"white_noise", found(a.white_noise)},
      {"saturated", where(a.raw.has_value(), a.raw ? a.raw->saturated : 0)},
      {"over_range", where(a.raw.has_value(), a.raw ? a.raw->over_range : 0)},
      {"mean", a.mean},
      {"minimum", a.minimum},
      {"std_dev", a.std_dev},
      {"center_size", a.center},
      {"center_mean", where(a.center_mean >= 0, a.center_mean)},
      {"quadrant_means", a.quadrant_means},
      {"tiles", e.tiles},
      {"eval_std_dev", e.std_dev},
      {"high_count", e.high_count},
      {"low_count", e.low_count},
      {"deviation_count", e.deviation_count},
      {"max_run", e.max_run},
      {"run_length", run.length},
      {"run_x", where(has_run, run.start.x)},
      {"run_y", where(has_run, run.start.y)},
      {"run_step", where(has_run, std::array{run.step.x, run.step.y})},
      {"clusters", e.clusters.size()},
      {"bright_clusters", bright},
      {"dark_clusters", std::ssize(e.clusters) - bright},
      {"cluster_x", where(has_cluster, has_cluster ? largest->first.x : 0)},
      {"cluster_y", where(has_cluster, has_cluster ? largest->first.y : 0)},
      {"cluster_pixels", where(has_cluster, has_cluster ? largest->pixels : 0)},
      {"defect_found", found(a.defect)},
      {"is_water", found(a.water)},
      {"dark_rows", a.dark_rows.qualifying},
      {"dark_columns", a.dark_columns.qualifying},
      {"dark_row_streak", a.dark_rows.longest_streak},
      {"dark_column_streak", a.dark_columns.longest_streak},
      {"otsu_threshold", where(split, a.otsu_threshold)},
      {"otsu_low_count", where(split, a.otsu_low_count)},
      {"otsu_high_count", where(split, a.otsu_high_count)},
      {"otsu_low_mean", where(split, a.otsu_low_mean)},
      {"otsu_high_mean", where(split, a.otsu_high_mean)},
      {"strong_spikes", a.spikes.strong_spike_count},
      {"strong_spike_limit", a.strong_spike_limit},
      {"delta_spikes", a.spikes.delta_spike_count},
      {"noise", where(a.noise.possible, a.noise_result)},
      {"spikes_removed", a.spikes_removed},
      {"median_distance", a.median_distance},
      {"block_columns", a.blocks.columns},
      {"block_rows", a.blocks.rows},
  };
  add_blocks(j, "block_mean", a.blocks.means);
  j["block_mean_sd"] = where(!a.blocks.means.empty(), a.blocks.means_sd);
  add_blocks(j, "block_range", a.blocks.ranges);
  j["sheet"] = nullptr;
  j["panels"] = json::array();
  return j;
}

std::string report(const json &frames, report_form form) {
  return form == report_form::kJson  ? to_text(frames)
         : form == report_form::kCsv ? to_csv(frames)
                                     : to_table(frames);
}

}  // namespace tools
