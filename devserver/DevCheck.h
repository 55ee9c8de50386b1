// Looks through a server's directory for what is wrong in it, and repairs what can be repaired.
// Needs the directory for itself; any thread. Failures are DevError: the directory is not
// a server's, or a server is using it.
#ifndef DEVSERVER_DEVCHECK_H
#define DEVSERVER_DEVCHECK_H

#include <cstddef>
#include <functional>
#include <string>

using DevTell = std::function<void(const std::string& line)>;

/// Reports each finding in a line, and returns how many there are. Changes nothing.
std::size_t devCheck(const std::string& path, const DevTell& tell);

/// Does what a start does; moves what is in a frame's place and can't be one to "lost". Reports
/// what it did, then what is left, and returns how many findings are left.
std::size_t devRepair(const std::string& path, const DevTell& tell);

#endif
