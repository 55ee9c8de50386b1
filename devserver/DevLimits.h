// The bounds that the development server sets to what a client may ask for. Error texts name them.
#ifndef DEVSERVER_DEVLIMITS_H
#define DEVSERVER_DEVLIMITS_H

#include <cstddef>

namespace DevLimits {

/// Bytes of a request line without its line feed.
constexpr std::size_t requestLine = std::size_t{16} << 20;
/// Bytes of a token of the frame channel without its NUL.
constexpr std::size_t frameToken = 255;
/// Bytes of a frame, and of the buffer that a client reads one into.
constexpr std::size_t frameSize = std::size_t{1} << 30;
/// Bytes of a node's or stream's name, and of a type: a thousand still fit any list's reply.
constexpr std::size_t name = 1023;
/// Bytes of a node's description on the disk.
constexpr std::size_t description = std::size_t{128} << 20;
/// Frames of one clip: their ids still fit the reply line that clients accept.
constexpr std::size_t clipFrames = 1000000;
/// Bytes of the two tags of a clip format, which clients read into buffers of 256 bytes.
constexpr std::size_t formatTag = 255;

} // namespace DevLimits

#endif
