#include "tools/image/report.h"

#include <algorithm>
#include <fmt/args.h>
#include <iomanip>
#include <sstream>
#include <vector>

#include "tools/image/text.h"

namespace tools {

namespace {

// Titles and keys.
constexpr const char *kColumns[][2] = {
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
  json keys = analyse("", {1, 1, {0}, {}}, {}).measures;
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

std::string tell(const json &measures, const std::string &pattern) {
  fmt::dynamic_format_arg_store<fmt::format_context> values;
  for (const auto &[key, value] : measures.items()) {
    if (value.is_number_float()) {
      values.push_back(fmt::arg(key.c_str(), value.get<double>()));
    } else {
      values.push_back(fmt::arg(key.c_str(), cell(value)));
    }
  }
  return fmt::vformat(pattern, values);
}

std::string report(const json &frames, report_form form) {
  return form == report_form::kJson  ? to_text(frames, 2) + "\n"
         : form == report_form::kCsv ? to_csv(frames)
                                     : to_table(frames);
}

}  // namespace tools
