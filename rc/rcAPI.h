// The client end of the command connection: sends one request line and reads its one reply line.
// Owns the TCP connection, the reply record and the receive buffer.
// One call at a time, by one thread; stop() is for any other thread, at any moment.
// Never throws: calls return false, with the text in lastError() and mostly in their result.
#ifndef RC_RCAPI_H
#define RC_RCAPI_H

#include "base/CoExport.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

class CoIoTcpDescriptor;
class rcResult;

/// A command connection.
class CO_EXPORT rcAPI {
public:
    /// Not connected; nothing is sent.
    rcAPI();
    /// Disconnects.
    virtual ~rcAPI();
    rcAPI(const rcAPI&) = delete;
    rcAPI& operator=(const rcAPI&) = delete;

    /// Connects, dropping a connection that exists; waits at most 10 seconds for the host to
    /// answer. False and not connected on failure. \p host must not be null.
    bool connect(const char* host, int port);
    /// True until disconnect() is called or a call drops the connection: one that the peer has
    /// closed counts as connected until then.
    bool isConnected() const;
    /// Closes the connection; does nothing without one.
    void disconnect();
    /// Whether the connection can begin a call that is certain to get its own answer: it is open,
    /// belongs to this process, and owes no reply to a call that was given up. Throws away what
    /// has arrived for such calls; waits for nothing.
    bool isReady();

    /// Sends "sync" or "async", \p id, \p method and the escaped \p args as one line. When
    /// \p sync, waits for the reply as long as it takes, and \p result becomes its value; else
    /// \p result becomes empty at once. False on failure, with the text in \p result too, except
    /// that a failed read leaves \p result as it was. A failed write and a reply line beyond
    /// 256 MiB drop the connection; an error reply, a failed read and a stop keep it, and when it
    /// then turns out to be closed, the next call drops it.
    bool call(int id, const char* method, const char* args, bool sync, std::string& result);

    /// Ends the call that is running now, within about a second; its text is then "METHOD command
    /// stopped.", or "Connection stopped" while the request was being sent. Between calls it has
    /// no effect. Follows no pointer, takes no lock.
    void stop();
    /// Whether stop() was called since the last request began to be sent.
    bool isStopped() const { return stopFlag_.load(); }

    /// Text of the last failure, valid until the next one; "" without any.
    const char* lastError() const { return lastError_.c_str(); }

protected:
    /// What a call of \p method that was stopped fails with.
    static std::string stoppedText(const char* method);

private:
    /// What is known of the reply that is being read.
    struct Reply {
        bool complete = false; ///< Its line feed has come.
        bool holdsNul = false; ///< Somewhere.
    };

    bool exchange(int id, const char* method, const char* args, bool sync, std::string& result);
    bool sendRequest(const std::string& line);
    bool dropLateReplies();
    bool readReply(Reply& reply);
    bool takeResult(const Reply& reply, std::string& result);
    void forgetReply();
    void abandonReply();
    void countReplies(const char* data, std::size_t size);
    bool fail(const char* text);
    bool failAndDrop(const char* text);

    std::unique_ptr<CoIoTcpDescriptor> connection_; // null: not connected
    std::unique_ptr<rcResult> result_;              // never null
    std::string lastError_;
    std::unique_ptr<char[]> buffer_; // null exactly when not connected
    std::atomic<bool> stopFlag_;     // lent to each connection, so that stop() follows no pointer
    std::size_t repliesOwed_;        // replies to abandoned calls that may still arrive
};

#endif
