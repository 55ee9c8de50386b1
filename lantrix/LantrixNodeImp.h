// The state behind a LantrixNodeHandle: the node's id and what has been asked about it.
// Owns the caches; borrows the server handle. A copy copies caches and stale flags.
// Threads as LantrixNodeHandle. The refreshing functions return false with the server's last
// error set and leave their cache stale, so that the next call asks again.
#ifndef LANTRIX_LANTRIXNODEIMP_H
#define LANTRIX_LANTRIXNODEIMP_H

#include "lantrix/LantrixClientAPI.h"
#include "lantrix/LantrixNodeClientAPI.h"

#include <string>
#include <vector>

class LantrixNodeImp {
public:
    /// Everything stale.
    LantrixNodeImp(const LantrixServerHandle& server, const LantrixNodeId& id)
        : id_(id), server_(&server) {}

    /// Fill a cache unless it is fresh.
    bool refreshChildren(LantrixServerImp& server);
    bool refreshMetaDataStreams(LantrixServerImp& server);
    bool refreshFrameIds(LantrixServerImp& server);
    bool refreshClipFormat(LantrixServerImp& server);
    bool refreshNodeType(LantrixServerImp& server);
    bool refreshDisplayName(LantrixServerImp& server);
    /// A server that has no frame paths, or whose version can't be asked, gives none.
    bool refreshFramePaths(LantrixServerImp& server);

    /// Makes the state name another node on the same server; keeps all for the same id.
    void setId(const LantrixNodeId& id);
    /// Forgets everything but id and server.
    void forget();
    /// Makes the state name a child of another node, with its display name. \p keeps: what is known
    /// stays where setId() would keep it; otherwise all is forgotten.
    void become(LantrixNodeInterface::NodeInfo child, const LantrixServerHandle& server,
                bool keeps);
    /// Remembers the display name without asking.
    void knowDisplayName(std::string name);

    LantrixNodeId id_; // empty: no node
    std::vector<LantrixNodeInterface::NodeInfo> children_;
    std::vector<LantrixFrameId> frameIds_;
    std::vector<std::string> framePaths_;
    std::vector<std::string> metaDataStreams_;
    LantrixClipFormat clipFormat_;
    LantrixNodeInterface::NodeType nodeType_ = LantrixNodeInterface::PlainNode;
    int nodeTypeNumber_ = 0;
    std::string nodeTypeText_;
    std::string displayName_;
    const LantrixServerHandle* server_; // never null

    // True: must be asked before use.
    bool childrenStale_ = true;
    bool metaDataStreamsStale_ = true;
    bool frameIdsStale_ = true;
    bool clipFormatStale_ = true;
    bool nodeTypeStale_ = true; // with its number and text
    bool displayNameStale_ = true;
    bool framePathsStale_ = true;
};

#endif
