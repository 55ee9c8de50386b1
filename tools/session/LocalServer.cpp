#include "tools/session/LocalServer.h"

#include "tools/report/Failure.h"
#include "tools/session/TraceRelay.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace tool {

TemporaryFolder::TemporaryFolder()
    : path_((std::filesystem::temp_directory_path() / "lantrix-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr)
        throw fileFailure("can't make", path_, errno);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

LocalServer::LocalServer() {
    std::string problem;
    for (int attempt = 0; attempt < loopbackAttempts && !server_; ++attempt) {
        DevServerOptions options;
        options.root = folder_.path() + "/server";
        options.listen = address_ = loopbackAddress(attempt);
        try {
            server_ = std::make_unique<DevServer>(options);
        } catch (const std::exception& error) {
            problem = error.what();
        }
    }
    if (!server_)
        throw Failure(Status::Other, "no development server could be started: " + problem);
}

} // namespace tool
