#include "tools/conform/WireBytes.h"

#include <algorithm>

namespace tool::wire {

std::string escaped(const std::string& value) {
    std::string text;
    for (const char byte : value) {
        if (byte == '\t' || byte == '\n' || byte == '\\')
            text += '\\';
        text += byte == '\t' ? 't' : byte == '\n' ? 'n' : byte;
    }
    return text;
}

std::optional<std::string> unescaped(const std::string& text) {
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\t' || text[i] == '\n' || text[i] == '\0')
            return std::nullopt;
        if (text[i] != '\\') {
            value += text[i];
            continue;
        }
        const char escape = ++i < text.size() ? text[i] : '\0';
        if (escape != 't' && escape != 'n' && escape != '\\')
            return std::nullopt;
        value += escape == 't' ? '\t' : escape == 'n' ? '\n' : '\\';
    }
    return value;
}

std::string quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char byte : text) {
        if (byte == '"' || byte == '\\')
            quoted += '\\';
        quoted += byte;
    }
    return quoted + '"';
}

std::string frameRequest(const std::string& name, const std::string& frameId,
                         const std::string& size) {
    return name + '\0' + frameId + '\0' + size + '\0';
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    for (std::size_t start = 0; !text.empty() && start <= text.size();) {
        const std::size_t end = std::min(text.find(separator, start), text.size());
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

bool areNumbers(const std::string& text, std::size_t count) {
    const std::vector<std::string> words = split(text, ' ');
    return words.size() == count && std::all_of(words.begin(), words.end(), [](std::string word) {
               word.erase(0, !word.empty() && word.front() == '-' ? 1 : 0);
               return !word.empty() && word.size() < 10 &&
                      word.find_first_not_of("0123456789") == std::string::npos;
           });
}

bool isId(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char byte) {
        return byte > ' ' && byte != ',';
    });
}

std::string shown(const std::string& bytes) {
    constexpr std::size_t most = 160;
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char character : bytes.substr(0, most)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte == '\n')
            text += "\\n";
        else if (byte < 0x20 || byte >= 0x7F)
            text += std::string("\\x") + digits[byte >> 4U] + digits[byte & 0xFU];
        else
            text += character;
    }
    return bytes.size() <= most ? text : text + "... (" + std::to_string(bytes.size()) + " bytes)";
}

} // namespace tool::wire
