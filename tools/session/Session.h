// One server, as a verb sees it: a server handle of the library whose failures become Failures
// with host and port, whose calls end at Ctrl-C and after --timeout, and are repeated when the
// connection fails.
// Owns the handle, a thread that watches over the running call and, with --trace, the relay. It
// must outlive the node handles that it gives. Used by one thread at a time.
#ifndef TOOLS_SESSION_SESSION_H
#define TOOLS_SESSION_SESSION_H

#include "lantrix/LantrixClientAPI.h"
#include "stream/Pool.h"
#include "tools/report/Failure.h"
#include "tools/report/Options.h"
#include "tools/session/CallWatch.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool {

class TraceRelay;

class Session {
public:
    /// Sends nothing. \p host may be an alias; messages say what was given.
    Session(const Options& options, const std::string& host,
            AtInterrupt atInterrupt = AtInterrupt::End);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] const std::string& host() const { return host_; }
    [[nodiscard]] const Options& options() const { return options_; }
    /// The host that connections are made to: that of the relay, with --trace.
    [[nodiscard]] std::string target() const;
    /// For a pool on that host, whose first connection is this session's; it ends at Ctrl-C, too.
    [[nodiscard]] lantrix::PoolOptions poolOptions();
    /// Host and port, for messages.
    [[nodiscard]] std::string endpoint() const;
    [[nodiscard]] LantrixServerHandle& server() { return *server_; }

    /// Runs one operation of a handle, which returns whether it succeeded; false becomes
    /// a Failure that says what \p doing was. The operation must be one that may be repeated.
    template <class Operation>
    void call(const std::string& doing, Operation operation, Port port = Port::Commands) {
        retry([&] { callOnce(doing, operation, port); });
    }

    /// The same for an operation that must not be carried out twice: before it is repeated,
    /// \p wasDone asks the server whether it has been.
    template <class Operation, class Question>
    void change(const std::string& doing, Operation operation, Question wasDone) {
        bool isInDoubt = false;
        retry([&] {
            if (isInDoubt && wasDone())
                return;
            isInDoubt = true;
            callOnce(doing, operation, Port::Commands);
        });
    }

    [[nodiscard]] LantrixNodeHandle root();
    /// The kind of a node as the server names it.
    [[nodiscard]] std::string typeName(const LantrixNodeHandle& node);
    [[nodiscard]] bool isClip(const LantrixNodeHandle& node);
    [[nodiscard]] LantrixClipFormat format(const LantrixNodeHandle& clip);
    [[nodiscard]] int countFrames(const LantrixNodeHandle& clip);
    [[nodiscard]] std::string name(const LantrixNodeHandle& node);
    /// The names of the node's metadata streams.
    [[nodiscard]] std::vector<std::string> streamNames(const LantrixNodeHandle& node);

    /// The protocol that the server speaks, times 100: 206 for 2.6.
    [[nodiscard]] int protocol();
    /// The failure of an operation on a node that the server does not have.
    [[nodiscard]] Failure noSuchNode(const LantrixNodeHandle& node);
    [[nodiscard]] Failure noSuchNode(const std::string& id, const std::string& reason) const;
    /// What has failed in a pool.
    [[nodiscard]] Failure failureOf(const std::string& doing, const lantrix::Failure& failure,
                                    Port port = Port::Commands) const;
    /// The failure of the last call.
    [[nodiscard]] Failure callFailure(const std::string& doing, Port port);

private:
    template <class Operation>
    void callOnce(const std::string& doing, Operation operation, Port port) {
        beginCall();
        endCall(operation(), doing, port);
    }
    void retry(const std::function<void()>& step);
    void announceRetry(const std::string& reason, std::chrono::milliseconds pause) const;
    [[nodiscard]] lantrix::Retries retries() const;
    [[nodiscard]] std::string reasonOf(const std::string& error) const;
    void beginCall();
    void endCall(bool succeeded, const std::string& doing, Port port);

    const Options options_;
    const std::string host_;
    bool isRetrying_ = false;           // what is called then is a part of what is repeated
    std::unique_ptr<TraceRelay> relay_; // null without --trace and --capture
    std::unique_ptr<LantrixServerHandle> server_; // never null
    std::unique_ptr<CallWatch> watch_;            // never null
};

} // namespace tool

#endif
