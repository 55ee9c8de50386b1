// Short names for servers, from the user's file $XDG_CONFIG_HOME/lantrix/hosts, else
// ~/.config/lantrix/hosts: lines of a name and the host that it stands for; # begins a comment.
// Read once, when the first name is looked up. A file that is not there, or can't be read, has
// none.
#ifndef TOOLS_SESSION_HOSTALIASES_H
#define TOOLS_SESSION_HOSTALIASES_H

#include <map>
#include <string>

namespace tool {

/// Names and hosts.
[[nodiscard]] const std::map<std::string, std::string>& hostAliases();

/// The host that a name stands for; the name itself when it is not an alias.
[[nodiscard]] std::string aliasedHost(const std::string& name);

} // namespace tool

#endif
