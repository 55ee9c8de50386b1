// What a user would take instead of the tool over a link, where it is installed: rclone, with a
// server of its own for a local folder. It has no file of settings and speaks to loopback only.
// Owns the server's process. Failures throw.
#ifndef BENCH_ACROSS_RCLONE_H
#define BENCH_ACROSS_RCLONE_H

#include "bench/support/Process.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

class Rclone {
public:
    enum class Protocol { WebDav, Sftp };

    static bool isInstalled();
    /// Serves \p folder on this address; keeps what it needs for that in \p cache.
    Rclone(Protocol protocol, const std::string& host, const std::string& folder,
           const std::string& cache);

    static std::uint16_t port(Protocol protocol) {
        return protocol == Protocol::WebDav ? 8080 : 8022;
    }
    /// "rclone, WebDAV".
    std::string name() const;

    /// Lists all files below a folder of the server that \p host leads to.
    void list(const std::string& host, const std::string& path) const;
    /// Copy all files of a folder, present ones too.
    void get(const std::string& host, const std::string& path, const std::string& local) const;
    void put(const std::string& local, const std::string& host, const std::string& path) const;

private:
    void run(const std::string& host, std::vector<std::string> words) const;
    std::string remote(const std::string& path) const;

    Protocol protocol_;
    Process server_;
};

} // namespace bench

#endif
