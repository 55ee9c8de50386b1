// The texts of the two connections, written and taken apart independently of the client library,
// and bytes as a report shows them.
// Stateless; any thread.
#ifndef TOOLS_CONFORM_WIREBYTES_H
#define TOOLS_CONFORM_WIREBYTES_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tool::wire {

/// The value as it stands in a line: tabs, line feeds and backslashes escaped.
[[nodiscard]] std::string escaped(const std::string& value);
/// The value that stands so in a line; nothing when the grammar has no such value.
[[nodiscard]] std::optional<std::string> unescaped(const std::string& text);
/// In double quotes, with a backslash before each double quote and each backslash.
[[nodiscard]] std::string quoted(const std::string& text);
/// A request of the frame connection: three texts, each with its NUL.
[[nodiscard]] std::string frameRequest(const std::string& name, const std::string& frameId,
                                       const std::string& size);

/// The pieces between the separators; none of an empty text.
[[nodiscard]] std::vector<std::string> split(const std::string& text, char separator);
/// True for a text that is exactly so many whole numbers with a blank between each two.
[[nodiscard]] bool areNumbers(const std::string& text, std::size_t count);
/// True for an id: not empty, without commas, blanks and bytes below 32.
[[nodiscard]] bool isId(const std::string& text);

/// Bytes for people: what can't be printed as \xHH, and long texts cut.
[[nodiscard]] std::string shown(const std::string& bytes);

} // namespace tool::wire

#endif
