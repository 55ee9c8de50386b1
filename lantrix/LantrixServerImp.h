// The state behind a LantrixServerHandle: connections, services, and what is remembered of the
// server. Owns all of it; handles never share one. Threads as LantrixServerHandle.
#ifndef LANTRIX_LANTRIXSERVERIMP_H
#define LANTRIX_LANTRIXSERVERIMP_H

#include "base/loggerBase/src/CoAssert.h"
#include "lantrix/LantrixBaseInterface.h"
#include "lantrix/LantrixFrameClientAPI.h"
#include "lantrix/LantrixFrameInterface.h"
#include "lantrix/LantrixGuard.h"
#include "lantrix/LantrixNodeClientAPI.h"

#include <string>
#include <utility>

/// Aborts unless a handle has its state, \p imp.
inline void lantrixAssertState(const void* imp) {
    constexpr unsigned stateLine = 1117;
    coAssert(imp != nullptr, "imp_ != 0", "lantrix/LantrixClientAPI", stateLine);
}

class LantrixServerImp {
public:
    explicit LantrixServerImp(const char* host);

    /// Runs the body of a public operation: whatever it throws becomes the last error and false.
    template <class Body>
    bool attempt(Body&& body) {
        return lantrixGuarded(lastError_, std::forward<Body>(body));
    }

    /// Sets the last error and returns false.
    bool fail(const char* text);
    /// Run a call of the node or the base service, which is handed in and returns whether it
    /// succeeded; when it did not, the service's error text becomes the last error.
    template <class Call>
    bool askNodes(Call&& call) {
        return call(nodeService_) || fail(nodeService_.lastError());
    }
    template <class Call>
    bool askBase(Call&& call) {
        return call(baseService_) || fail(baseService_.lastError());
    }

    /// Gives a caller its text; without memory fails and leaves \p target as it was.
    bool give(LantrixStr& target, const char* text);

    /// Asks for the protocol version unless it is known.
    bool askVersion();
    /// True when the server's protocol is known and has \p method.
    bool knows(const char* method) const;

    LantrixClientConnection commandConnection_;
    LantrixRawDataClientConnection dataConnection_;
    LantrixBaseClientAPI baseService_;
    LantrixFrameClientAPI frameService_;
    LantrixNodeClientAPI nodeService_;
    std::string lastError_;
    int protocolMajor_; // 0: not yet asked
    int protocolMinor_;
    std::string storageId_; // the host name until the server has told another
    bool storageIdPending_;
};

#endif
