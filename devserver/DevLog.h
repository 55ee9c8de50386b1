// The server's log: lines of text, handed to one function.
// Owns the function. Any thread; the function is called by one at a time, and must not wait: what
// it waits for, the service waits for. Never throws: a line that finds no memory is lost.
#ifndef DEVSERVER_DEVLOG_H
#define DEVSERVER_DEVLOG_H

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

class DevLog {
public:
    using Sink = std::function<void(const std::string& line)>;

    /// Bytes of a line; a longer one is cut.
    static constexpr std::size_t longestLine = 2048;

    /// A null \p sink drops everything.
    DevLog(Sink sink, bool verbose) : sink_(std::move(sink)), verbose_(verbose) {}

    /// Whether each request is to be logged.
    [[nodiscard]] bool isVerbose() const { return sink_ && verbose_; }
    /// Logs one line; control characters, which clients may have sent, are escaped.
    void operator()(std::string_view line) const noexcept;
    /// As above, for both texts one behind the other: allocates nothing before it is safe to.
    void operator()(std::string_view what, std::string_view problem) const noexcept;

private:
    mutable std::mutex mutex_;
    Sink sink_;
    bool verbose_;
};

#endif
