// Where texts of the library's lastError() are sorted into exit statuses, beyond the kinds that
// stream/ tells apart.
// Plain text; has no failures.
#ifndef TOOLS_REPORT_LIBRARYERROR_H
#define TOOLS_REPORT_LIBRARYERROR_H

#include "tools/report/Failure.h"

#include <string>

namespace tool {

/// The status that a text of the library's lastError() stands for. Texts that neither the library
/// nor the operating system writes come from the server, which refused.
[[nodiscard]] Status statusOfLibraryError(const std::string& text);

} // namespace tool

#endif
