// Finds the readable lines in the bytes of the two channels: whole lines of the command channel,
// and of the frame channel the requests and statuses, with payloads as a number of bytes.
// Knows no socket; fed with bytes as they come.
#ifndef TOOLS_SESSION_WIRETEXT_H
#define TOOLS_SESSION_WIRETEXT_H

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tool {

/// Some of the bytes of a buffer.
struct ByteRange {
    std::size_t begin = 0;
    std::size_t size = 0;
};

/// One direction of one connection.
class WireText {
public:
    using Print = std::function<void(const std::string& line)>;

    virtual ~WireText() = default;
    /// Takes the next bytes, gives each line that they complete to \p print, and tells which of
    /// the bytes are a frame's.
    virtual std::vector<ByteRange> take(const char* data, std::size_t size, const Print& print) = 0;
};

/// Either direction of the command channel.
class CommandText : public WireText {
public:
    std::vector<ByteRange> take(const char* data, std::size_t size, const Print& print) override;

private:
    std::string line_;
};

/// The payloads that replies owe to requests: 0 for the status of a written frame.
using OwedPayloads = std::deque<std::size_t>;

/// Either direction of the frame channel: texts that end with a NUL, and payloads between them.
class FrameText : public WireText {
public:
    explicit FrameText(OwedPayloads& owed) : owed_(owed) {}
    std::vector<ByteRange> take(const char* data, std::size_t size, const Print& print) override;

protected:
    /// Takes a text that is complete; returns how many bytes of a payload follow it.
    virtual std::size_t takeText(const std::string& text, const Print& print) = 0;

    OwedPayloads& owed_;

private:
    std::string text_;
    std::size_t payload_ = 0; // bytes of a frame still to come
};

class FrameRequestText : public FrameText {
public:
    using FrameText::FrameText;

private:
    std::size_t takeText(const std::string& text, const Print& print) override;

    std::vector<std::string> tokens_;
};

class FrameReplyText : public FrameText {
public:
    using FrameText::FrameText;

private:
    std::size_t takeText(const std::string& text, const Print& print) override;
};

} // namespace tool

#endif
