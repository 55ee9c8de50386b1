// What a server said, as a terminal may show it.
#ifndef TOOLS_REPORT_PRINTABLETEXT_H
#define TOOLS_REPORT_PRINTABLETEXT_H

#include <string>

namespace tool {

/// The text with its control characters, which a terminal would obey, as "\n", "\t", "\x1b"; those
/// of \p kept stay. All else stays, UTF-8 or not.
[[nodiscard]] std::string printableText(const std::string& text, const std::string& kept = "");

} // namespace tool

#endif
