// One accepted connection, read and written by blocking calls.
// Owns the socket. Used by its own thread, but for interrupt(). A peer that is gone, or an
// interrupted stream, is a result and no exception: there is nobody to tell.
#ifndef DEVSERVER_DEVSTREAM_H
#define DEVSERVER_DEVSTREAM_H

#include <asio/ip/tcp.hpp>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

class DevStream {
public:
    /// \p socket is connected and blocking. Small writes leave at once. A peer that vanished
    /// without a word is found out within minutes, one that moves nothing for \p idle ends the
    /// stream; zero waits for ever.
    DevStream(asio::ip::tcp::socket socket, std::chrono::seconds idle);

    /// Waits for bytes; 0 when there will be none.
    [[nodiscard]] std::size_t read(char* data, std::size_t size);
    /// Sends both pieces, in as few calls as the system allows; false when the peer is gone.
    [[nodiscard]] bool write(std::string_view head, std::string_view body = {});
    /// Sends \p head and then a file's first \p size bytes, of which there is at least one, as far
    /// as the system can do so without a detour through memory. Returns how many bytes of the file
    /// have left: all of them, or fewer when the system can't, the file has ended or the peer is
    /// gone. Nothing when the peer was gone before. Raises SIGPIPE where the thread lets it.
    [[nodiscard]] std::optional<std::size_t> writeFile(std::string_view head, int file,
                                                       std::size_t size);
    /// Ends the sending side, so that what was written arrives although the peer is still sending,
    /// and waits for the peer to close.
    void finish();
    /// Gives the socket back; nothing is called after this.
    void close();
    /// Ends all waiting, now and later. May be called from another thread.
    void interrupt();
    /// "ADDRESS:PORT" of the peer.
    [[nodiscard]] const std::string& peer() const { return peer_; }
    /// True when it was ended because nothing moved.
    [[nodiscard]] bool wasIdle() const { return wasIdle_; }

private:
    /// After a failed call: whether it is to be repeated.
    [[nodiscard]] bool mayRepeat();

    asio::ip::tcp::socket socket_;
    std::string peer_;
    bool wasIdle_ = false;
};

#endif
