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

// Stores the address where the compiler has to produce it, though nobody reads it.
template <class Function>
void keep(Function function) {
    [[maybe_unused]] volatile Function kept = function;
}

using Handle = LantrixNodeHandle;
using Server = const LantrixServerHandle&;

} // namespace

void dontdeadstriplantrixplease() {
    keep(&LantrixClientInit);
    keep(&LantrixClientUninit);
    keep(&getRootNode__);
    keep(&LantrixStr::LantrixStr_new);
    keep(&LantrixStr::LantrixStr_delete);
    keep(&LantrixServerHandle::LantrixServerHandle_new);
    keep(&LantrixServerHandle::LantrixServerHandle_delete);
    keep(static_cast<Handle* (*)()>(&Handle::LantrixNodeHandle_new));
    keep(static_cast<Handle* (*)(Server, const char*)>(&Handle::LantrixNodeHandle_new));
    keep(static_cast<Handle* (*)(Server, const LantrixNodeId&)>(&Handle::LantrixNodeHandle_new));
    keep(&Handle::LantrixNodeHandle_delete);
    keep(&LantrixNodeId::LantrixNodeId_new);
    keep(&LantrixNodeId::LantrixNodeId_delete);
    keep(&LantrixClipFormat::LantrixClipFormat_new);
    keep(&LantrixClipFormat::LantrixClipFormat_delete);
    keep(&Handle::getNodeId);
    keep(&Handle::getNumChildren);
    keep(&Handle::getChild);
    keep(&Handle::getDisplayName);
}
