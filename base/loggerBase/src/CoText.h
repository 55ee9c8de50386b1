// Text helpers of the whole library: bounded formatting that does not depend on the process's
// locale, and storing of error texts where nothing may be thrown.
// Stateless; any thread. Failures: std::bad_alloc where a string is built, none elsewhere.
#ifndef BASE_LOGGERBASE_COTEXT_H
#define BASE_LOGGERBASE_COTEXT_H

#include <clocale>
#include <cstdarg>
#include <cstddef>
#include <locale.h>
#include <string>
#ifdef __APPLE__
#include <xlocale.h>
#endif

/// Switches the calling thread to the "C" locale for its lifetime, so that numbers are written
/// and read with a decimal point whatever the application has set. Other threads are untouched.
class CoCLocale {
public:
    CoCLocale();
    ~CoCLocale();
    CoCLocale(const CoCLocale&) = delete;
    CoCLocale& operator=(const CoCLocale&) = delete;

private:
    locale_t previous_;
};

/// printf-style text in the "C" locale, cut so that it fits a buffer of \p bufferSize bytes with
/// its terminator (at most bufferSize - 1 characters; bufferSize is at least 1).
std::string coFormatCut(std::size_t bufferSize, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/// As coFormatCut, with the arguments already collected.
std::string coFormatCutV(std::size_t bufferSize, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));

/// Stores \p text in \p target and never throws: without memory it keeps as much of the text as
/// the target's present capacity holds. For error texts, which are often stored when memory ran
/// out. \p text may be part of \p target.
void coAssignText(std::string& target, const char* text) noexcept;

/// The system's text for an errno value, in \p buffer or in storage that never goes away. Safe in
/// threads, unlike the classic call.
const char* coErrorText(int error, char* buffer, std::size_t size) noexcept;

/// A null text is the empty text.
inline const char* coTextOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

#endif
