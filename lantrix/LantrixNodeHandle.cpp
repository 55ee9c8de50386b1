// The node handle: navigation, creation, frames and metadata by index and name.
#include "lantrix/LantrixClientAPI.h"

#include "base/loggerBase/src/CoText.h"
#include "lantrix/LantrixNoServer.h"
#include "lantrix/LantrixNodeImp.h"
#include "lantrix/LantrixServerImp.h"
#include "lantrix/LantrixStored.h"

#include <memory>
#include <string>
#include <vector>

namespace {

int countOf(const LantrixCached<LantrixTextList>& list) {
    return static_cast<int>(list.get().size());
}

// What every transfer of a frame by index needs; the buffer is checked before the index.
bool prepareFrame(LantrixNodeImp& node, LantrixServerImp& server, int frameIndex, int bufferSize,
                  const char* tooSmall) {
    if (!node.refreshFrameIds(server) || !node.refreshClipFormat(server))
        return false;
    if (node.clipFormat_.get().frameBufferSize() > bufferSize)
        return server.fail(tooSmall);
    return node.frameIds_.get().holds(frameIndex) || server.fail("Frame index out of range");
}

// The first frame never announces the second: a single frame is often looked at alone.
void announceNextFrame(LantrixNodeImp& node, LantrixServerImp& server, int frameIndex,
                       int bufferSize) {
    const std::size_t next = static_cast<std::size_t>(frameIndex) + 1;
    const LantrixTextList& frames = node.frameIds_.get();
    if (frameIndex == 0 || next >= frames.size())
        return;
    if (server.askVersion() && server.knows("ReadAhead"))
        server.frameService_.readAheadById(frames[next], bufferSize);
}

} // namespace

LantrixNodeHandle::LantrixNodeHandle() : LantrixNodeHandle(lantrixNoServer(), "") {}

LantrixNodeHandle::LantrixNodeHandle(const LantrixServerHandle& server, const char* id)
    : LantrixNodeHandle(server, LantrixNodeId(id)) {}

LantrixNodeHandle::LantrixNodeHandle(const LantrixServerHandle& server, const LantrixNodeId& id)
    : imp_(std::make_unique<LantrixNodeImp>(server, id).release()) {}

LantrixNodeHandle::LantrixNodeHandle(const LantrixNodeHandle& other)
    : imp_(std::make_unique<LantrixNodeImp>(other.imp()).release()) {}

LantrixNodeHandle& LantrixNodeHandle::operator=(const LantrixNodeHandle& other) {
    if (this != &other) {
        auto copy = std::make_unique<LantrixNodeImp>(other.imp());
        const std::unique_ptr<LantrixNodeImp> old(&imp());
        imp_ = copy.release();
    }
    return *this;
}

LantrixNodeHandle::~LantrixNodeHandle() {
    const std::unique_ptr<LantrixNodeImp> owned(imp_);
}

LantrixNodeImp& LantrixNodeHandle::imp() const {
    lantrixAssertState(imp_);
    return *imp_;
}

LantrixServerImp& LantrixNodeHandle::serverImp() const {
    return imp().server_->imp();
}

void LantrixNodeHandle::setNodeId(const LantrixNodeId& id) {
    LantrixNodeId copy(id);
    imp().setId(copy);
}

void LantrixNodeHandle::setNodeId(const char* id) {
    LantrixNodeId copy(id);
    imp().setId(copy);
}

const LantrixNodeId& LantrixNodeHandle::getNodeId() const {
    return imp().id_;
}

void LantrixNodeHandle::setServer(const LantrixServerHandle& server) {
    imp().server_ = &server;
}

const LantrixServerHandle& LantrixNodeHandle::getServer() const {
    return *imp().server_;
}

const char* LantrixNodeHandle::lastError() const {
    return getServer().lastError();
}

bool LantrixNodeHandle::getNodeType(int& type) const {
    if (!imp().refreshKind(serverImp()))
        return false;
    type = imp().kind_.get().number;
    return true;
}

bool LantrixNodeHandle::getNodeTypeStr(LantrixStr& type) const {
    LantrixServerImp& server = serverImp();
    return imp().refreshKind(server) && server.give(type, imp().kind_.get().text.c_str());
}

bool LantrixNodeHandle::getIsClipNode(bool& isClip) const {
    if (!imp().refreshKind(serverImp()))
        return false;
    isClip = imp().kind_.get().type == LantrixNodeInterface::ClipNode;
    return true;
}

bool LantrixNodeHandle::getDisplayName(LantrixStr& name) const {
    LantrixServerImp& server = serverImp();
    return imp().refreshDisplayName(server) && server.give(name, imp().displayName_.get().c_str());
}

bool LantrixNodeHandle::getClipFormat(LantrixClipFormat& format) const {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        if (!imp().refreshClipFormat(server))
            return false;
        LantrixClipFormat copy = lantrixWholeCopy(imp().clipFormat_.get());
        format.swap(copy);
        return true;
    });
}

bool LantrixNodeHandle::getNumChildren(int& count) const {
    if (!imp().refreshChildren(serverImp()))
        return false;
    count = countOf(imp().children_);
    return true;
}

bool LantrixNodeHandle::getChild(int index, LantrixNodeHandle& child) const {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        if (!imp().refreshChildren(server))
            return false;
        const LantrixTextList& children = imp().children_.get();
        if (!children.holds(index))
            return server.fail("Child node index out of range");
        const std::size_t i = static_cast<std::size_t>(index);
        LantrixNodeId id;
        lantrixStoreId(id, children[i]);
        std::string name = children.second(i);
        child.imp().become(id, name, getServer());
        return true;
    });
}

bool LantrixNodeHandle::create(const char* name, bool isClip, const char* type,
                               LantrixNodeHandle& child) {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        const auto kind = isClip ? LantrixNodeInterface::ClipNode : LantrixNodeInterface::PlainNode;
        const LantrixServerHandle& handle = getServer();
        LantrixNodeId id;
        std::string displayName = coTextOrEmpty(name); // before anything is created
        if (!server.askNodes(
                [&](auto& nodes) { return nodes.createNode(imp().id_, name, kind, type, id); }))
            return false;
        if (imp().children_.isKnown())
            imp().children_.get().appendPair(id.id(), displayName.c_str());
        child.imp().become(id, displayName, handle);
        return true;
    });
}

bool LantrixNodeHandle::createNode(const char* name, const char* type, LantrixNodeHandle& child) {
    return create(name, /*isClip=*/false, type, child);
}

bool LantrixNodeHandle::createNode(const char* name, int type, LantrixNodeHandle& child) {
    return serverImp().attempt(
        [&] { return createNode(name, coFormatCut(32, "%d", type).c_str(), child); });
}

bool LantrixNodeHandle::createClipNode(const char* name, const LantrixClipFormat& format,
                                       const char* type, LantrixNodeHandle& child) {
    return serverImp().attempt([&] {
        LantrixClipFormat copy = lantrixWholeCopy(format); // before anything is created
        if (!create(name, /*isClip=*/true, type, child))
            return false;
        child.imp().clipFormat_.set(copy);
        return true;
    });
}

bool LantrixNodeHandle::createClipNode(const char* name, const LantrixClipFormat& format, int type,
                                       LantrixNodeHandle& child) {
    return serverImp().attempt(
        [&] { return createClipNode(name, format, coFormatCut(32, "%d", type).c_str(), child); });
}

bool LantrixNodeHandle::destroyNode() {
    LantrixServerImp& server = serverImp();
    if (!server.askNodes([this](auto& nodes) { return nodes.destroyNode(imp().id_); }))
        return false;
    imp().forget();
    return true;
}

bool LantrixNodeHandle::linkToFrames(const LantrixStr* paths, int count) {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        if (!imp().refreshClipFormat(server) || !server.askVersion())
            return false;
        if (!server.knows("SetFramePaths"))
            return server.fail("Server does not support linking to existing media files.");
        std::vector<std::string> list;
        for (int i = 0; paths != nullptr && i < count; ++i)
            list.emplace_back(paths[i].c_str());
        if (!server.askNodes([&](auto& nodes) {
                return nodes.setFramePaths(imp().id_, list, imp().clipFormat_.get());
            }))
            return false;
        imp().frameIds_.forget();
        imp().framePaths_.forget();
        imp().clipFormat_.forget();
        return true;
    });
}

bool LantrixNodeHandle::getNumFrames(int& numFrames) const {
    if (!imp().refreshFrameIds(serverImp()))
        return false;
    numFrames = countOf(imp().frameIds_);
    return true;
}

bool LantrixNodeHandle::setNumFrames(int numFrames) {
    LantrixServerImp& server = serverImp();
    if (!imp().refreshClipFormat(server))
        return false;
    imp().frameIds_.forget(); // also when the allocation fails, which may have been carried out
    LantrixTextList frames;
    if (!server.askNodes([&](auto& nodes) {
            return nodes.listNewFrames(imp().id_, numFrames, imp().clipFormat_.get(), frames);
        }))
        return false;
    imp().frameIds_.set(frames);
    imp().clipFormat_.forget(); // the server may have chosen another
    return true;
}

bool LantrixNodeHandle::getFrameId(int frameIndex, LantrixStr& frameId) const {
    LantrixServerImp& server = serverImp();
    if (!imp().refreshFrameIds(server))
        return false;
    const LantrixTextList& frames = imp().frameIds_.get();
    if (!frames.holds(frameIndex))
        return server.fail("Frame index out of range");
    return server.give(frameId, frames[static_cast<std::size_t>(frameIndex)]);
}

bool LantrixNodeHandle::getFrameIdPath(int frameIndex, LantrixStr& path) const {
    LantrixServerImp& server = serverImp();
    if (!imp().refreshFramePaths(server))
        return false;
    if (frameIndex < 0)
        return server.fail("Frame index out of range");
    // An index beyond the last path is not a failure: older servers have no paths at all.
    const LantrixTextList& paths = imp().framePaths_.get();
    const bool isKnown = paths.holds(frameIndex);
    return server.give(path, isKnown ? paths[static_cast<std::size_t>(frameIndex)] : "");
}

bool LantrixNodeHandle::readFrame(int frameIndex, void* buffer, int bufferSize) {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        if (!prepareFrame(imp(), server, frameIndex, bufferSize,
                          "Unable to read frame: Supplied frame buffer too small"))
            return false;
        announceNextFrame(imp(), server, frameIndex, bufferSize);
        server.frameService_.readFrameById(
            imp().frameIds_.get()[static_cast<std::size_t>(frameIndex)], static_cast<char*>(buffer),
            bufferSize);
        return true;
    });
}

bool LantrixNodeHandle::writeFrame(int frameIndex, const void* buffer, int bufferSize) {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        if (!prepareFrame(imp(), server, frameIndex, bufferSize,
                          "Unable to write frame: Supplied frame buffer too small"))
            return false;
        server.frameService_.writeFrameById(
            imp().frameIds_.get()[static_cast<std::size_t>(frameIndex)],
            static_cast<const char*>(buffer), bufferSize);
        return true;
    });
}

bool LantrixNodeHandle::getNumAvailableMetaDataStreams(int& count) const {
    if (!imp().refreshMetaDataStreams(serverImp()))
        return false;
    count = countOf(imp().metaDataStreams_);
    return true;
}

bool LantrixNodeHandle::getAvailableMetaDataStream(int index, LantrixStr& name) const {
    LantrixServerImp& server = serverImp();
    if (!imp().refreshMetaDataStreams(server))
        return false;
    const LantrixTextList& streams = imp().metaDataStreams_.get();
    if (!streams.holds(index))
        return server.fail("Metadata stream index out of range");
    return server.give(name, streams[static_cast<std::size_t>(index)]);
}

bool LantrixNodeHandle::getMetaData(const char* streamName, const char* filter, int depth,
                                    LantrixStr& data) const {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        std::string text;
        return server.askNodes([&](auto& nodes) {
            return nodes.getMetaData(imp().id_, streamName, filter, depth, text);
        }) && server.give(data, text.c_str());
    });
}

bool LantrixNodeHandle::setMetaData(const char* streamName, const LantrixStr& data) const {
    LantrixServerImp& server = serverImp();
    // A version that can't be asked counts as too old, and this text then replaces its failure's.
    if (!server.askVersion() || !server.knows("SetMetaData"))
        return server.fail("Functionality not supported on remote Lantrix server.");
    return server.askNodes(
        [&](auto& nodes) { return nodes.setMetaData(imp().id_, streamName, data.c_str()); });
}
