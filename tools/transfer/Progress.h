// Shows on standard error how far a transfer has come: a line that is renewed on a terminal, JSON
// lines for programs, nothing for a pipe.
// Used by one thread. Has no failures.
#ifndef TOOLS_TRANSFER_PROGRESS_H
#define TOOLS_TRANSFER_PROGRESS_H

#include "tools/report/Options.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

class Progress {
public:
    /// \p what is the verb; \p total the frames to come.
    Progress(const Options& options, std::string what, std::size_t total);
    /// Ends the line.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more frame is done; shown a few times a second.
    void advance(std::uint64_t bytes);

    [[nodiscard]] std::size_t framesDone() const { return done_; }
    [[nodiscard]] std::uint64_t bytesDone() const { return bytes_; }
    /// Since construction.
    [[nodiscard]] double seconds() const;
    /// "48 frames, 298.6 MB in 1.20 s: 40.0 frames/s, 248.8 MB/s".
    [[nodiscard]] std::string summary() const;

private:
    enum class Mode { None, Bar, Lines };
    using Clock = std::chrono::steady_clock;

    static Mode modeOf(const Options& options);
    void showBar(double seconds) const;
    void showLine(double seconds) const;

    const Mode mode_;
    const std::string what_;
    const std::size_t total_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point shown_; // when something was shown last
    std::size_t done_ = 0;
    std::uint64_t bytes_ = 0;
};

} // namespace tool

#endif
