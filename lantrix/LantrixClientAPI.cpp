// The server handle and the search for nodes by their display names.
#include "lantrix/LantrixClientAPI.h"

#include "base/fileUtil/src/CoFilePath.h"
#include "lantrix/LantrixNodeImp.h"
#include "lantrix/LantrixServerImp.h"
#include "lantrix/LantrixStored.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

using TextQuery = bool (LantrixNodeClientAPI::*)(std::string&);

bool queryText(LantrixServerImp& server, TextQuery query, LantrixStr& text) {
    return server.attempt([&] {
        std::string answer;
        return server.askNodes([&](auto& nodes) { return (nodes.*query)(answer); }) &&
               server.give(text, answer.c_str());
    });
}

// From protocol 2.6 on the server names its storage; until then the host name stands for it,
// also when the version can't be asked, which is then not tried again.
bool settleStorageId(LantrixServerImp& server) {
    if (server.askVersion() && server.knows("GetStorageId") &&
        !server.askNodes([&](auto& nodes) { return nodes.getStorageId(server.storageId_); }))
        return false;
    server.storageIdPending_ = false;
    return true;
}

} // namespace

bool LantrixClientInit() {
    return true;
}

void LantrixClientUninit() {}

LantrixServerHandle::LantrixServerHandle(const char* host)
    : imp_(std::make_unique<LantrixServerImp>(host).release()) {}

LantrixServerHandle::LantrixServerHandle(const LantrixServerHandle& other)
    : LantrixServerHandle(other.getHostName()) {}

LantrixServerHandle::~LantrixServerHandle() {
    const std::unique_ptr<LantrixServerImp> owned(imp_);
}

bool LantrixServerHandle::getRootNode(LantrixNodeHandle& node) const {
    LantrixServerImp& server = imp();
    return server.attempt([&] {
        LantrixNodeId root;
        if (!server.askNodes([&](auto& nodes) { return nodes.getRootNode(root); }))
            return false;
        node.imp().setId(root);
        node.setServer(*this);
        return true;
    });
}

bool LantrixServerHandle::getVendor(LantrixStr& vendor) const {
    return queryText(imp(), &LantrixNodeClientAPI::queryNodePlugInVendor, vendor);
}

bool LantrixServerHandle::getProduct(LantrixStr& product) const {
    return queryText(imp(), &LantrixNodeClientAPI::queryNodePlugInProduct, product);
}

bool LantrixServerHandle::getVersion(int& major, int& minor) const {
    LantrixServerImp& server = imp();
    return server.askNodes([&](auto& nodes) { return nodes.queryNodePlugInVersion(major, minor); });
}

bool LantrixServerHandle::getProtocolVersion(int& major, int& minor) const {
    LantrixServerImp& server = imp();
    if (!server.askVersion())
        return false;
    major = server.protocolMajor_;
    minor = server.protocolMinor_;
    return true;
}

bool LantrixServerHandle::getStorageId(LantrixStr& id) const {
    LantrixServerImp& server = imp();
    return server.attempt([&] {
        if (server.storageIdPending_ && !settleStorageId(server))
            return false;
        return server.give(id, server.storageId_.c_str());
    });
}

bool LantrixServerHandle::ping() const {
    return imp().askBase([](auto& base) { return base.ping(); });
}

bool LantrixServerHandle::translatePaths(const LantrixStr* srcPaths, LantrixStr* dstPaths,
                                         int count, const char* srcHost, const char* dstHost,
                                         LantrixOS::OsType srcOs, LantrixOS::OsType dstOs) const {
    return imp().askBase([&](auto& base) {
        return base.translatePaths(srcPaths, dstPaths, count,
                                   srcHost != nullptr ? srcHost : getHostName(),
                                   dstHost != nullptr ? dstHost : getHostName(), srcOs, dstOs);
    });
}

bool LantrixServerHandle::readFrame(const char* frameId, void* buffer, int bufferSize) {
    LantrixServerImp& server = imp();
    return server.attempt([&] {
        server.frameService_.readFrameById(frameId, static_cast<char*>(buffer), bufferSize);
        return true;
    });
}

bool LantrixServerHandle::writeFrame(const char* frameId, const void* buffer, int bufferSize) {
    LantrixServerImp& server = imp();
    return server.attempt([&] {
        server.frameService_.writeFrameById(frameId, static_cast<const char*>(buffer), bufferSize);
        return true;
    });
}

const char* LantrixServerHandle::getHostName() const {
    return imp().commandConnection_.host();
}

const char* LantrixServerHandle::lastError() const {
    return imp().lastError_.c_str();
}

void LantrixServerHandle::stop() {
    imp().commandConnection_.stop();
    imp().dataConnection_.stop();
}

bool LantrixFindChild(const LantrixNodeHandle& parent, const char* name,
                      LantrixNodeHandle& result) {
    if (name == nullptr)
        return false;
    return parent.serverImp().attempt([&] {
        // The parent itself learns nothing, and result may be the parent.
        const LantrixNodeHandle asking(parent.getServer(), parent.getNodeId());
        const LantrixNodeHandle& node = parent.imp().children_.isKnown() ? parent : asking;
        int count = 0;
        if (!node.getNumChildren(count) || count == 0)
            return false;
        const LantrixTextList& children = node.imp().children_.get();
        std::size_t i = 0;
        while (i + 1 < children.size() && std::strcmp(children.second(i), name) != 0)
            ++i;
        // result names the last child that was looked at; past the first one, what it knew is gone.
        const bool isFound = std::strcmp(children.second(i), name) == 0;
        LantrixNodeId id;
        lantrixStoreId(id, children[i]);
        std::string displayName = children.second(i);
        const LantrixServerHandle& server = parent.getServer();
        if (i > 0)
            result.imp().forget();
        result.imp().become(id, displayName, server);
        return isFound;
    });
}

bool LantrixResolveDisplayPath(const LantrixServerHandle& server, const char* path,
                               LantrixNodeHandle& result) {
    return server.imp().attempt([&] {
        CoFilePath cleaned(path);
        cleaned.clean();
        std::string names;
        cleaned.genericPath(names);
        if (!server.getRootNode(result))
            return true; // callers look at the last error, or at the node id
        std::size_t begin = 0;
        while (begin <= names.size()) {
            const std::size_t end = std::min(names.find('/', begin), names.size());
            const std::string name = names.substr(begin, end - begin);
            if (!name.empty() && !LantrixFindChild(result, name.c_str(), result))
                return false;
            begin = end + 1;
        }
        return true;
    });
}
