#include "bench/across/Rclone.h"

#include "bench/support/Socket.h"

#include <filesystem>

namespace bench {

namespace {

using Words = std::vector<std::string>;

// "frames", as the program wants a password on its command line.
constexpr const char* user = "frames";
constexpr const char* hiddenPassword = "R3xePfwbPw8dE4691j_br1aF3gqO9Q";

Words command(const Words& words) {
    Words all{LANTRIX_BENCH_RCLONE, "--config", "/dev/null"};
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

Words serving(Rclone::Protocol protocol, const std::string& host, const std::string& folder,
              const std::string& cache) {
    const std::string address = host + ":" + std::to_string(Rclone::port(protocol));
    Words words{"serve", protocol == Rclone::Protocol::WebDav ? "webdav" : "sftp",
                folder,  "--addr",
                address, "--cache-dir",
                cache};
    if (protocol == Rclone::Protocol::Sftp)
        words.insert(words.end(), {"--user", user, "--pass", "frames"});
    return command(words);
}

} // namespace

bool Rclone::isInstalled() {
    return std::filesystem::exists(LANTRIX_BENCH_RCLONE);
}

Rclone::Rclone(Protocol protocol, const std::string& host, const std::string& folder,
               const std::string& cache)
    : protocol_(protocol), server_(Process::executing(serving(protocol, host, folder, cache))) {
    awaitListener(port(protocol), host);
}

std::string Rclone::name() const {
    return protocol_ == Protocol::WebDav ? "rclone, WebDAV" : "rclone, SFTP";
}

std::string Rclone::remote(const std::string& path) const {
    return (protocol_ == Protocol::WebDav ? ":webdav:" : ":sftp:") + path;
}

void Rclone::run(const std::string& host, Words words) const {
    const std::string number = std::to_string(port(protocol_));
    if (protocol_ == Protocol::WebDav)
        words.insert(words.end(), {"--webdav-url", "http://" + host + ":" + number});
    else
        words.insert(words.end(), {"--sftp-host", host, "--sftp-port", number, "--sftp-user", user,
                                   "--sftp-pass", hiddenPassword});
    Process::executing(command(words)).requireSuccess();
}

void Rclone::list(const std::string& host, const std::string& path) const {
    run(host, {"lsl", remote(path)});
}

void Rclone::get(const std::string& host, const std::string& path, const std::string& local) const {
    run(host, {"copy", "--ignore-times", remote(path), local});
}

void Rclone::put(const std::string& local, const std::string& host, const std::string& path) const {
    run(host, {"copy", "--ignore-times", local, remote(path)});
}

} // namespace bench
