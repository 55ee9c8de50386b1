// The node handle: navigation, creation, frames and metadata by index and name.
#include "lantrix/LantrixClientAPI.h"

#include "base/loggerBase/src/CoAssert.h"
#include "base/loggerBase/src/CoText.h"
#include "lantrix/LantrixNodeImp.h"
#include "lantrix/LantrixReplyText.h"
#include "lantrix/LantrixServerImp.h"

#include <memory>
#include <new>
#include <utility>

namespace {

// The server of handles that have not been given one. It is built at load time, or earlier when
// an object that is built before needs it, and destroyed when the library is unloaded, behind
// every object of the application.
LantrixServerHandle& emptyHostServer() {
    alignas(LantrixServerHandle) static unsigned char storage[sizeof(LantrixServerHandle)];
    static LantrixServerHandle* const server = new (storage) LantrixServerHandle("");
    return *server;
}

__attribute__((constructor)) void buildEmptyHostServer() {
    emptyHostServer();
}

__attribute__((destructor)) void destroyEmptyHostServer() {
    emptyHostServer().~LantrixServerHandle();
}

template <class List>
bool holds(const List& list, int index) {
    return index >= 0 && static_cast<std::size_t>(index) < list.size();
}

template <class List>
int countOf(const List& list) {
    return static_cast<int>(list.size());
}

// What every transfer of a frame by index needs; the buffer is checked before the index.
bool prepareFrame(LantrixNodeImp& node, LantrixServerImp& server, int frameIndex, int bufferSize,
                  const char* tooSmall) {
    if (!node.refreshFrameIds(server) || !node.refreshClipFormat(server))
        return false;
    if (node.clipFormat_.frameBufferSize() > bufferSize)
        return server.fail(tooSmall);
    return holds(node.frameIds_, frameIndex) || server.fail("Frame index out of range");
}

// The first frame never announces the second: a single frame is often looked at alone.
void announceNextFrame(LantrixNodeImp& node, LantrixServerImp& server, int frameIndex,
                       int bufferSize) {
    const std::size_t next = static_cast<std::size_t>(frameIndex) + 1;
    if (frameIndex == 0 || next >= node.frameIds_.size())
        return;
    if (server.askVersion() && server.knows("ReadAhead"))
        server.frameService_.readAhead(node.frameIds_[next], bufferSize);
}

} // namespace

LantrixNodeHandle::LantrixNodeHandle() : LantrixNodeHandle(emptyHostServer(), "") {}

LantrixNodeHandle::LantrixNodeHandle(const LantrixServerHandle& server, const char* id)
    : LantrixNodeHandle(server, LantrixNodeId(id)) {}

LantrixNodeHandle::LantrixNodeHandle(const LantrixServerHandle& server, const LantrixNodeId& id)
    : imp_(std::make_unique<LantrixNodeImp>(server, id).release()) {}

LantrixNodeHandle::LantrixNodeHandle(const LantrixNodeHandle& other)
    : imp_(std::make_unique<LantrixNodeImp>(other.imp()).release()) {}

LantrixNodeHandle& LantrixNodeHandle::operator=(const LantrixNodeHandle& other) {
    if (this != &other)
        imp() = LantrixNodeImp(other.imp()); // built first, so that a failure loses nothing
    return *this;
}

LantrixNodeHandle::~LantrixNodeHandle() {
    const std::unique_ptr<LantrixNodeImp> owned(imp_);
}

LantrixNodeImp& LantrixNodeHandle::imp() const {
    coAssert(imp_ != nullptr, "imp_ != 0", "lantrix/LantrixClientAPI", 1117);
    return *imp_;
}

LantrixServerImp& LantrixNodeHandle::serverImp() const {
    return imp().server_->imp();
}

void LantrixNodeHandle::setNodeId(const LantrixNodeId& id) {
    imp().setId(id);
}

void LantrixNodeHandle::setNodeId(const char* id) {
    imp().setId(LantrixNodeId(id));
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
    if (!imp().refreshNodeType(serverImp()))
        return false;
    type = imp().nodeTypeNumber_;
    return true;
}

bool LantrixNodeHandle::getNodeTypeStr(LantrixStr& type) const {
    if (!imp().refreshNodeType(serverImp()))
        return false;
    return serverImp().give(type, imp().nodeTypeText_.c_str());
}

bool LantrixNodeHandle::getIsClipNode(bool& isClip) const {
    if (!imp().refreshNodeType(serverImp()))
        return false;
    isClip = imp().nodeType_ == LantrixNodeInterface::ClipNode;
    return true;
}

bool LantrixNodeHandle::getDisplayName(LantrixStr& name) const {
    if (!imp().refreshDisplayName(serverImp()))
        return false;
    return serverImp().give(name, imp().displayName_.c_str());
}

bool LantrixNodeHandle::getClipFormat(LantrixClipFormat& format) const {
    if (!imp().refreshClipFormat(serverImp()))
        return false;
    format = imp().clipFormat_;
    return true;
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
        if (!holds(imp().children_, index))
            return server.fail("Child node index out of range");
        child.imp().become(imp().children_[static_cast<std::size_t>(index)], getServer(), true);
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
        if (!server.transfer(server.nodeService_.createNode(imp().id_, name, kind, type, id),
                             server.nodeService_))
            return false;
        std::string displayName = coTextOrEmpty(name);
        imp().children_.push_back({displayName, id.id()});
        child.setNodeId(id);
        child.setServer(handle);
        lantrixRequireStored(child.getNodeId(), id.id());
        child.imp().knowDisplayName(std::move(displayName));
        return true;
    });
}

bool LantrixNodeHandle::createNode(const char* name, const char* type, LantrixNodeHandle& child) {
    return create(name, false, type, child);
}

bool LantrixNodeHandle::createNode(const char* name, int type, LantrixNodeHandle& child) {
    return serverImp().attempt(
        [&] { return createNode(name, coFormatCut(32, "%d", type).c_str(), child); });
}

bool LantrixNodeHandle::createClipNode(const char* name, const LantrixClipFormat& format,
                                       const char* type, LantrixNodeHandle& child) {
    if (!create(name, true, type, child))
        return false;
    child.imp().clipFormat_ = format;
    child.imp().clipFormatStale_ = false;
    return true;
}

bool LantrixNodeHandle::createClipNode(const char* name, const LantrixClipFormat& format, int type,
                                       LantrixNodeHandle& child) {
    return serverImp().attempt(
        [&] { return createClipNode(name, format, coFormatCut(32, "%d", type).c_str(), child); });
}

bool LantrixNodeHandle::destroyNode() {
    LantrixServerImp& server = serverImp();
    if (!server.transfer(server.nodeService_.destroyNode(imp().id_), server.nodeService_))
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
        if (!server.transfer(server.nodeService_.setFramePaths(imp().id_, list, imp().clipFormat_),
                             server.nodeService_))
            return false;
        imp().frameIdsStale_ = imp().framePathsStale_ = imp().clipFormatStale_ = true;
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
    imp().frameIds_.clear();
    imp().frameIdsStale_ = true; // until the allocation has told the new ids
    if (!server.transfer(server.nodeService_.allocateFrames(imp().id_, numFrames, imp().clipFormat_,
                                                            imp().frameIds_),
                         server.nodeService_))
        return false;
    imp().frameIdsStale_ = false;
    imp().clipFormatStale_ = true; // the server may have chosen another
    return true;
}

bool LantrixNodeHandle::getFrameId(int frameIndex, LantrixStr& frameId) const {
    LantrixServerImp& server = serverImp();
    if (!imp().refreshFrameIds(server))
        return false;
    if (!holds(imp().frameIds_, frameIndex))
        return server.fail("Frame index out of range");
    return server.give(frameId, imp().frameIds_[static_cast<std::size_t>(frameIndex)].id());
}

bool LantrixNodeHandle::getFrameIdPath(int frameIndex, LantrixStr& path) const {
    LantrixServerImp& server = serverImp();
    if (!imp().refreshFramePaths(server))
        return false;
    if (frameIndex < 0)
        return server.fail("Frame index out of range");
    // Beyond the last path there is none, which is no failure: older servers have none at all.
    const bool known = holds(imp().framePaths_, frameIndex);
    return server.give(path, known ? imp().framePaths_[static_cast<std::size_t>(frameIndex)].c_str()
                                   : "");
}

bool LantrixNodeHandle::readFrame(int frameIndex, void* buffer, int bufferSize) {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        if (!prepareFrame(imp(), server, frameIndex, bufferSize,
                          "Unable to read frame: Supplied frame buffer too small"))
            return false;
        announceNextFrame(imp(), server, frameIndex, bufferSize);
        server.frameService_.readFrame(imp().frameIds_[static_cast<std::size_t>(frameIndex)],
                                       static_cast<char*>(buffer), bufferSize);
        return true;
    });
}

bool LantrixNodeHandle::writeFrame(int frameIndex, const void* buffer, int bufferSize) {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        if (!prepareFrame(imp(), server, frameIndex, bufferSize,
                          "Unable to write frame: Supplied frame buffer too small"))
            return false;
        server.frameService_.writeFrame(imp().frameIds_[static_cast<std::size_t>(frameIndex)],
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
    if (!holds(imp().metaDataStreams_, index))
        return server.fail("Metadata stream index out of range");
    return server.give(name, imp().metaDataStreams_[static_cast<std::size_t>(index)].c_str());
}

bool LantrixNodeHandle::getMetaData(const char* streamName, const char* filter, int depth,
                                    LantrixStr& data) const {
    LantrixServerImp& server = serverImp();
    return server.attempt([&] {
        std::string text;
        if (!server.transfer(
                server.nodeService_.getMetaData(imp().id_, streamName, filter, depth, text),
                server.nodeService_))
            return false;
        return server.give(data, text.c_str());
    });
}

bool LantrixNodeHandle::setMetaData(const char* streamName, const LantrixStr& data) const {
    LantrixServerImp& server = serverImp();
    // A version that can't be asked counts as too old, and this text then replaces its failure's.
    if (!server.askVersion() || !server.knows("SetMetaData"))
        return server.fail("Functionality not supported on remote Lantrix server.");
    return server.transfer(server.nodeService_.setMetaData(imp().id_, streamName, data.c_str()),
                           server.nodeService_);
}
