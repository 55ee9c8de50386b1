#include "devserver/DevLog.h"

#include "base/loggerBase/src/CoText.h"

#include <exception>

namespace {

// Cuts before an escape rather than inside one.
void appendEscaped(std::string& line, std::string_view text) {
    constexpr std::string_view cut = "...";
    constexpr std::size_t room = DevLog::longestLine - cut.size();
    unsigned char previous = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        // Behind 0xc2 stand those that terminals take for controls in UTF-8.
        const bool isControl = byte < ' ' || byte == 127 || (previous == 0xc2 && byte < 0xa0);
        previous = byte;
        const std::string piece = isControl ? coFormatCut(8, "\\x%02x", byte) : std::string(1, c);
        if (line.size() + piece.size() > room) {
            line.append(cut);
            return;
        }
        line.append(piece);
    }
}

} // namespace

void DevLog::operator()(std::string_view line) const noexcept {
    (*this)(line, {});
}

void DevLog::operator()(std::string_view what, std::string_view problem) const noexcept {
    if (!sink_)
        return;
    try {
        std::string line;
        const std::string_view whole[] = {what, problem};
        for (const std::string_view text : whole)
            if (line.size() < longestLine - 3)
                appendEscaped(line, text);
        const std::lock_guard<std::mutex> lock(mutex_);
        sink_(line);
    } catch (const std::exception&) {
        // There is nowhere left to tell it.
    }
}
