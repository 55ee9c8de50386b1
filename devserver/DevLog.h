// The server's log: lines of text, handed to one function.
// Owns the function. Any thread; the function is called by one at a time.
#ifndef DEVSERVER_DEVLOG_H
#define DEVSERVER_DEVLOG_H

#include <functional>
#include <mutex>
#include <string>

class DevLog {
public:
    using Sink = std::function<void(const std::string& line)>;

    /// A null \p sink drops everything.
    DevLog(Sink sink, bool verbose) : sink_(std::move(sink)), verbose_(verbose) {}

    /// Whether each request is to be logged.
    [[nodiscard]] bool isVerbose() const { return sink_ && verbose_; }
    /// Logs one line; control characters, which clients may have sent, become question marks.
    void operator()(std::string line) const;

private:
    mutable std::mutex mutex_;
    Sink sink_;
    bool verbose_;
};

#endif
