// The state behind a LantrixNodeHandle: the node's id and what has been asked about it.
// Owns the answers; borrows the server handle. A copy has its own answers.
// Threads as LantrixNodeHandle. The refreshing functions return false with the server's last error
// set and leave their answer unknown, so that the next call asks again.
#ifndef LANTRIX_LANTRIXNODEIMP_H
#define LANTRIX_LANTRIXNODEIMP_H

#include "lantrix/LantrixCached.h"
#include "lantrix/LantrixNodeClientAPI.h"
#include "lantrix/LantrixTextList.h"

#include <string>

class LantrixServerHandle;
class LantrixServerImp;

/// The kind of a node as the server tells it, in two answers.
struct LantrixNodeKind {
    LantrixNodeInterface::NodeType type = LantrixNodeInterface::PlainNode;
    int number = 0;
    std::string text;
};

class LantrixNodeImp {
public:
    /// Without answers, and a copy with its answers. Both throw std::bad_alloc rather than lose a
    /// text.
    LantrixNodeImp(const LantrixServerHandle& server, const LantrixNodeId& id);
    LantrixNodeImp(const LantrixNodeImp& other);
    LantrixNodeImp& operator=(const LantrixNodeImp&) = delete;

    /// Ask unless the answer is known.
    bool refreshChildren(LantrixServerImp& server);
    bool refreshMetaDataStreams(LantrixServerImp& server);
    bool refreshFrameIds(LantrixServerImp& server);
    bool refreshClipFormat(LantrixServerImp& server);
    bool refreshKind(LantrixServerImp& server);
    bool refreshDisplayName(LantrixServerImp& server);
    /// A server that has no frame paths, or whose version can't be asked, gives none.
    bool refreshFramePaths(LantrixServerImp& server);

    /// Makes the state name another node on the same server; keeps its answers when the id is
    /// the same or no node was named before. Takes the text of \p id.
    void setId(LantrixNodeId& id) noexcept;
    /// Forgets everything but id and server.
    void forget() noexcept;
    /// As setId, for a node on \p server whose display name is known. Takes the texts.
    void become(LantrixNodeId& id, std::string& displayName,
                const LantrixServerHandle& server) noexcept;

    LantrixNodeId id_;                        // empty: no node
    const LantrixServerHandle* server_;       // never null
    LantrixCached<LantrixTextList> children_; // pairs of id and display name
    LantrixCached<LantrixTextList> frameIds_;
    LantrixCached<LantrixTextList> framePaths_;
    LantrixCached<LantrixTextList> metaDataStreams_;
    LantrixCached<LantrixClipFormat> clipFormat_;
    LantrixCached<LantrixNodeKind> kind_;
    LantrixCached<std::string> displayName_;
};

#endif
