// What a user would take instead, where it is installed: HTTP with libcurl against nginx, and
// hiredis against Redis. Each starts a server of its own on a free port of loopback.
#ifndef BENCH_ACROSS_RIVALS_H
#define BENCH_ACROSS_RIVALS_H

#include "bench/across/FrameMover.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace bench {

class Rival : public FrameMover {
public:
    /// The server.
    virtual pid_t process() const = 0;
    /// Where it listens on 127.0.0.1.
    virtual std::uint16_t port() const = 0;
    /// The Python module that speaks to it.
    virtual std::string pythonModule() const = 0;
};

/// GET and PUT of one file for each size; connections are kept. nginx keeps the files in
/// \p folder.
std::unique_ptr<Rival> httpRival(const std::filesystem::path& folder);
/// GET and SET of one key for each size; nothing is written to disk.
std::unique_ptr<Rival> redisRival(const std::filesystem::path& folder);

/// Those that the build found.
std::vector<std::unique_ptr<Rival>> installedRivals(const std::filesystem::path& folder);

} // namespace bench

#endif
