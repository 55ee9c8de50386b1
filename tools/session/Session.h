// One server, as a verb sees it: a server handle of the library whose failures become Failures
// with host and port, whose calls end at Ctrl-C and after --timeout, and the search for nodes.
// Owns the handle, a thread that watches over the running call and, with --trace, the relay. It
// must outlive the node handles that it gives. Used by one thread at a time.
#ifndef TOOLS_SESSION_SESSION_H
#define TOOLS_SESSION_SESSION_H

#include "lantrix/LantrixClientAPI.h"
#include "tools/report/Failure.h"
#include "tools/report/Options.h"
#include "tools/session/Address.h"
#include "tools/session/CallWatch.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tool {

class TraceRelay;

/// Makes SIGINT and SIGTERM end the running call and then the verb; a second one ends the process.
void catchInterrupts();
/// True once a signal has asked for the end.
[[nodiscard]] bool wasInterrupted();
/// Sends the library's log to standard error.
void redirectLog(const Options& options);

/// A node and where it was found.
struct FoundNode {
    Address address;
    LantrixNodeHandle handle;
};

class Session {
public:
    /// Sends nothing.
    Session(const Options& options, const std::string& host);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] const std::string& host() const { return host_; }
    /// Host and port, for messages.
    [[nodiscard]] std::string place() const;
    [[nodiscard]] LantrixServerHandle& server() { return *server_; }

    /// Runs one operation of a handle, which tells by a bool whether it succeeded; false becomes
    /// a Failure that says what \p doing was.
    template <class Operation>
    void call(const std::string& doing, Operation operation, Port port = Port::Commands) {
        beginCall();
        endCall(operation(), doing, port);
    }

    [[nodiscard]] LantrixNodeHandle root();
    /// The node at the address. One request for the root and one for each component of a path; an
    /// id is taken as it is. The failure names the component that is missing and a near name.
    [[nodiscard]] LantrixNodeHandle find(const Address& address);
    /// The nodes that the address's patterns match, at least one, in the server's order.
    [[nodiscard]] std::vector<FoundNode> findAll(const Address& address);

    /// The child of this name; none when there is no such child.
    [[nodiscard]] std::optional<FoundNode> child(const FoundNode& parent, const std::string& name);
    /// The children; one request.
    [[nodiscard]] std::vector<FoundNode> children(const FoundNode& node);
    [[nodiscard]] bool isClip(const LantrixNodeHandle& node);
    [[nodiscard]] LantrixClipFormat format(const LantrixNodeHandle& clip);
    [[nodiscard]] int countFrames(const LantrixNodeHandle& clip);
    [[nodiscard]] std::string name(const LantrixNodeHandle& node);

    /// The clip at the address; anything else is a Failure.
    [[nodiscard]] LantrixNodeHandle findClip(const Address& address);
    /// The protocol that the server speaks, times 100: 206 for 2.6.
    [[nodiscard]] int protocol();
    /// The failure to find a component of the address; looks for a near name.
    [[nodiscard]] Failure missing(const Address& address, const FoundNode& parent,
                                  const std::string& component);
    /// The failure of the last call.
    [[nodiscard]] Failure callFailure(const std::string& doing, Port port);

private:
    void beginCall();
    void endCall(bool succeeded, const std::string& doing, Port port);
    [[nodiscard]] Failure noSuchNode(const LantrixNodeHandle& node);
    void expand(const FoundNode& node, const std::vector<std::string>& components,
                std::size_t depth, std::vector<FoundNode>& found);

    std::string host_;
    std::unique_ptr<TraceRelay> relay_;           // null without --trace
    std::unique_ptr<LantrixServerHandle> server_; // never null
    std::unique_ptr<CallWatch> watch_;            // never null
};

} // namespace tool

#endif
