// A request line of the command connection: "TYPE ID METHOD VALUE\n", built by the client and
// parsed, byte by byte, by a server.
// Owns its texts; knows no socket. One thread at a time. Any byte sequence is accepted.
#ifndef RC_RCCOMMAND_H
#define RC_RCCOMMAND_H

#include "rc/rcValue.h"

#include <string>

/// One request.
class CO_EXPORT rcCommand {
public:
    /// Whether the sender waits for a reply.
    enum Type { Sync = 0, Async = 1 };

    /// All fields empty.
    rcCommand();
    virtual ~rcCommand();

    /// "sync", "async", or "unknown" for any other value.
    static const char* typeToStr(Type type);

    /// Sync exactly when the type field is "sync"; Async for anything else.
    Type type() const;
    /// Stores typeToStr(\p type).
    void setType(Type type);

    /// The id as the number that its field begins with, 0 without one.
    int id() const;
    /// Stores \p id in decimal.
    void setId(int id);

    /// The method name: without blanks and line feeds, since it is not escaped. Null is "".
    const char* method() const { return method_.c_str(); }
    void setMethod(const char* method);

    /// The argument text, unescaped.
    const std::string& value() const { return value_.value(); }
    /// Null is the empty text.
    void setValue(const char* value) { value_.setValue(value); }

    /// Empties all fields for the next line. An escape that the last line left open stays open.
    void reset();
    /// The whole request line with its line feed.
    std::string escapedCommand() const;
    /// Feeds one byte of a request line. True when it completes the line.
    bool appendChar(char c);

private:
    std::string type_;
    std::string id_;
    std::string method_;
    rcValue value_;
    unsigned char parseState_; // the field being read: 0 type, 1 id, 2 method, 3 value
};

#endif
