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

rcValue::rcValue() : lent_(0), escapePending_(false) {}

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

// Grows fourfold while it is short, then at once to what a long list needs, since copying it each
// time costs more than memory that is not touched, then twofold: by powers of two, so that a reply
// at the line's bound never takes more than that bound.
void rcValue::grow(std::size_t needed) {
    constexpr std::size_t leastCapacity = 64, shortText = 64 << 10, longText = 4 << 20;
    std::size_t capacity = needed <= shortText ? leastCapacity : longText;
    while (capacity < needed)
        capacity *= capacity < shortText ? 4 : 2;
    value_.reserve(capacity);
}

char* rcValue::lend(std::size_t size) {
    const std::size_t used = value_.size();
    if (value_.capacity() - used < size)
        return nullptr;
    value_.resize(used + size);
    lent_ = size;
    return &value_[used];
}

void rcValue::appendEscaped(const char* data, std::size_t size) {
    const std::size_t used = value_.size() - lent_;
    if (lent_ == 0 && value_.capacity() - used < size)
        grow(used + size);
    if (lent_ == 0)
        value_.resize(used + size);
    lent_ = 0;
    char* const end = unescape(data, size, &value_[used]);
    value_.resize(static_cast<std::size_t>(end - value_.data()));
}

// 'to' may be where the data is. Returns the end of what is written there.
char* rcValue::unescape(const char* data, std::size_t size, char* to) {
    const char* const end = data + size;
    while (data != end) {
        if (escapePending_) {
            escapePending_ = false;
            *to++ = unescaped(*data++);
            continue;
        }
        const void* const found = std::memchr(data, '\\', static_cast<std::size_t>(end - data));
        escapePending_ = found != nullptr;
        const char* const runEnd = escapePending_ ? static_cast<const char*>(found) : end;
        if (to != data)
            std::memmove(to, data, static_cast<std::size_t>(runEnd - data));
        to += runEnd - data;
        data = escapePending_ ? runEnd + 1 : end;
    }
    return to;
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
    lent_ = 0;
    return taken;
}
