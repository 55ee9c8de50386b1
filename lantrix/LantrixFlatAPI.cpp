// Flat functions for callers that can't use constructors and references: foreign-function
// bindings. They add no behaviour of their own.
#include "lantrix/LantrixClientAPI.h"

#include <csignal>

LantrixStr* LantrixStr::LantrixStr_new(const char* text) {
    return new LantrixStr(text);
}

void LantrixStr::LantrixStr_delete(LantrixStr* str) {
    delete str;
}

LantrixNodeId* LantrixNodeId::LantrixNodeId_new(const char* id) {
    return new LantrixNodeId(id);
}

void LantrixNodeId::LantrixNodeId_delete(LantrixNodeId* id) {
    delete id;
}

LantrixClipFormat* LantrixClipFormat::LantrixClipFormat_new() {
    return new LantrixClipFormat;
}

void LantrixClipFormat::LantrixClipFormat_delete(LantrixClipFormat* format) {
    delete format;
}

LantrixServerHandle* LantrixServerHandle::LantrixServerHandle_new(const char* host) {
    return new LantrixServerHandle(host);
}

void LantrixServerHandle::LantrixServerHandle_delete(LantrixServerHandle* handle) {
    delete handle;
}

LantrixNodeHandle* LantrixNodeHandle::LantrixNodeHandle_new() {
    return new LantrixNodeHandle;
}

LantrixNodeHandle* LantrixNodeHandle::LantrixNodeHandle_new(const LantrixServerHandle& server,
                                                            const char* id) {
    return new LantrixNodeHandle(server, id);
}

LantrixNodeHandle* LantrixNodeHandle::LantrixNodeHandle_new(const LantrixServerHandle& server,
                                                            const LantrixNodeId& id) {
    return new LantrixNodeHandle(server, id);
}

void LantrixNodeHandle::LantrixNodeHandle_delete(LantrixNodeHandle* node) {
    delete node;
}

void INThandler(int) {
    std::signal(SIGPIPE, INThandler);
}

bool getRootNode__(const LantrixServerHandle* server, LantrixNodeHandle* node) {
    std::signal(SIGPIPE, INThandler);
    return server->getRootNode(*node);
}

namespace {

// Stores the addresses where the compiler has to produce them, though nobody reads them.
template <class... Functions>
void keep(Functions... functions) {
    const auto store = [](auto function) {
        [[maybe_unused]] volatile decltype(function) kept = function;
    };
    (store(functions), ...);
}

using Handle = LantrixNodeHandle;
using Server = const LantrixServerHandle&;

} // namespace

void dontdeadstriplantrixplease() {
    keep(&LantrixClientInit, &LantrixClientUninit, &getRootNode__, &LantrixStr::LantrixStr_new,
         &LantrixStr::LantrixStr_delete, &LantrixServerHandle::LantrixServerHandle_new,
         &LantrixServerHandle::LantrixServerHandle_delete,
         static_cast<Handle* (*)()>(&Handle::LantrixNodeHandle_new),
         static_cast<Handle* (*)(Server, const char*)>(&Handle::LantrixNodeHandle_new),
         static_cast<Handle* (*)(Server, const LantrixNodeId&)>(&Handle::LantrixNodeHandle_new),
         &Handle::LantrixNodeHandle_delete, &LantrixNodeId::LantrixNodeId_new,
         &LantrixNodeId::LantrixNodeId_delete, &LantrixClipFormat::LantrixClipFormat_new,
         &LantrixClipFormat::LantrixClipFormat_delete, &Handle::getNodeId, &Handle::getNumChildren,
         &Handle::getChild, &Handle::getDisplayName);
}
