// File paths: what cleaning, joining and taking apart promise of any text.
#include "base/fileUtil/src/CoFilePath.h"
#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <string>

namespace {

// The path's names in order, each behind a slash, without the ones that lead nowhere.
std::string names(std::string_view path) {
    std::string list;
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find('/'));
        if (!name.empty() && name != ".")
            list.append("/").append(name);
        path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    return list;
}

void checkClean(const std::string& text) {
    CoFilePath path(text.c_str());
    path.clean();
    const std::string cleaned = path.path();
    require(cleaned.find("//") == std::string::npos && cleaned.find("/./") == std::string::npos);
    require(names(cleaned) == names(text));
    require(CoFilePath(cleaned.c_str()).isAbsolute() == CoFilePath(text.c_str()).isAbsolute());
    if (text.find_first_of("~$") == std::string::npos) {
        CoFilePath expanded(text.c_str());
        expanded.expand();
        require(expanded.path() == cleaned);
    }
}

void checkComponents(const std::string& text) {
    CoFilePath path(text.c_str());
    const std::string base = path.baseName();
    const std::string extension = path.extension();
    require(base == "/" || base.find('/') == std::string::npos);
    require(*path.directoryName() != '\0');
    require(extension.find_first_of("./") == std::string::npos);
    require(extension.size() < base.size() &&
            base.compare(base.size() - extension.size(), std::string::npos, extension) == 0);
    require(path.pathContainsInvalidChars() == (text.find_first_of("*?,;") != std::string::npos));
    path.pruneExtension();
    require(text.compare(0, std::string(path.path()).size(), path.path()) == 0);
}

void checkGeneric(const std::string& text) {
    std::string generic;
    CoFilePath(text.c_str()).genericPath(generic);
    require(generic.size() == text.size() && generic.find('\\') == std::string::npos);
}

// Exactly one slash joins two parts, unless there is nothing before it.
void checkJoined(const std::string& text, std::size_t first) {
    const std::string head = text.substr(0, first), tail = text.substr(head.size());
    const std::string joined = CoFilePath(head.c_str(), tail.c_str()).path();
    const std::string stripped = !tail.empty() && tail.front() == '/' ? tail.substr(1) : tail;
    const bool addSlash = !head.empty() && head.back() != '/';
    require(joined == head + (addSlash ? "/" : "") + stripped);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::size_t first = input.control();
    const std::string text(input.text().substr(0, input.text().find('\0')));
    checkClean(text);
    checkComponents(text);
    checkGeneric(text);
    checkJoined(text, std::min(first, text.size()));
    return 0;
}
