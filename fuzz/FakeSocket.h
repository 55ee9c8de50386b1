// Sockets without a kernel: the system calls by which the library opens, waits for, reads, writes
// and closes a connection, answered inside the process, so that a whole call takes a microsecond.
// The linker puts them in the place of the real ones (--wrap); other descriptors than the fake one
// still go to the system.
// One connection at a time, one thread. A second socket, a write that might raise SIGPIPE, or a
// descriptor that is closed twice ends the process as a finding.
#ifndef FUZZ_FAKESOCKET_H
#define FUZZ_FAKESOCKET_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include <poll.h>
#include <sys/types.h>

class FakeSocket {
public:
    /// What follows the last byte that the peer sends.
    enum class Ending { Close, Reset, Stall };
    /// How the peer's bytes arrive: at once, singly, in pieces of 1 to 8 bytes, or in such pieces
    /// with time-outs, signals and short writes between them.
    enum class Arrival { Whole, Singly, Pieces, Disturbed };

    static constexpr int descriptor = 1 << 20;
    static FakeSocket& instance();

    /// The peer answers the next request with \p reply. Replaces an answer that was not fetched.
    void serve(std::string_view reply, Ending ending);
    /// From now on each request line is answered with what \p answer returns for it.
    void serveEach(std::function<std::string(std::string_view)> answer);
    /// Of what has arrived and was not read, only \p size bytes are kept.
    void keepUnread(std::size_t size);
    void setArrival(Arrival arrival, unsigned seed);
    /// \p stop is called in the \p wait-th wait for a reply, and whenever the peer stalls.
    void setStop(std::function<void()> stop, unsigned wait);

    /// Bytes of replies that were read since serve().
    std::size_t bytesRead() const { return bytesRead_; }
    bool stopCalled() const { return stopCalled_; }

    int open();
    int connect();
    int poll(short events);
    ssize_t read(char* buffer, std::size_t size);
    ssize_t send(std::string_view bytes, int flags);
    int close();

private:
    unsigned random(unsigned bound);
    std::size_t pieceOf(std::size_t size);
    int pollForReply();
    void callStop();

    std::string incoming_; // what the peer has sent; read up to position_
    std::size_t position_ = 0;
    Ending ending_ = Ending::Stall;
    std::string pending_; // what it sends when a request arrives, and what follows that
    Ending pendingEnding_ = Ending::Stall;
    std::function<std::string(std::string_view)> answer_;
    std::function<void()> stop_;
    unsigned stopWait_ = 0; // the wait in which stop_ is called; 0 for none
    unsigned waits_ = 0;
    bool stopCalled_ = false;
    std::size_t bytesRead_ = 0;
    Arrival arrival_ = Arrival::Whole;
    std::uint32_t random_ = 0;
    bool open_ = false;
    bool broken_ = false; // the peer has gone: nothing arrives and nothing can be sent
};

#endif
