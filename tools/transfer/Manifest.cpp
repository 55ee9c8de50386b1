#include "tools/transfer/Manifest.h"

#include "tools/report/Failure.h"
#include "tools/transfer/FilePattern.h"

#include <cerrno>
#include <fstream>
#include <regex>

namespace tool {

Manifest readManifest(const std::string& file) {
    std::ifstream input(file);
    if (!input)
        throw fileFailure("can't read", file, errno);
    static const std::regex form("([0-9a-fA-F]{32})  ?[ *]?(?:.*[^0-9])?([0-9]{1,9})[^0-9]*");
    Manifest manifest;
    std::string line;
    for (int number = 1; std::getline(input, line); ++number) {
        std::smatch found;
        if (line.size() > 4096 || !std::regex_match(line, found, form)) {
            throw Failure(Status::LocalFile, "line " + std::to_string(number) + " of '" + file +
                                                 "' is not a hash of 32 digits and a name with "
                                                 "the frame's number")
                .with("file", file);
        }
        std::string hash = found.str(1);
        for (char& digit : hash)
            digit = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
        manifest[std::stoi(found.str(2))] = hash;
    }
    return manifest;
}

std::string manifestLine(const std::string& hash, const std::string& name, int number) {
    return hash + "  " + FilePattern(name + ".####.raw").file(number) + "\n";
}

} // namespace tool
