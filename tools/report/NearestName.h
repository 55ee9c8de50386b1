// The name that a mistyped one may stand for. Plain text; has no failures.
#ifndef TOOLS_REPORT_NEARESTNAME_H
#define TOOLS_REPORT_NEARESTNAME_H

#include <string>
#include <vector>

namespace tool {

/// The candidate that is most like \p name; "" when none is near.
[[nodiscard]] std::string nearestName(const std::string& name,
                                      const std::vector<std::string>& candidates);

} // namespace tool

#endif
