// What is known of a node, as JSON: what stat prints, and what a mounted clip's description says.
// Plain values.
#ifndef TOOLS_VERBS_STATFIELDS_H
#define TOOLS_VERBS_STATFIELDS_H

#include "stream/TreeWalker.h"
#include "tools/report/Json.h"

#include <string>

namespace tool {

/// \p node is one of which all is known that can be asked.
[[nodiscard]] Json statFields(const std::string& host, const std::string& path,
                              const lantrix::WalkedNode& node);

} // namespace tool

#endif
