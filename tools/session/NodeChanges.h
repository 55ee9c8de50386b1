// Changes of a server's tree that must not be carried out twice: when the connection breaks and the
// reply is lost, the server is asked what it has done before anything is repeated.
// Plain functions on a session. Failures are thrown as Failure; those that withdraw have none.
#ifndef TOOLS_SESSION_NODECHANGES_H
#define TOOLS_SESSION_NODECHANGES_H

#include "tools/session/NodeSearch.h"

#include <string>

namespace tool {

/// Makes a node that holds others. \p parent must have no child of this name.
[[nodiscard]] LantrixNodeHandle makeNode(Session& session, FoundNode& parent,
                                         const std::string& name, const std::string& type);
/// Makes a clip whose handle knows the format; the server hears it with the first frames.
/// \p parent must have no child of this name. When the reply is lost and such a clip is there, it
/// is a failure: the clip may be somebody else's.
[[nodiscard]] LantrixNodeHandle makeClipNode(Session& session, FoundNode& parent,
                                             const std::string& name,
                                             const LantrixClipFormat& format,
                                             const std::string& type);
/// Makes a clip longer or shorter. The handle knows its frames then.
void setFrameCount(Session& session, FoundNode& clip, int count);
/// Gives a clip that has no frames this format and so many frames. The handle learns nothing of it.
void giveFrames(Session& session, const FoundNode& clip, const LantrixClipFormat& format,
                int count);
/// Removes a node with all below.
void removeNode(Session& session, FoundNode& node);

/// Removes what was made for work that has failed, also when an interrupt has ended that; on a
/// connection of its own, for at most 10 seconds.
void withdrawNode(const Options& options, const Address& address, const std::string& nodeId);
/// The same for frames that a clip was made longer by.
void withdrawFrames(const Options& options, const Address& address, const std::string& nodeId,
                    int count);

} // namespace tool

#endif
