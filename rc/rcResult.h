// A reply line of the command connection: "CODE VALUE\n", built by a server and parsed by the
// client.
// Owns its texts; knows no socket. One thread at a time. Any byte sequence is accepted: there are
// no parse errors, an unknown code reads as an error.
#ifndef RC_RCRESULT_H
#define RC_RCRESULT_H

#include "rc/rcValue.h"

#include <cstddef>
#include <string>

/// One reply.
class CO_EXPORT rcResult {
public:
    /// Whether the request was carried out.
    enum Code { Ok = 0, Error = 1 };

    /// Both fields empty.
    rcResult();
    virtual ~rcResult();

    /// "ok", "error", or "unknown" for any other value.
    static const char* codeToStr(Code code);

    /// Ok exactly when the code field is "ok"; Error for anything else.
    Code code() const;
    /// Stores codeToStr(\p code).
    void setCode(Code code);

    /// The result text or error message, unescaped.
    const std::string& value() const { return value_.value(); }
    /// Null is the empty text.
    void setValue(const char* value) { value_.setValue(value); }
    /// Moves the value out and leaves it empty: a reply of many megabytes is not copied.
    std::string takeValue() { return value_.takeValue(); }

    /// Empties the fields for the next line. An escape that the last line left open stays open.
    void reset();
    /// The whole reply line with its line feed.
    std::string escapedCommand() const;
    /// Feeds one byte of a reply line. True when it completes the line.
    bool appendChar(char c);
    /// Feeds up to \p size bytes, in runs, and stops behind a line feed. Returns the bytes taken;
    /// \p complete tells whether the last of them completed the line.
    std::size_t append(const char* data, std::size_t size, bool& complete);
    /// Room for the next \p size bytes of the line where they will stay, which append() is then
    /// given; null when they have to be put elsewhere.
    char* lend(std::size_t size) { return parseState_ == 0 ? nullptr : value_.lend(size); }

private:
    std::string code_;
    rcValue value_;
    unsigned char parseState_; // the field being read: 0 code, 1 value
};

#endif
