// JSON as the tool writes it: members stay in the order in which they were set.
#ifndef TOOLS_REPORT_JSON_H
#define TOOLS_REPORT_JSON_H

#include <nlohmann/json.hpp>

#include <string>

namespace tool {

using Json = nlohmann::ordered_json;

/// JSON as one text; what is not UTF-8 is replaced.
[[nodiscard]] std::string dumpJson(const Json& json, int indent = -1);

} // namespace tool

#endif
