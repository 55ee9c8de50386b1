#include "tools/report/PrintableText.h"

#include <cstdio>

namespace tool {

namespace {

std::string escaped(unsigned char c) {
    if (c == '\n')
        return "\\n";
    if (c == '\t')
        return "\\t";
    char text[8];
    std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(c));
    return text;
}

// The second half of the control characters, U+0080 to U+009F, is two bytes of UTF-8.
bool isLateControl(const std::string& text, std::size_t at) {
    return text[at] == '\xC2' && at + 1 < text.size() &&
           (static_cast<unsigned char>(text[at + 1]) & 0xE0U) == 0x80;
}

} // namespace

std::string printableText(const std::string& text, const std::string& kept) {
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (isLateControl(text, i))
            shown += escaped(static_cast<unsigned char>(text[++i]));
        else if ((c < 0x20 || c == 0x7F) && kept.find(text[i]) == std::string::npos)
            shown += escaped(c);
        else
            shown += text[i];
    }
    return shown;
}

} // namespace tool
