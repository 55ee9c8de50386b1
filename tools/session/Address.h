// Addresses of nodes: "[HOST:]/display/path" or "[HOST:]id=NODE", and the shell patterns that
// the components of a path may be. Plain text; nothing here asks a server.
// Failures are thrown as Failure with the status of a usage error.
#ifndef TOOLS_SESSION_ADDRESS_H
#define TOOLS_SESSION_ADDRESS_H

#include <string>
#include <vector>

namespace tool {

struct Address {
    std::string host;
    std::vector<std::string> components; ///< Of the display path, or from a node with an id on.
    std::string nodeId;                  ///< Not empty exactly for "id=NODE".

    /// The display path, "/" for the root, or "id=NODE".
    [[nodiscard]] std::string path() const;
    /// As people write it: "HOST:" and path().
    [[nodiscard]] std::string text() const { return host + ":" + path(); }
    /// The last component; "" for the root, and for ids that were given.
    [[nodiscard]] std::string name() const;
    /// The address of the node above; only for paths that are not the root.
    [[nodiscard]] Address parent() const;
    [[nodiscard]] Address child(const std::string& name) const;
};

/// \p defaultHost stands in where the text has no host.
[[nodiscard]] Address parseAddress(const std::string& text, const std::string& defaultHost);

/// True for texts that can only be an address, not a file: "HOST:...", ":...", "id=...".
[[nodiscard]] bool looksLikeAddress(const std::string& text);

/// True when the text holds a character that patterns give a meaning.
[[nodiscard]] bool isNamePattern(const std::string& text);
[[nodiscard]] bool matchesNamePattern(const std::string& pattern, const std::string& name);

/// Refuses names that lists and paths of the protocol cannot carry, and names that do not fit
/// into the request that makes a node.
void checkNewName(const std::string& name, const std::string& parentId, const std::string& type);

} // namespace tool

#endif
