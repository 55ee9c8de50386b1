// Finding nodes on a server: by address, by name below another node, by pattern.
// Plain functions on a session, which must outlive what they give. Failures are thrown as Failure.
#ifndef TOOLS_SESSION_NODESEARCH_H
#define TOOLS_SESSION_NODESEARCH_H

#include "tools/session/Address.h"
#include "tools/session/Session.h"

#include <optional>
#include <string>
#include <vector>

namespace tool {

/// A node and where it was found.
struct FoundNode {
    Address address;
    LantrixNodeHandle handle;
};

/// The node at the address. One request for the root and one for each component of a path; an
/// id is taken as it is. The failure names the component that is missing and a near name.
[[nodiscard]] LantrixNodeHandle findNode(Session& session, const Address& address);
/// The clip at the address; anything else is a Failure.
[[nodiscard]] LantrixNodeHandle findClip(Session& session, const Address& address);
/// The nodes that the address's patterns match, at least one, in the server's order.
[[nodiscard]] std::vector<FoundNode> findNodes(Session& session, const Address& address);

/// The child of this name; none when there is no such child.
[[nodiscard]] std::optional<FoundNode> findChild(Session& session, const FoundNode& parent,
                                                 const std::string& name);
/// The children; one request.
[[nodiscard]] std::vector<FoundNode> childrenOf(Session& session, const FoundNode& node);
/// The failure to find a component of the address; looks for a near name.
[[nodiscard]] Failure missingNode(Session& session, const Address& address, const FoundNode& parent,
                                  const std::string& component);

} // namespace tool

#endif
