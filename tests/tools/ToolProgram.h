// The program lantrix as a child process, and what its tests share: a scratch directory, in which
// it runs, and a development server that its addresses mean.
// Each test is a process of its own and has a loopback address of its own.
#ifndef TESTS_TOOLS_TOOLPROGRAM_H
#define TESTS_TOOLS_TOOLPROGRAM_H

#include "devserver/DevServer.h"
#include "tests/support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/resource.h>

using Words = std::vector<std::string>;

inline Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

struct ToolResult {
    int status = -1; ///< As a shell tells it: 128 and the signal's number when one ended it.
    std::string output;
    std::string errors;
};

/// A run that goes on while the test does something else.
class ToolProgram {
public:
    ToolProgram(const std::string& host, const std::string& folder, const Words& words,
                rlim_t largestFile = RLIM_INFINITY);
    ~ToolProgram();

    /// Waits for a text on standard error; false when the program ends without it.
    bool awaitError(const std::string& text);
    void signal(int number) const { ::kill(process_, number); }
    ToolResult finish();

private:
    pid_t process_ = -1;
    int errors_ = -1;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> output_;
    std::string received_; // on standard error
};

class ToolTest : public ::testing::Test {
protected:
    ToolTest();
    ~ToolTest() override;

    /// Starts the server, with the tree that it had, in protocol 2.MINOR.
    void serve(int minor = 6);
    ToolResult run(const Words& words, rlim_t largestFile = RLIM_INFINITY) const;
    /// Runs what must succeed, and gives what it printed.
    std::string output(const Words& words) const;
    nlohmann::json json(const Words& words) const;
    /// Runs what must print nothing and end with this status and an error that holds the texts.
    void fails(int status, const Words& words, const Words& texts = {},
               rlim_t largestFile = RLIM_INFINITY) const;
    /// Makes the clip /NAME of raw frames, and leaves their bytes in files NAME.0, NAME.1, ...
    void makeClip(const std::string& name, const Words& format, std::size_t size, int count) const;

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    std::string read(const std::string& name) const;
    void write(const std::string& name, const std::string& bytes) const;
    /// The names of the files in a folder, in order, with a blank behind each.
    std::string files(const std::string& folder) const;

    const std::string host_;
    const ScratchDirectory scratch_;
    const std::string folder_;
    std::atomic<int> connected_{0}; ///< Connections that the server has accepted.
    std::unique_ptr<DevServer> server_;
};

/// Bytes without a pattern, the same ones for the same seed.
std::string noise(std::size_t size, unsigned seed);

#endif
