// What a rule has to do with a server: both connections, a node of its own to work in, and words
// for what it sends and expects. The first thing that is not as expected ends the rule with Broken.
// Connections and node are made when first needed. The destructor removes the node with all below
// it; what a server does not let go stays, and the last rule tells.
// Used by one thread.
#ifndef TOOLS_CONFORM_TRIAL_H
#define TOOLS_CONFORM_TRIAL_H

#include "tools/conform/RawConnection.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tool {

/// Where rules are tried.
struct TrialPlace {
    std::string host;
    std::string nodeId; ///< Nodes are made below it, and removed.
    Patience patience;
};

/// A version of the protocol; 0.0 while the server has not told it.
struct ProtocolVersion {
    int major = 0;
    int minor = 0;
};

/// A rule is broken. The bytes as people read them.
struct Broken {
    std::string sent;
    std::string expected;
    std::string heard;
};

/// The rule can't be tried with this server.
struct Inapplicable {
    std::string reason;
};

class Trial {
public:
    static constexpr std::size_t wholeRequest = static_cast<std::size_t>(-1);

    Trial(TrialPlace place, ProtocolVersion version);
    ~Trial();
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    [[nodiscard]] const TrialPlace& place() const { return place_; }
    [[nodiscard]] ProtocolVersion version() const { return version_; }
    /// True from protocol 2.MINOR on.
    [[nodiscard]] bool speaks(int minor) const;

    // ---- the command connection

    /// Sends bytes as they are, in segments of so many.
    void sendCommand(const std::string& bytes, std::size_t segment = wholeRequest);
    /// The next reply line, whose grammar is checked, without its line feed.
    std::string replyLine();
    /// The value of an "ok" reply to the request that was sent.
    std::string okValue();
    void errorReply();
    /// Expects that the server closes without a further byte.
    void commandEnd();
    /// Goes on with a new command connection.
    void reopenCommands() { commands_.reset(); }
    /// Sends a request and takes the value of its "ok" reply, or expects exactly this one, or an
    /// error.
    std::string ok(const std::string& method, const std::string& value = "");
    void ok(const std::string& method, const std::string& value, const std::string& expected);
    void error(const std::string& method, const std::string& value);

    // ---- the frame connection

    void sendFrame(const std::string& bytes, std::size_t segment = wholeRequest);
    /// The next status, without its NUL.
    std::string status();
    void succeeds();
    void fails();
    void write(const std::string& frameId, const std::string& bytes);
    /// Reads so many bytes as are expected.
    void read(const std::string& frameId, const std::string& expected);
    /// Expects bytes behind a success.
    void payload(const std::string& expected);
    void frameEnd();
    void reopenFrames() { frames_.reset(); }

    // ---- nodes

    /// The node to work in.
    const std::string& nodeId();
    std::string makeNode(const std::string& name, const std::string& kindAndType = "0 folder");
    /// A clip with frames of 24 bytes, whose ids go to \p frameIds.
    std::string makeClip(int count, std::vector<std::string>& frameIds);

    // ---- judging

    /// Unless \p holds the rule is broken by what was heard last.
    void require(bool holds, const std::string& expected) const;

private:
    void end(RawConnection& connection);
    RawConnection& commands();
    RawConnection& frames();
    void send(RawConnection& (Trial::*connection)(), const std::string& bytes, std::size_t segment);
    template <class Receive>
    std::string hear(const std::string& expected, Receive receive);

    const TrialPlace place_;
    const ProtocolVersion version_;
    std::unique_ptr<RawConnection> commands_; // null until first needed
    std::unique_ptr<RawConnection> frames_;   // null until first needed
    std::string nodeId_;                      // empty until first needed
    std::string sent_, heard_;                // last
};

/// The clip format that rules use: frames of 24 bytes, in front of its metadata.
constexpr char plainFormat[] = "4 2 24 3 24 1 25 rgb8 4 none ";

} // namespace tool

#endif
