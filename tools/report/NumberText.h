// Numbers as people read them. Plain text; has no failures.
#ifndef TOOLS_REPORT_NUMBERTEXT_H
#define TOOLS_REPORT_NUMBERTEXT_H

#include <cstddef>
#include <string>

namespace tool {

/// A number without zeros at its end: "2.5", "25".
[[nodiscard]] std::string shortNumber(double number);

/// "23.976024" of a fraction like "24000/1001"; any other text as it is.
[[nodiscard]] std::string decimalOfFraction(const std::string& text);

/// Bytes in the unit that leaves up to four digits: "512 B", "27.6 MB".
[[nodiscard]] std::string byteText(long long bytes);

/// "1 frame", "6 frames".
[[nodiscard]] std::string countText(std::size_t count, const std::string& noun);

} // namespace tool

#endif
