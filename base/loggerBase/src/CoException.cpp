#include "base/loggerBase/src/CoException.h"

#include <cstddef>
#include <cstring>

namespace {

template <std::size_t Size>
void copyCut(char (&target)[Size], const char* text) {
    const std::size_t length = strnlen(text, Size - 1);
    std::memmove(target, text, length); // setWhat may be given the exception's own message
    target[length] = '\0';
}

} // namespace

CoException::CoException(const char* message, int line, const char* file) noexcept : line_(line) {
    copyCut(file_, file);
    copyCut(message_, message);
}

void CoException::setWhat(const char* message) noexcept {
    copyCut(message_, message);
}

const char* CoException::what() const noexcept {
    return message_;
}
