// A request of the frame channel as far as it is text: three tokens, each ended by a NUL.
// Owns its tokens; knows no socket. One thread at a time. Failures are DevError: what follows on
// the connection can't be understood any more.
#ifndef DEVSERVER_DEVFRAMEREQUEST_H
#define DEVSERVER_DEVFRAMEREQUEST_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>

class DevFrameRequest {
public:
    enum Kind { Write, Read, ReadAhead };

    /// Without \p knowsReadAhead that request is unknown.
    explicit DevFrameRequest(bool knowsReadAhead) : knowsReadAhead_(knowsReadAhead) {}

    /// Feeds bytes and stops behind the last token. Returns the bytes taken; \p complete tells
    /// whether the last of them completed the request. Throws for an unknown request as soon as its
    /// first token is there, and for a token that is too long.
    std::size_t append(const char* data, std::size_t size, bool& complete);

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] const std::string& frameId() const { return tokens_[1]; }
    /// The last token: bytes of the frame or buffer.
    [[nodiscard]] const std::string& sizeText() const { return tokens_[2]; }
    /// The size, if it is a number of bytes that a frame may have, or 0.
    [[nodiscard]] std::optional<std::size_t> size() const;

private:
    [[nodiscard]] Kind kindOfName() const;

    const bool knowsReadAhead_;
    std::array<std::string, 3> tokens_;
    std::size_t token_ = 0; // the one being read
    Kind kind_ = Write;
};

#endif
