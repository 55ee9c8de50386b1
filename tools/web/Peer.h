// A browser at the other end of a connection: its requests and our replies, each within limits of
// time and size, and the list of all that are connected, of which one can be ended for the sake of
// another.
// A socket is owned by its object, and used by one thread; end() and what a list does may be called
// from any. Failures are return values.
#ifndef TOOLS_WEB_PEER_H
#define TOOLS_WEB_PEER_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <list>
#include <mutex>

namespace tool {

/// One who waits for a reply.
class Peer {
public:
    virtual ~Peer() = default;
    /// True when nobody is there any more to read a reply.
    [[nodiscard]] virtual bool hasGone() const = 0;
};

class PeerSocket;

/// All that are connected.
class Peers {
public:
    enum class Mercy { ForAWhile, None };

    /// Ends the one that has kept us waiting for longest; when none has, or not for a while yet,
    /// the first that will for a while.
    void endSlowest(Mercy mercy);
    /// No further one has to end.
    void spareAll() { wanted_ = 0; }
    /// Ends all, and those that will come.
    void endAll();

private:
    friend class PeerSocket;

    std::mutex mutex_; // guards all that follows, and the life of each member's descriptor
    std::list<PeerSocket*> members_;
    bool isEnding_ = false;
    std::atomic<int> wanted_{0}; // how many are to end
};

class PeerSocket : public Peer {
public:
    /// Takes the descriptor.
    PeerSocket(int descriptor, Peers& peers);
    ~PeerSocket() override;
    PeerSocket(const PeerSocket&) = delete;
    PeerSocket& operator=(const PeerSocket&) = delete;

    /// Waits for the first byte of the next request, whose limits begin then. False when none will
    /// come.
    [[nodiscard]] bool awaitRequest();
    /// Reads some of the request's head; 0 or less when there is no more, or it is over a limit.
    [[nodiscard]] std::ptrdiff_t read(char* bytes, std::size_t size);
    /// Writes all; false when that can't be done, or nothing has been taken for too long.
    [[nodiscard]] bool write(const char* bytes, std::size_t size);
    [[nodiscard]] bool hasGone() const override;
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    friend class Peers;
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] bool await(short events, Clock::time_point deadline);
    [[nodiscard]] bool hasToEnd();
    [[nodiscard]] bool fill(Clock::time_point deadline);

    const int descriptor_;
    Peers& peers_;
    std::list<PeerSocket*>::iterator place_;  // among the members
    std::atomic<Clock::rep> waitingSince_{0}; // for the other end; 0: not
    std::array<char, 4096> buffer_{};
    std::size_t begin_ = 0; // of what was received and not yet read
    std::size_t end_ = 0;
    std::size_t headSize_ = 0;   // read of the present request
    Clock::time_point deadline_; // of its head
};

/// Tells one that can't be served so, and ends it; at once.
void refusePeer(int descriptor);

} // namespace tool

#endif
