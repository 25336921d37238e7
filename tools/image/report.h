// The measures of many frames as a table, as JSON or as CSV.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tools/image/analysis.h"

namespace tools {

enum class report_form : uint8_t { kTable, kJson, kCsv };

// A pattern of fmt with measures as its named arguments, all but floating point as the table has
// them.
std::string tell(const json &measures, const std::string &pattern);

// Of measures, or of objects with "file" and "error" alone. The table has the most asked-for keys
// of those that were measured; CSV has a column for every key.
std::string report(const json &frames, report_form form);

}  // namespace tools
