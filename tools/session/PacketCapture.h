// A file of packets, for Wireshark, of what travelled over the connections of this process: made up
// from the bytes that were passed on, so that no right to listen to a network is needed.
// Owns the file. Connections are written by a thread each; the capture outlives them. Failures to
// write are kept and thrown by finish().
#ifndef TOOLS_SESSION_PACKETCAPTURE_H
#define TOOLS_SESSION_PACKETCAPTURE_H

#include "tools/session/WireText.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <netinet/in.h>

namespace tool {

class PacketCapture {
public:
    /// Whether the bytes of frames are in the file, or only how many they are.
    enum class Frames { Counted, Kept };

    /// Creates the file, or empties it.
    PacketCapture(std::string file, Frames frames);

    /// Throws when anything could not be written.
    void finish();

private:
    friend class CapturedConnection;

    // Writes a packet of which the first \p captured bytes are in the file.
    void write(const std::vector<char>& packet, std::size_t captured);

    const std::string name_;
    const Frames frames_;
    std::mutex mutex_; // of what follows
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
    int error_ = 0; // errno of the first failure
};

/// One TCP connection of a capture: begun when it is made and ended when it goes.
class CapturedConnection {
public:
    enum Side { Client, Server };

    /// Between these addresses and ports.
    CapturedConnection(PacketCapture& capture, const sockaddr_in& client,
                       const sockaddr_in& server);
    ~CapturedConnection();
    CapturedConnection(const CapturedConnection&) = delete;
    CapturedConnection& operator=(const CapturedConnection&) = delete;

    /// Bytes that \p sender sent, of which \p frames are bytes of frames, in order.
    void send(Side sender, const char* bytes, std::size_t size,
              const std::vector<ByteRange>& frames);

private:
    // Sends bytes of which those behind the first \p shown belong to a frame.
    void sendPart(Side sender, const char* bytes, std::size_t size, std::size_t shown);
    void segment(Side sender, std::uint8_t flags, const char* bytes, std::size_t size,
                 std::size_t captured);

    PacketCapture& capture_;
    const std::array<sockaddr_in, 2> ends_;       // by side
    std::array<std::uint32_t, 2> sequence_{0, 0}; // of each side's next byte
};

} // namespace tool

#endif
