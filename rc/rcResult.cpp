#include "rc/rcResult.h"

#include <cstring>

namespace {

enum ParseState : unsigned char { InCode, InValue };

// No code that is known is longer; what follows would only take memory.
constexpr std::size_t longestCode = 64;

} // namespace

rcResult::rcResult() : parseState_(InCode) {}

rcResult::~rcResult() = default;

const char* rcResult::codeToStr(Code code) {
    switch (code) {
    case Ok:
        return "ok";
    case Error:
        return "error";
    }
    return "unknown"; // GCOVR_EXCL_LINE: only for a value that is not an enumerator
}

rcResult::Code rcResult::code() const {
    return code_ == codeToStr(Ok) ? Ok : Error;
}

void rcResult::setCode(Code code) {
    code_ = codeToStr(code);
}

void rcResult::reset() {
    code_.clear();
    value_.clearText();
    parseState_ = InCode;
}

std::string rcResult::escapedCommand() const {
    const std::string value = value_.escapedValue();
    std::string line;
    line.reserve(code_.size() + value.size() + 2); // a long one is to take no more than that
    return line.append(code_).append(1, ' ').append(value).append(1, '\n');
}

bool rcResult::appendChar(char c) {
    if (c == '\n')
        return true;
    if (parseState_ == InValue)
        value_.appendEscapedChar(c);
    else if (c == ' ')
        parseState_ = InValue;
    else if (code_.size() < longestCode)
        code_.push_back(c);
    return false;
}

std::size_t rcResult::append(const char* data, std::size_t size, bool& complete) {
    const void* const lineFeed = std::memchr(data, '\n', size);
    complete = lineFeed != nullptr;
    const std::size_t length =
        complete ? static_cast<std::size_t>(static_cast<const char*>(lineFeed) - data) : size;
    std::size_t done = 0;
    while (done < length && parseState_ == InCode)
        appendChar(data[done++]);
    value_.appendEscaped(data + done, length - done);
    return complete ? length + 1 : length;
}
