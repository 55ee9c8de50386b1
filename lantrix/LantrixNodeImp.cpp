#include "lantrix/LantrixNodeImp.h"

#include "lantrix/LantrixReplyText.h"
#include "lantrix/LantrixServerImp.h"

#include <cstring>
#include <utility>

namespace {

// Fills a cache through one call of the node service and marks it fresh when the call succeeded.
template <class Ask>
bool refresh(bool& stale, LantrixServerImp& server, Ask&& ask) {
    if (stale)
        stale = !server.transfer(ask(server.nodeService_), server.nodeService_);
    return !stale;
}

using Service = LantrixNodeClientAPI;

} // namespace

bool LantrixNodeImp::refreshChildren(LantrixServerImp& server) {
    return refresh(childrenStale_, server, [this](Service& service) {
        children_.clear();
        return service.getChildren(id_, children_);
    });
}

bool LantrixNodeImp::refreshMetaDataStreams(LantrixServerImp& server) {
    return refresh(metaDataStreamsStale_, server, [this](Service& service) {
        metaDataStreams_.clear();
        return service.queryMetaDataSupport(id_, metaDataStreams_);
    });
}

bool LantrixNodeImp::refreshFrameIds(LantrixServerImp& server) {
    return refresh(frameIdsStale_, server, [this](Service& service) {
        frameIds_.clear();
        return service.getFrames(id_, frameIds_);
    });
}

bool LantrixNodeImp::refreshClipFormat(LantrixServerImp& server) {
    return refresh(clipFormatStale_, server,
                   [this](Service& service) { return service.getClipFormat(id_, clipFormat_); });
}

bool LantrixNodeImp::refreshNodeType(LantrixServerImp& server) {
    return refresh(nodeTypeStale_, server, [this](Service& service) {
        return service.getNodeType(id_, nodeType_, nodeTypeNumber_) &&
               service.getNodeTypeStr(id_, nodeTypeText_);
    });
}

bool LantrixNodeImp::refreshDisplayName(LantrixServerImp& server) {
    return refresh(displayNameStale_, server,
                   [this](Service& service) { return service.getDisplayName(id_, displayName_); });
}

bool LantrixNodeImp::refreshFramePaths(LantrixServerImp& server) {
    if (!framePathsStale_)
        return true;
    framePaths_.clear();
    server.askVersion();
    return refresh(framePathsStale_, server, [this, &server](Service& service) {
        return !server.knows("GetFramePaths") || service.getFramePaths(id_, framePaths_);
    });
}

void LantrixNodeImp::setId(const LantrixNodeId& id) {
    if (std::strcmp(id.id(), id_.id()) == 0)
        return;
    if (*id_.id() == '\0')
        id_ = id; // a handle that named no node keeps what it was told before
    else
        *this = LantrixNodeImp(*server_, id);
}

void LantrixNodeImp::forget() {
    *this = LantrixNodeImp(*server_, id_);
}

void LantrixNodeImp::become(LantrixNodeInterface::NodeInfo child, const LantrixServerHandle& server,
                            bool keeps) {
    const LantrixNodeId id(child.second.c_str());
    lantrixRequireStored(id, child.second.c_str());
    if (!keeps)
        forget();
    setId(id);
    server_ = &server;
    lantrixRequireStored(id_, child.second.c_str());
    knowDisplayName(std::move(child.first));
}

void LantrixNodeImp::knowDisplayName(std::string name) {
    displayName_ = std::move(name);
    displayNameStale_ = false;
}
