// A scripted peer for tests of what really goes over the wire: it plays one script of steps for
// each port and compares what arrives with what the steps expect, byte by byte.
// Every server binds a loopback address of its own, so that tests run side by side. A port without
// a script refuses connections. Differences are kept and reported by finish(), in the test's
// thread.
#ifndef TESTS_SUPPORT_SCRIPTEDSERVER_H
#define TESTS_SUPPORT_SCRIPTEDSERVER_H

#include <memory>
#include <string>
#include <vector>

/// Receives `expected`, sends `sent`, then does one thing more. A step that needs a connection and
/// finds none accepts the next one.
struct Step {
    enum class Then { GoOn, Cut, Reset, HalfClose, AwaitClose, Gate };
    std::string expected;
    std::string sent;
    Then then = Then::GoOn;
    bool byteByByte = false; ///< `sent` leaves in segments of one byte.
};
using Script = std::vector<Step>;

Step expect(std::string bytes);
Step reply(std::string bytes);
Step dribble(std::string bytes);
/// The request line "sync 0 REQUEST\n", answered with REPLY and a line feed.
Step call(const std::string& request, const std::string& reply);
/// Orderly close, abortive close, and the end of the sending direction only.
inline const Step cut{"", "", Step::Then::Cut};
inline const Step reset{"", "", Step::Then::Reset};
inline const Step halfClose{"", "", Step::Then::HalfClose};
/// Waits until the client closes.
inline const Step awaitClose{"", "", Step::Then::AwaitClose};
/// Tells awaitGate() that the script has come this far, and waits for openGate().
inline const Step gate{"", "", Step::Then::Gate};

class ScriptedServer {
public:
    ScriptedServer();
    /// Calls finish() and reports what it returns as a failure of the running test.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    const char* host() const;
    /// Plays a script on the command port (7549) or the frame port (7550); once for each.
    void commands(Script script);
    void frames(Script script);
    /// Leaves connections to both ports unanswered: neither accepted nor refused.
    void ignoreConnections();
    /// Waits until a script stands at its next gate, or has failed.
    void awaitGate();
    void openGate();
    /// Ends both scripts; returns what they missed and what arrived beyond them, "" if nothing.
    std::string finish();

private:
    struct Shared;
    class Channel;

    std::string host_;
    std::unique_ptr<Shared> shared_;
    std::unique_ptr<Channel> commands_;
    std::unique_ptr<Channel> frames_;
};

#endif
