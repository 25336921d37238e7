// The measures of many frames as a table, as JSON or as CSV.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tools/image/analysis.h"

namespace tools {

enum class report_form : uint8_t { kTable, kJson, kCsv };

// Flat, with the same keys for every frame; null where a measure does not apply.
nlohmann::ordered_json to_json(const std::string &file, const analysis &a);

// An array of such objects, or of ones with "file" and "error" alone. The table has the most
// asked-for keys of those that were measured; CSV has a column for every key.
std::string report(const nlohmann::ordered_json &frames, report_form form);

}  // namespace tools
