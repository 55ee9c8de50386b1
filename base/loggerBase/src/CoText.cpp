#include "base/loggerBase/src/CoText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Made once and kept for the life of the process: calls in other objects' destructors still
// find it.
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return locale;
}

// One system returns the text, the other a status and fills the buffer.
[[maybe_unused]] const char* errorTextOf(const char* text, const char*) {
    return text;
}
[[maybe_unused]] const char* errorTextOf(int, const char* buffer) {
    return buffer;
}

} // namespace

CoCLocale::CoCLocale() : previous_(uselocale(cLocale())) {}

CoCLocale::~CoCLocale() {
    uselocale(previous_);
}

std::string coFormatCutV(std::size_t bufferSize, const char* format, std::va_list arguments) {
    const CoCLocale neutral;
    std::string text(bufferSize, '\0');
    std::vsnprintf(text.data(), bufferSize, format, arguments);
    // Counted rather than taken from the result, which is negative for a text beyond INT_MAX.
    text.resize(strnlen(text.c_str(), bufferSize - 1));
    return text;
}

std::string coFormatCut(std::size_t bufferSize, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        std::string text = coFormatCutV(bufferSize, format, arguments);
        va_end(arguments);
        return text;
    } catch (...) {
        va_end(arguments);
        throw;
    }
}

void coAssignText(std::string& target, const char* text) noexcept {
    const std::size_t length = std::strlen(text);
    try {
        target.assign(text, length);
    } catch (...) {
        target.assign(text, std::min(length, target.capacity()));
    }
}

const char* coErrorText(int error, char* buffer, std::size_t size) noexcept {
    return errorTextOf(strerror_r(error, buffer, size), buffer);
}
