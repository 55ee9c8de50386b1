#include "tools/trees/TreeNames.h"

#include "tools/report/Failure.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace tool {

namespace {

constexpr std::size_t longest = 200; // file systems take 255, with a number and an extension

template <class IsPlain>
std::string escaped(const std::string& text, IsPlain isPlain) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isPlain(i)) {
            result += text[i];
            continue;
        }
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(text[i])));
        result += code;
    }
    return result;
}

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

std::string fileForm(const std::string& name) {
    return escaped(name, [&name](std::size_t i) {
        const char c = name[i];
        return !isControl(c) && c != '/' && c != '%' && (c != '.' || i > 0);
    });
}

} // namespace

std::string pathText(const TreePath& path) {
    std::string text;
    for (const std::string& name : path)
        text += (text.empty() ? "" : "/") + name;
    return text;
}

std::string escapedText(const std::string& text) {
    return escaped(text, [&text](std::size_t i) {
        const char c = text[i];
        return !isControl(c) && static_cast<unsigned char>(c) < 0x80 && c != '%';
    });
}

std::string unescapedText(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '%' && i + 2 < text.size() &&
                              std::isxdigit(static_cast<unsigned char>(text[i + 1])) != 0 &&
                              std::isxdigit(static_cast<unsigned char>(text[i + 2])) != 0;
        if (isEscape) {
            result += static_cast<char>(std::strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

bool isFileName(const std::string& name) {
    return name.size() <= longest && fileForm(nodeNameOf(name)) == name;
}

std::string fileNameOf(const std::string& nodeName) {
    std::string name = fileForm(nodeName);
    if (name.empty())
        throw Failure(Status::Other, "a node without a name can't become a file");
    if (name.size() > longest) {
        throw Failure(Status::Other,
                      "the name '" + nodeName.substr(0, 40) + "...' is too long for files");
    }
    return name;
}

std::string nodeNameOf(const std::string& fileName) {
    std::string name = unescapedText(fileName);
    return fileForm(name) == fileName ? name : fileName;
}

} // namespace tool
