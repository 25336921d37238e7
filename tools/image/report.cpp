#include "tools/image/report.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace tools {

namespace {

using json = nlohmann::ordered_json;

struct column {
  const char *title;
  const char *key;
};
constexpr column kColumns[] = {
    {"file", "file"},           {"width", "width"},
    {"height", "height"},       {"bits", "bits"},
    {"mean", "mean"},           {"centre", "center_mean"},
    {"min", "minimum"},         {"sd", "std_dev"},
    {"high", "high_count"},     {"low", "low_count"},
    {"dev", "deviation_count"}, {"run", "max_run"},
    {"defect", "defect_found"}, {"water", "is_water"},
    {"otsu", "otsu_threshold"}, {"strong", "strong_spikes"},
    {"delta", "delta_spikes"},  {"noise", "noise"},
    {"range", "block_range"},   {"white", "white_noise"},
};

std::string cell(const json &value) {
  if (value.is_null()) return "-";
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_number_float()) return value.dump();
  char text[32];
  snprintf(text, sizeof text, "%.1f", value.get<double>());
  return text;
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

}  // namespace

json to_json(const std::string &file, const std::string &error) {
  return {{"file", file}, {"error", error}};
}

json to_json(const std::string &file, const analysis &a) {
  json j = {{"file", file},
            {"width", a.shown.width},
            {"height", a.shown.height},
            {"bits", a.raw ? 16 : 8},
            {"white_noise", nullptr},
            {"saturated", nullptr},
            {"mean", a.mean},
            {"minimum", a.minimum},
            {"std_dev", a.std_dev},
            {"center_size", a.center},
            {"center_mean", nullptr},
            {"quadrant_means", a.quadrant_means}};
  if (a.raw) {
    j["white_noise"] = a.raw->white_noise ? 1 : 0;
    j["saturated"] = a.raw->saturated;
  }
  if (a.center_mean >= 0) j["center_mean"] = a.center_mean;

  for (const char *key : {"eval_std_dev", "high_count", "low_count", "deviation_count", "max_run",
                          "run_x", "run_y", "run_step", "clusters", "defect_found"}) {
    j[key] = nullptr;
  }
  if (a.evaluation) {
    j["eval_std_dev"] = a.evaluation->std_dev;
    j["high_count"] = a.evaluation->high_count;
    j["low_count"] = a.evaluation->low_count;
    j["deviation_count"] = a.evaluation->deviation_count;
    j["max_run"] = a.evaluation->max_run;
    j["clusters"] = a.clusters.size();
    j["defect_found"] = a.evaluation->defect_found;
    if (a.longest_run.length != 0) {
      j["run_x"] = a.longest_run.start.x;
      j["run_y"] = a.longest_run.start.y;
      j["run_step"] = {a.longest_run.step.x, a.longest_run.step.y};
    }
  }

  j["is_water"] = a.water ? 1 : 0;
  j["dark_rows"] = a.dark_rows.qualifying;
  j["dark_columns"] = a.dark_columns.qualifying;
  j["otsu_threshold"] = a.otsu_threshold;
  j["otsu_low_count"] = a.otsu_low_count;
  j["otsu_high_count"] = a.otsu_high_count;
  j["otsu_low_mean"] = a.otsu_low_mean;
  j["otsu_high_mean"] = a.otsu_high_mean;
  j["strong_spikes"] = a.noise.strong_spike_count;
  j["strong_spike_limit"] = a.strong_spike_limit;
  j["delta_spikes"] = a.noise.delta_spike_count;
  j["noise"] = a.noise_result;
  j["spikes_removed"] = a.spikes_removed;
  j["median_distance"] = a.median_distance;
  j["block_columns"] = a.blocks.columns;
  j["block_rows"] = a.blocks.rows;
  add_blocks(j, "block_mean", a.blocks.means);
  j["block_mean_sd"] = a.blocks.means.empty() ? json() : json(a.blocks.means_sd);
  add_blocks(j, "block_range", a.blocks.ranges);
  j["sheet"] = nullptr;
  return j;
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
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const auto &line : lines) {
    text += line[0] + std::string(widths[0] - line[0].size(), ' ');
    for (size_t i = 1; i < line.size(); ++i) {
      text += std::string(2 + widths[i] - line[i].size(), ' ') + line[i];
    }
    text += '\n';
  }
  return text;
}

}  // namespace tools
