// A development server with a tree of its own, on an address that no other test listens on, and a
// relay in front of it that breaks exchanges when it is told to.
#ifndef TESTS_STREAM_STREAMSERVER_H
#define TESTS_STREAM_STREAMSERVER_H

#include "devserver/DevServer.h"
#include "lantrix/LantrixClientAPI.h"
#include "soak/FaultyRelay.h"
#include "stream/Failure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

using Kind = lantrix::Failure::Kind;
using Channel = FaultyRelay::Channel;
using Side = FaultyRelay::Side;
using Fault = FaultyRelay::Fault;

class StreamServer {
public:
    static constexpr int frameSize = 48; // 4 x 4 pixels of 24 bits

    enum class Log { On, Off };

    explicit StreamServer(Log log = Log::On) : options_(makeOptions(log)) { start(); }
    ~StreamServer() {
        stop();
        std::filesystem::remove_all(options_.root);
    }
    StreamServer(const StreamServer&) = delete;
    StreamServer& operator=(const StreamServer&) = delete;

    void start() { server_.emplace(options_); }
    void stop() { server_.reset(); }

    const std::string& host() const { return options_.listen; }
    /// The lines of the log that hold a text.
    std::vector<std::string> logged(const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::string> found;
        for (const std::string& line : log_)
            if (line.find(text) != std::string::npos)
                found.push_back(line);
        return found;
    }

    /// What frame \p index of a test's clip holds.
    static std::string frame(int index) {
        return std::string(frameSize - 8, static_cast<char>('a' + index % 26)) +
               std::to_string(10000000 + index);
    }
    /// The clip, with \p frames frames as above.
    LantrixNodeHandle clip(int frames) {
        LantrixNodeHandle clip;
        EXPECT_TRUE(LantrixResolveDisplayPath(handle_, "/Reel/clip", clip) &&
                    clip.setNumFrames(frames))
            << clip.lastError();
        for (int i = 0; i < frames; ++i)
            EXPECT_TRUE(clip.writeFrame(i, frame(i).data(), frameSize)) << clip.lastError();
        return clip;
    }
    LantrixServerHandle& handle() { return handle_; }

    /// An address of this process.
    static std::string address(int network) {
        return "127." + std::to_string(network) + "." + std::to_string(::getpid() / 250 % 250) +
               "." + std::to_string(::getpid() % 250 + 1);
    }

private:
    DevServerOptions makeOptions(Log log) {
        DevServerOptions options;
        options.listen = address(204);
        options.root = ::testing::TempDir() + "stream-" + options.listen;
        options.clips = {"/Reel/clip=4x4x24"};
        options.verbose = log == Log::On;
        options.log = [this](const std::string& line) {
            const std::lock_guard<std::mutex> lock(mutex_);
            log_.push_back(line);
        };
        return options;
    }

    std::mutex mutex_; // guards log_
    std::vector<std::string> log_;
    const DevServerOptions options_;
    std::optional<DevServer> server_;
    LantrixServerHandle handle_{options_.listen.c_str()};
};

/// The relay before a server, with the thread that it runs in.
class Relayed {
public:
    explicit Relayed(const StreamServer& server)
        : host_(StreamServer::address(205)), relay(context_, host_, server.host()) {}
    ~Relayed() {
        context_.stop();
        thread_.join();
    }
    Relayed(const Relayed&) = delete;
    Relayed& operator=(const Relayed&) = delete;

    const std::string& host() const { return host_; }

private:
    asio::io_context context_;
    const std::string host_;

public:
    FaultyRelay relay;

private:
    std::thread thread_{[this] { context_.run(); }};
};

#endif
