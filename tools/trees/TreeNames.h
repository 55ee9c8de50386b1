// Names of nodes as a file system can hold them, and back.
// Plain text. Failures are thrown as Failure.
#ifndef TOOLS_TREES_TREENAMES_H
#define TOOLS_TREES_TREENAMES_H

#include <string>
#include <vector>

namespace tool {

/// The names from the top of a tree down to a node; none for the top itself.
using TreePath = std::vector<std::string>;

/// The names with slashes between them, for messages.
[[nodiscard]] std::string pathText(const TreePath& path);

/// The bytes of a text that are not printable ASCII, and "%", as "%" and two hexadecimal digits.
[[nodiscard]] std::string escapedText(const std::string& text);
/// The text of an escaped one; what is no escape stays as it is.
[[nodiscard]] std::string unescapedText(const std::string& text);

/// The name as a file may have it: "%", a slash, control characters and a dot in front are escaped.
/// A name that is empty or too long is refused.
[[nodiscard]] std::string fileNameOf(const std::string& nodeName);
/// The name of the node that a file is named after: escapes that fileNameOf() writes are undone,
/// all other names are taken as they are.
[[nodiscard]] std::string nodeNameOf(const std::string& fileName);
/// True for names that fileNameOf() gives.
[[nodiscard]] bool isFileName(const std::string& name);

} // namespace tool

#endif
