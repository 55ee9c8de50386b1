// A development server of one's own: on a free loopback address, with a temporary directory that
// is removed at the end.
// Owns both. Failures are thrown by the constructor.
#ifndef TOOLS_SESSION_LOCALSERVER_H
#define TOOLS_SESSION_LOCALSERVER_H

#include "devserver/DevServer.h"

#include <memory>
#include <string>

namespace tool {

/// A directory below TMPDIR, removed with all in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

class LocalServer {
public:
    LocalServer();

    [[nodiscard]] const std::string& address() const { return address_; }

private:
    TemporaryFolder folder_;
    std::string address_;
    std::unique_ptr<DevServer> server_; // never null
};

} // namespace tool

#endif
