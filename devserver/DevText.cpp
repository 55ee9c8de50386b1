#include "devserver/DevText.h"

#include "base/loggerBase/src/CoText.h"
#include "rc/rcProtocol.h"

#include <cmath>
#include <cstdlib>

std::optional<float> devFloat(std::string_view text) {
    const std::string terminated(text);
    const CoCLocale neutral;
    char* end = nullptr;
    const float value = std::strtof(terminated.c_str(), &end);
    const bool whole = !terminated.empty() && end == terminated.c_str() + terminated.size();
    if (!whole || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::vector<std::string> devSplit(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    for (;;) {
        const std::size_t end = text.find(separator);
        pieces.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

std::vector<std::string> devListOf(std::string_view text) {
    std::vector<std::string> pieces;
    if (!text.empty())
        rcProtocol::forEachPiece(text, [&](std::string_view piece) { pieces.emplace_back(piece); });
    return pieces;
}
