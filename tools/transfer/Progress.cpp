#include "tools/transfer/Progress.h"

#include "tools/report/Json.h"
#include "tools/report/NumberText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr double megabyte = 1e6;
constexpr double rateSeconds = 3;  // the rate is that of so many last seconds
constexpr double stallSeconds = 5; // without a frame, the transfer stands still
constexpr double pauseSeconds = 1; // between two ticks: the process was stopped
constexpr auto tickInterval = std::chrono::milliseconds(200);

double perSecond(double amount, double seconds) {
    return seconds > 0 ? amount / seconds : 0;
}

std::size_t terminalColumns() {
    winsize size{};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : 80;
}

std::string fixedText(double number, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, number);
    return text;
}

} // namespace

Progress::Mode Progress::modeOf(const Options& options) {
    if (options.progress == "json")
        return Mode::Lines;
    const bool wantsBar =
        options.progress == "bar" || (options.progress == "auto" && !options.quiet &&
                                      !options.json && ::isatty(STDERR_FILENO) != 0);
    return wantsBar ? Mode::Bar : Mode::None;
}

Progress::Progress(const Options& options, std::string what, std::size_t total, std::string unit)
    : mode_(modeOf(options)), what_(std::move(what)), unit_(std::move(unit)), total_(total) {
    samples_.push_back({active_, 0, 0});
    if (mode_ == Mode::Bar && total_ > 0)
        showBar();
}

Progress::~Progress() {
    if (mode_ == Mode::Bar && (total_ == 0 ? done_ > 0 : done_ < total_))
        std::fputc('\n', stderr); // of a bar that was left before its end
}

double Progress::seconds() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Time(active_ + (Clock::now() - seen_)).count();
}

void Progress::advance(std::uint64_t bytes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    bytes_ += bytes;
    countDone();
}

void Progress::skip() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++skipped_;
    countDone();
}

void Progress::countDone() {
    ++done_;
    passTime();
    advanced_ = active_;
    takeSample();
    const bool isFirst = done_ == 1;
    if (mode_ == Mode::None ||
        (active_ - shown_ < std::chrono::milliseconds(100) && !isAtEnd() && !isFirst))
        return;
    shown_ = active_;
    mode_ == Mode::Bar ? showBar() : showLine();
}

void Progress::tick() {
    const std::lock_guard<std::mutex> lock(mutex_);
    passTime();
    if (mode_ == Mode::Bar && !isAtEnd() && active_ - shown_ >= tickInterval) {
        shown_ = active_;
        showBar();
    }
}

// A gap between two ticks is time in which the process did not run, as after Ctrl-Z.
void Progress::passTime() {
    const Clock::time_point now = Clock::now();
    const Time gap = now - seen_;
    if (!isTicking_ || gap.count() < pauseSeconds)
        active_ += gap;
    seen_ = now;
}

void Progress::takeSample() {
    samples_.push_back({active_, done_, bytes_});
    while (samples_.size() > 2 && (active_ - samples_[1].time).count() > rateSeconds)
        samples_.pop_front();
}

std::string Progress::barText(std::size_t columns) const {
    const Sample& oldest = samples_.front();
    const double time = (active_ - oldest.time).count();
    const double rate = perSecond(static_cast<double>(bytes_ - oldest.bytes) / megabyte, time);
    const double left =
        done_ == oldest.done || total_ == 0
            ? 0
            : static_cast<double>(total_ - done_) * time / static_cast<double>(done_ - oldest.done);
    const double stalled = (active_ - advanced_).count();
    const std::string count =
        " " + std::to_string(done_) + (total_ == 0 ? "" : "/" + std::to_string(total_));
    const std::string pace = stalled >= stallSeconds
                                 ? "  nothing for " + fixedText(stalled, 0) + " s"
                                 : (unit_ == "frame" ? "  " + fixedText(rate, 1) + " MB/s" : "") +
                                       (total_ == 0 ? "" : "  " + fixedText(left, 0) + " s left");
    const std::array<std::string, 3> tails{count + " " + unit_ + "s" + pace, count + pace, count};
    const std::size_t room = columns - 1 - std::min(columns - 1, what_.size());
    const auto* const tail = std::find_if(
        tails.begin(), tails.end(), [&](const std::string& text) { return text.size() <= room; });
    if (tail == tails.end())
        return (what_ + count).substr(0, columns - 1);
    const std::size_t free = room - tail->size();
    std::string bar;
    if (free >= 8 && total_ > 0) {
        const std::size_t width = std::min<std::size_t>(free - 3, 30);
        const std::size_t filled = width * done_ / total_;
        bar = " [" + std::string(filled, '#') + std::string(width - filled, '.') + "]";
    }
    return what_ + bar + *tail;
}

void Progress::showBar() const {
    const std::size_t columns = std::max<std::size_t>(terminalColumns(), 2);
    std::fprintf(stderr, "\r%s\x1b[K%s", barText(columns).c_str(), isAtEnd() ? "\n" : "");
    std::fflush(stderr);
}

void Progress::showLine() const {
    const Json line = {{"schema", 1},     {"progress", what_},
                       {"frames", done_}, {"total", total_ == 0 ? Json() : Json(total_)},
                       {"bytes", bytes_}, {"seconds", active_.count()}};
    std::fprintf(stderr, "%s\n", dumpJson(line).c_str());
}

std::string Progress::summary() const {
    const double time = seconds();
    const double amount = static_cast<double>(bytes_) / megabyte;
    const std::size_t moved = done_ - skipped_;
    return countText(moved, unit_) + ", " + fixedText(amount, 1) + " MB in " + fixedText(time, 2) +
           " s: " + fixedText(perSecond(static_cast<double>(moved), time), 1) + " " + unit_ +
           "s/s, " + fixedText(perSecond(amount, time), 1) + " MB/s" +
           (skipped_ > 0 ? "; " + countText(skipped_, unit_) + " left out" : "");
}

Progress::Ticker::Ticker(Progress& progress) : progress_(progress), thread_(&Ticker::run, this) {}

Progress::Ticker::~Ticker() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    ended_.notify_one();
    thread_.join();
    const std::lock_guard<std::mutex> lock(progress_.mutex_);
    progress_.passTime();
    progress_.isTicking_ = false;
}

void Progress::Ticker::run() {
    {
        const std::lock_guard<std::mutex> lock(progress_.mutex_);
        progress_.isTicking_ = true;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ended_.wait_for(lock, tickInterval, [this] { return isEnding_; }))
        progress_.tick();
}

} // namespace tool
