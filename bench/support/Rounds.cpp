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

// The contender whose turn it is: the order is reversed from round to round.
std::size_t atTurn(int round, std::size_t turn, std::size_t contenders) {
    return round % 2 == 0 ? turn : contenders - 1 - turn;
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

void Samples::add(const Samples& others) {
    seconds_.insert(seconds_.end(), others.seconds_.begin(), others.seconds_.end());
}

double Samples::ninetieth() const {
    std::vector<double> sorted = seconds_;
    std::sort(sorted.begin(), sorted.end());
    return sorted[(sorted.size() - 1) * 9 / 10];
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
            const std::size_t i = atTurn(round, turn, contenders.size());
            const double taken = secondsOf([&] { contenders[i](counts[i]); });
            samples[i].add(taken / counts[i]);
        }
    }
    return samples;
}

std::vector<Samples> raceItems(const std::vector<Work>& contenders, double seconds, int most) {
    std::vector<Samples> samples(contenders.size());
    double passed = 0;
    for (int round = 0; round < most && (round == 0 || passed < seconds); ++round) {
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const std::size_t i = atTurn(round, turn, contenders.size());
            const double taken = secondsOf([&] { contenders[i](1); });
            samples[i].add(taken);
            passed += taken;
        }
    }
    return samples;
}

} // namespace bench
