#include "lantrix/LantrixServerImp.h"

#include "rc/rcProtocol.h"

#include <cstring>

LantrixServerImp::LantrixServerImp(const char* host)
    : commandConnection_(host, rcProtocol::commandPort),
      dataConnection_(host, rcProtocol::framePort, 0, 0), baseService_(commandConnection_),
      frameService_(dataConnection_), nodeService_(commandConnection_), protocolMajor_(0),
      protocolMinor_(0), storageId_(commandConnection_.host()), storageIdPending_(true) {}

bool LantrixServerImp::fail(const char* text) {
    coAssignText(lastError_, text);
    return false;
}

bool LantrixServerImp::give(LantrixStr& target, const char* text) {
    LantrixStr copy(text);
    if (std::strcmp(copy, text) != 0)
        return fail("Cannot allocate memory for the result.");
    target.swap(copy);
    return true;
}

bool LantrixServerImp::askVersion() {
    return protocolMajor_ != 0 || askBase([this](LantrixBaseClientAPI& base) {
               return base.queryVersion(protocolMajor_, protocolMinor_);
           });
}

bool LantrixServerImp::knows(const char* method) const {
    return rcProtocol::knows(protocolMajor_, protocolMinor_, method);
}
