#include "lantrix/LantrixNodeImp.h"

#include "lantrix/LantrixServerImp.h"
#include "lantrix/LantrixStored.h"

#include <cstring>

namespace {

// Asks the node service for an answer unless it is known; keeps it when the call succeeded.
template <class Value, class Ask>
bool refresh(LantrixCached<Value>& cached, LantrixServerImp& server, Ask&& ask) {
    if (cached.isKnown())
        return true;
    Value answer{};
    if (!server.askNodes([&](LantrixNodeClientAPI& nodes) { return ask(nodes, answer); }))
        return false;
    cached.set(answer);
    return true;
}

using Nodes = LantrixNodeClientAPI;

} // namespace

LantrixNodeImp::LantrixNodeImp(const LantrixServerHandle& server, const LantrixNodeId& id)
    : id_(id), server_(&server) {
    lantrixRequireStored(id_.id(), id.id());
}

LantrixNodeImp::LantrixNodeImp(const LantrixNodeImp& other)
    : id_(other.id_), server_(other.server_), children_(other.children_),
      frameIds_(other.frameIds_), framePaths_(other.framePaths_),
      metaDataStreams_(other.metaDataStreams_), clipFormat_(other.clipFormat_), kind_(other.kind_),
      displayName_(other.displayName_) {
    lantrixRequireStored(id_.id(), other.id_.id());
    lantrixRequireStored(clipFormat_.get(), other.clipFormat_.get());
}

bool LantrixNodeImp::refreshChildren(LantrixServerImp& server) {
    return refresh(children_, server, [this](Nodes& nodes, LantrixTextList& children) {
        return nodes.listChildren(id_, children);
    });
}

bool LantrixNodeImp::refreshMetaDataStreams(LantrixServerImp& server) {
    return refresh(metaDataStreams_, server, [this](Nodes& nodes, LantrixTextList& streams) {
        return nodes.listMetaDataStreams(id_, streams);
    });
}

bool LantrixNodeImp::refreshFrameIds(LantrixServerImp& server) {
    return refresh(frameIds_, server, [this](Nodes& nodes, LantrixTextList& frames) {
        return nodes.listFrames(id_, frames);
    });
}

bool LantrixNodeImp::refreshClipFormat(LantrixServerImp& server) {
    return refresh(clipFormat_, server, [this](Nodes& nodes, LantrixClipFormat& format) {
        return nodes.getClipFormat(id_, format);
    });
}

bool LantrixNodeImp::refreshKind(LantrixServerImp& server) {
    return refresh(kind_, server, [this](Nodes& nodes, LantrixNodeKind& kind) {
        return nodes.getNodeType(id_, kind.type, kind.number) &&
               nodes.getNodeTypeStr(id_, kind.text);
    });
}

bool LantrixNodeImp::refreshDisplayName(LantrixServerImp& server) {
    return refresh(displayName_, server, [this](Nodes& nodes, std::string& name) {
        return nodes.getDisplayName(id_, name);
    });
}

bool LantrixNodeImp::refreshFramePaths(LantrixServerImp& server) {
    if (framePaths_.isKnown())
        return true;
    server.askVersion();
    return refresh(framePaths_, server, [&](Nodes& nodes, LantrixTextList& paths) {
        return !server.knows("GetFramePaths") || nodes.listFramePaths(id_, paths);
    });
}

void LantrixNodeImp::setId(LantrixNodeId& id) noexcept {
    if (std::strcmp(id.id(), id_.id()) == 0)
        return;
    if (*id_.id() != '\0')
        forget();
    id_.swap(id);
}

void LantrixNodeImp::forget() noexcept {
    children_.forget();
    frameIds_.forget();
    framePaths_.forget();
    metaDataStreams_.forget();
    clipFormat_.forget();
    kind_.forget();
    displayName_.forget();
}

void LantrixNodeImp::become(LantrixNodeId& id, std::string& displayName,
                            const LantrixServerHandle& server) noexcept {
    setId(id);
    server_ = &server;
    displayName_.set(displayName);
}
