#include "tools/transfer/Progress.h"

#include "tools/report/Json.h"

#include <cstdio>
#include <unistd.h>

namespace tool {

namespace {

constexpr double megabyte = 1e6;

double perSecond(double amount, double seconds) {
    return seconds > 0 ? amount / seconds : 0;
}

} // namespace

Progress::Mode Progress::modeOf(const Options& options) {
    if (options.progress == "json") {
        return Mode::Lines;
    }
    const bool wantsBar =
        options.progress == "bar" || (options.progress == "auto" && !options.quiet &&
                                      !options.json && ::isatty(STDERR_FILENO) != 0);
    return wantsBar ? Mode::Bar : Mode::None;
}

Progress::Progress(const Options& options, std::string what, std::size_t total)
    : mode_(modeOf(options)), what_(std::move(what)), total_(total) {}

Progress::~Progress() {
    if (mode_ == Mode::Bar && done_ > 0 && done_ < total_) {
        std::fputc('\n', stderr); // of a bar that was left before its end
    }
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::advance(std::uint64_t bytes) {
    ++done_;
    bytes_ += bytes;
    const Clock::time_point now = Clock::now();
    if (mode_ == Mode::None || (now - shown_ < std::chrono::milliseconds(100) && done_ < total_)) {
        return;
    }
    shown_ = now;
    mode_ == Mode::Bar ? showBar(seconds()) : showLine(seconds());
}

void Progress::showBar(double seconds) const {
    constexpr std::size_t width = 30;
    const std::size_t filled = total_ == 0 ? width : width * done_ / total_;
    const double left =
        perSecond(static_cast<double>(total_ - done_) * seconds, static_cast<double>(done_));
    std::fprintf(stderr, "\r%s [%s%s] %zu/%zu frames  %.1f MB/s  %.0f s left \x1b[K%s",
                 what_.c_str(), std::string(filled, '#').c_str(),
                 std::string(width - filled, '.').c_str(), done_, total_,
                 perSecond(static_cast<double>(bytes_) / megabyte, seconds), left,
                 done_ == total_ ? "\n" : "");
    std::fflush(stderr);
}

void Progress::showLine(double seconds) const {
    const Json line = {{"schema", 1},     {"progress", what_}, {"frames", done_},
                       {"total", total_}, {"bytes", bytes_},   {"seconds", seconds}};
    std::fprintf(stderr, "%s\n", dumpJson(line).c_str());
}

std::string Progress::summary() const {
    const double time = seconds();
    const double amount = static_cast<double>(bytes_) / megabyte;
    char text[160];
    std::snprintf(text, sizeof text, "%zu frame%s, %.1f MB in %.2f s: %.1f frames/s, %.1f MB/s",
                  done_, done_ == 1 ? "" : "s", amount, time,
                  perSecond(static_cast<double>(done_), time), perSecond(amount, time));
    return text;
}

} // namespace tool
