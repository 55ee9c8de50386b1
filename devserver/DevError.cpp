#include "devserver/DevError.h"

#include "base/loggerBase/src/CoText.h"

std::string devQuoted(std::string_view text) {
    constexpr std::size_t longestQuote = 200;
    const bool cut = text.size() > longestQuote;
    return "'" + std::string(text.substr(0, longestQuote)) + (cut ? "...'" : "'");
}

std::string devSystemText(const std::string& what, int error) {
    char buffer[256];
    return what + ": " + coErrorText(error, buffer, sizeof buffer) + ".";
}
