#include "rc/rcValue.h"

#include "base/loggerBase/src/CoText.h"

#include <cstring>

namespace {

char unescaped(char c) {
    switch (c) {
    case 'n':
        return '\n';
    case 't':
        return '\t';
    default:
        return c;
    }
}

// The letter that follows the backslash of an escaped byte.
char escapeLetter(char c) {
    switch (c) {
    case '\t':
        return 't';
    case '\n':
        return 'n';
    default:
        return '\\';
    }
}

} // namespace

rcValue::rcValue() : escapePending_(false) {}

rcValue::~rcValue() = default;

void rcValue::clear() {
    clearText();
    escapePending_ = false;
}

void rcValue::appendEscapedChar(char c) {
    if (escapePending_) {
        escapePending_ = false;
        value_.push_back(unescaped(c));
    } else if (c == '\\') {
        escapePending_ = true;
    } else {
        value_.push_back(c);
    }
}

// Grows fourfold while it is short, since fresh memory costs more than what is done with it, then
// twofold: by powers of two, so that a reply at the line's bound never takes more than that bound.
void rcValue::appendPlain(const char* data, std::size_t size) {
    constexpr std::size_t leastCapacity = 64, fourfoldBelow = std::size_t{4} << 20;
    const std::size_t needed = value_.size() + size;
    if (needed > value_.capacity()) {
        std::size_t capacity = leastCapacity;
        while (capacity < needed)
            capacity *= capacity < fourfoldBelow ? 4 : 2;
        value_.reserve(capacity);
    }
    value_.append(data, size);
}

void rcValue::appendEscaped(const char* data, std::size_t size) {
    const char* const end = data + size;
    while (data != end) {
        if (escapePending_ || *data == '\\') {
            appendEscapedChar(*data++);
            continue;
        }
        const void* const found = std::memchr(data, '\\', static_cast<std::size_t>(end - data));
        const char* const runEnd = found != nullptr ? static_cast<const char*>(found) : end;
        appendPlain(data, static_cast<std::size_t>(runEnd - data));
        data = runEnd;
    }
}

std::string rcValue::escapedValue() const {
    std::string escaped;
    escaped.reserve(value_.size());
    for (const char* rest = value_.c_str();;) {
        const std::size_t run = std::strcspn(rest, "\t\n\\");
        escaped.append(rest, run);
        rest += run;
        if (*rest == '\0')
            return escaped;
        escaped.push_back('\\');
        escaped.push_back(escapeLetter(*rest++));
    }
}

void rcValue::setValue(const char* value) {
    value_ = coTextOrEmpty(value);
}

std::string rcValue::takeValue() {
    std::string taken;
    taken.swap(value_);
    return taken;
}
