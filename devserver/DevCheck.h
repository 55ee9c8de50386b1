// Looks through a server's directory for what is wrong in it, and mends what can be mended.
// Needs the directory for itself; any thread. Failures are DevError: no directory of a server, or
// one that a server is using.
#ifndef DEVSERVER_DEVCHECK_H
#define DEVSERVER_DEVCHECK_H

#include <cstddef>
#include <functional>
#include <string>

using DevTell = std::function<void(const std::string& line)>;

/// Tells each finding in a line, and returns how many there are. Changes nothing.
std::size_t devCheck(const std::string& root, const DevTell& tell);

/// Does what a start does; moves what is in a frame's place and can't be one to "lost". Tells what
/// it did, then what is left, and returns how many findings are left.
std::size_t devRepair(const std::string& root, const DevTell& tell);

#endif
