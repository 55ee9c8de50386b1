// The bytes of one frame on their way, in the buffer of a reader or writer, which goes back there,
// or in memory of their own. Moved from hand to hand; one thread at a time.
#ifndef TOOLS_TRANSFER_MOVEDFRAME_H
#define TOOLS_TRANSFER_MOVEDFRAME_H

#include "stream/Frame.h"

#include <string_view>
#include <utility>
#include <vector>

namespace tool {

/// The bytes of a frame.
using Bytes = std::vector<char>;

class MovedFrame {
public:
    /// No bytes.
    MovedFrame() = default;
    explicit MovedFrame(Bytes bytes) : bytes_(std::move(bytes)) {}
    explicit MovedFrame(lantrix::FrameBuffer buffer) : buffer_(std::move(buffer)) {}

    [[nodiscard]] char* data() { return buffer_ ? buffer_.data() : bytes_.data(); }
    [[nodiscard]] std::size_t size() const { return buffer_ ? buffer_.size() : bytes_.size(); }
    [[nodiscard]] std::string_view view() const {
        return {buffer_ ? buffer_.data() : bytes_.data(), size()};
    }
    /// The bytes as a vector: those of a buffer are copied, and the buffer goes back.
    [[nodiscard]] Bytes takeBytes() {
        if (buffer_) {
            bytes_.assign(buffer_.data(), buffer_.data() + buffer_.size());
            buffer_ = lantrix::FrameBuffer();
        }
        return std::move(bytes_);
    }
    [[nodiscard]] bool hasBuffer() const { return static_cast<bool>(buffer_); }
    /// The buffer; none when the memory is the frame's own.
    [[nodiscard]] lantrix::FrameBuffer takeBuffer() { return std::move(buffer_); }

private:
    lantrix::FrameBuffer buffer_;
    Bytes bytes_; // without a buffer
};

} // namespace tool

#endif
