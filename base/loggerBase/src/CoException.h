// The one exception type that the library throws: a fixed-size record of a message and the
// place that it names. It owns copies of both texts and allocates nothing, so that it can be
// thrown and copied when memory has run out. Thrown by connections and id checks, caught by the
// services and the public handles.
#ifndef BASE_LOGGERBASE_COEXCEPTION_H
#define BASE_LOGGERBASE_COEXCEPTION_H

#include "base/CoExport.h"

#include <exception>

class CO_EXPORT CoException : public std::exception {
public:
    /// Keeps at most 511 characters of \p message and 127 of \p file; more is cut silently.
    /// Neither may be null. \p file and \p line are literals that name the source of the failure.
    CoException(const char* message, int line, const char* file) noexcept;

    /// Replaces the message, under the same bound of 511 characters.
    void setWhat(const char* message) noexcept;

    /// The message; valid as long as the exception.
    const char* what() const noexcept override;

    /// The source file given at construction; valid as long as the exception.
    const char* file() const { return file_; }

    /// The source line given at construction.
    int line() const { return line_; }

private:
    char file_[128];
    char message_[512];
    int line_;
};

#endif
