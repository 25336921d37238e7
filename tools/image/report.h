// The measures of many frames as one table or as JSON.
#ifndef ORVA_TOOLS_IMAGE_REPORT_H
#define ORVA_TOOLS_IMAGE_REPORT_H

#include <nlohmann/json.hpp>
#include <string>

#include "tools/image/analysis.h"

namespace tools {

// Flat, with the same keys for every frame; null where a measure does not apply.
nlohmann::ordered_json to_json(const std::string &file, const analysis &a);
nlohmann::ordered_json to_json(const std::string &file, const std::string &error);

// The most asked-for keys of the measured ones in an array of such objects, a line per frame.
std::string to_table(const nlohmann::ordered_json &frames);

}  // namespace tools

#endif
