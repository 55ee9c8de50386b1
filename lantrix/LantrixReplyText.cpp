#include "lantrix/LantrixReplyText.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

bool isBlank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

} // namespace

// False at the end of the text, and after a field that did not parse.
bool LantrixReplyReader::skipBlanks() {
    if (rest_ == nullptr)
        return false;
    while (isBlank(*rest_))
        ++rest_;
    return *rest_ != '\0';
}

bool LantrixReplyReader::readInt(int& value) {
    if (!skipBlanks())
        return false;
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(rest_, &end, 10);
    const bool fits = end != rest_ && errno == 0 && number >= INT_MIN && number <= INT_MAX;
    rest_ = fits ? end : nullptr;
    if (fits)
        value = static_cast<int>(number);
    return fits;
}

bool LantrixReplyReader::readFloat(float& value) {
    if (!skipBlanks())
        return false;
    char* end = nullptr;
    const float number = std::strtof(rest_, &end);
    const bool parsed = end != rest_;
    rest_ = parsed ? end : nullptr;
    if (parsed)
        value = number;
    return parsed;
}

void LantrixReplyReader::readWord(std::string& word, std::size_t longest) {
    if (!skipBlanks())
        return;
    const char* end = rest_;
    while (*end != '\0' && !isBlank(*end))
        ++end;
    word.assign(rest_, std::min(longest, static_cast<std::size_t>(end - rest_)));
    rest_ = end;
}

void LantrixReplyReader::readRest(std::string& rest, std::size_t longest) {
    if (!skipBlanks())
        return;
    rest.assign(rest_, strnlen(rest_, longest));
    rest_ += rest.size();
}
