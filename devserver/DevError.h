// The failures of the development server: an exception whose text is meant for the client, and the
// helpers that write such texts.
// Stateless; any thread.
#ifndef DEVSERVER_DEVERROR_H
#define DEVSERVER_DEVERROR_H

#include <stdexcept>
#include <string>
#include <string_view>

/// A request that can't be served. The text says what is wrong, as a sentence.
class DevError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// As DevError, because the process has no descriptor left: another attempt may succeed.
class DevNoDescriptors : public DevError {
public:
    using DevError::DevError;
};

/// A client's text in single quotes, cut so that an answer stays short.
std::string devQuoted(std::string_view text);

/// "WHAT: TEXT OF THE ERRNO VALUE."
std::string devSystemText(const std::string& what, int error);

#endif
