// Shows on standard error how far a transfer has come: a line that is renewed on a terminal, JSON
// lines for programs, nothing for a pipe.
// The functions of one object may be called by any thread. Has no failures.
#ifndef TOOLS_TRANSFER_PROGRESS_H
#define TOOLS_TRANSFER_PROGRESS_H

#include "tools/report/Options.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

class Progress {
public:
    /// Shows the line at once. \p what is the verb; \p total the units to come, 0
    /// when nobody knows.
    Progress(const Options& options, std::string what, std::size_t total,
             std::string unit = "frame");
    /// Ends the line.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more frame is done; shown a few times a second.
    void advance(std::uint64_t bytes);
    /// One more frame is done, for which nothing had to be moved.
    void skip();

    [[nodiscard]] std::size_t framesDone() const { return done_; }
    [[nodiscard]] std::size_t framesSkipped() const { return skipped_; }
    [[nodiscard]] std::uint64_t bytesDone() const { return bytes_; }
    /// Since construction, without the time in which a ticking process was stopped.
    [[nodiscard]] double seconds() const;
    /// "48 frames, 298.6 MB in 1.20 s: 40.0 frames/s, 248.8 MB/s".
    [[nodiscard]] std::string summary() const;

    /// As long as it lives, a thread of its own renews the line while no frame is done, so that a
    /// transfer that stands still says so. No process may be forked meanwhile.
    class Ticker {
    public:
        explicit Ticker(Progress& progress);
        ~Ticker();
        Ticker(const Ticker&) = delete;
        Ticker& operator=(const Ticker&) = delete;

    private:
        void run();

        Progress& progress_;
        std::mutex mutex_;
        std::condition_variable ended_;
        bool isEnding_ = false; // guarded by mutex_
        std::thread thread_;    // last, so that it sees all else made
    };

private:
    enum class Mode { None, Bar, Lines };
    using Clock = std::chrono::steady_clock;
    using Time = std::chrono::duration<double>;
    struct Sample {
        Time time;
        std::size_t done;
        std::uint64_t bytes;
    };

    static Mode modeOf(const Options& options);
    [[nodiscard]] bool isAtEnd() const { return total_ > 0 && done_ == total_; }
    void tick();
    void countDone();
    void passTime();
    void takeSample();
    void showBar() const;
    [[nodiscard]] std::string barText(std::size_t columns) const;
    void showLine() const;

    const Mode mode_;
    const std::string what_;
    const std::string unit_;
    const std::size_t total_;
    mutable std::mutex mutex_; // of all below
    Clock::time_point seen_ = Clock::now();
    Time active_{0};   // the time that counts
    Time shown_{0};    // when something was shown last
    Time advanced_{0}; // when a frame was done last
    bool isTicking_ = false;
    std::size_t done_ = 0;
    std::size_t skipped_ = 0;
    std::uint64_t bytes_ = 0;
    std::deque<Sample> samples_; // of the last seconds
};

} // namespace tool

#endif
