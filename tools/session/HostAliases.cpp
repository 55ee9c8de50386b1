#include "tools/session/HostAliases.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace tool {

namespace {

std::string aliasFile() {
    const char* const folder = std::getenv("XDG_CONFIG_HOME");
    if (folder != nullptr && *folder == '/') // XDG's rules: a relative path is ignored
        return std::string(folder) + "/lantrix/hosts";
    const char* const home = std::getenv("HOME");
    return home == nullptr ? "" : std::string(home) + "/.config/lantrix/hosts";
}

std::map<std::string, std::string> readAliases() {
    std::map<std::string, std::string> aliases;
    std::ifstream file(aliasFile());
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string name;
        std::string host;
        if (words >> name >> host)
            aliases[name] = host;
    }
    return aliases;
}

} // namespace

const std::map<std::string, std::string>& hostAliases() {
    static const std::map<std::string, std::string> aliases = readAliases();
    return aliases;
}

std::string aliasedHost(const std::string& name) {
    const auto found = hostAliases().find(name);
    return found == hostAliases().end() ? name : found->second;
}

} // namespace tool
