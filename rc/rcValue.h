// The value of a command or result: a plain text and its escaped form on the wire, in which a tab
// is "\t", a line feed "\n" and a backslash doubled.
// Owns its text; knows no socket. One thread at a time. Any byte sequence is accepted; only
// std::bad_alloc is thrown.
#ifndef RC_RCVALUE_H
#define RC_RCVALUE_H

#include "base/CoExport.h"

#include <cstddef>
#include <string>

/// One value.
class CO_EXPORT rcValue {
public:
    /// Empty, without a pending escape.
    rcValue();
    virtual ~rcValue();
    rcValue(const rcValue&) = default;
    rcValue(rcValue&&) = default;
    rcValue& operator=(const rcValue&) = default;
    rcValue& operator=(rcValue&&) = default;

    /// Empties the text and forgets a pending escape.
    void clear();
    /// Empties the text only: an escape that a line left open still applies to the next byte.
    void clearText() { value_.clear(); }

    /// Feeds one byte of an escaped value.
    void appendEscapedChar(char c);
    /// Feeds \p size bytes of an escaped value; the same result as byte by byte, but plain bytes
    /// are appended in runs. \p data may be what was lent, and is not copied then.
    void appendEscaped(const char* data, std::size_t size);
    /// Room behind the text for \p size bytes that are to be fed next; null when the text would
    /// have to grow. Whatever is fed next ends the loan; until then nothing else is asked for.
    char* lend(std::size_t size);

    /// The escaped form of the text up to its first NUL.
    std::string escapedValue() const;

    /// The plain text.
    const std::string& value() const { return value_; }
    /// Replaces the plain text; null is the empty text.
    void setValue(const char* value);
    /// Moves the plain text out and leaves it empty.
    std::string takeValue();

private:
    void grow(std::size_t needed);
    char* unescape(const char* data, std::size_t size, char* to);

    std::string value_;
    std::size_t lent_;   // bytes at the end of it that are not yet text
    bool escapePending_; // a backslash was fed and its partner is awaited
};

#endif
