#include "bench/support/Rounds.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace bench {

namespace {

// Items that fill a turn. The first run finds connections, pages and caches cold: it is not timed.
int itemsOfATurn(const Work& work, double seconds) {
    work(1);
    int count = 1;
    double taken = secondsOf([&] { work(count); });
    while (taken < seconds / 8) {
        count *= 2;
        taken = secondsOf([&] { work(count); });
    }
    return std::max(1, static_cast<int>(count * seconds / taken));
}

} // namespace

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double secondsOf(const std::function<void()>& body) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double Samples::speedBeside(const Samples& yardstick) const {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < seconds_.size(); ++i)
        ratios.push_back(yardstick.seconds_[i] / seconds_[i]);
    return median(ratios);
}

std::vector<Samples> race(const std::vector<Work>& contenders, const Effort& effort) {
    std::vector<int> counts;
    for (const Work& work : contenders)
        counts.push_back(itemsOfATurn(work, effort.seconds));
    std::vector<Samples> samples(contenders.size());
    for (int round = 0; round < effort.rounds; ++round) {
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const std::size_t i = round % 2 == 0 ? turn : contenders.size() - 1 - turn;
            const double taken = secondsOf([&] { contenders[i](counts[i]); });
            samples[i].add(taken / counts[i]);
        }
    }
    return samples;
}

} // namespace bench
