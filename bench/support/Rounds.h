// Times contenders against each other: in rounds that let each of them run in turn, so that
// whatever else the machine does meets all of them alike. Medians over the rounds.
#ifndef BENCH_SUPPORT_ROUNDS_H
#define BENCH_SUPPORT_ROUNDS_H

#include <functional>
#include <vector>

namespace bench {

/// Handles \p count items, frames or calls, and returns when the last one is finished.
using Work = std::function<void(int count)>;

struct Effort {
    int rounds = 9;        ///< Of each contender.
    double seconds = 0.05; ///< What one contender's turn should take.
};

double median(std::vector<double> values);
/// Seconds that \p body takes.
double secondsOf(const std::function<void()>& body);

/// What the rounds of one contender took: seconds per item, in the order of the rounds.
class Samples {
public:
    void add(double secondsPerItem) { seconds_.push_back(secondsPerItem); }
    /// More rounds, those of the same contender in another race.
    void add(const Samples& others);
    double perItem() const { return median(seconds_); }
    /// The time that nine of ten were not above.
    double ninetieth() const;
    double perSecond() const { return 1 / perItem(); }
    /// How fast this is compared with \p yardstick: above 1 is faster. Each round is compared with
    /// the same round of the other.
    double speedBeside(const Samples& yardstick) const;

private:
    std::vector<double> seconds_;
};

/// Lets the contenders run in rounds, after a turn to warm up; the order is reversed from round to
/// round. The result is in the order of the contenders.
std::vector<Samples> race(const std::vector<Work>& contenders, const Effort& effort);
/// The same for items that fill a turn each: without a turn to warm up, and as many rounds as begin
/// within \p seconds, at least one and at most \p most.
std::vector<Samples> raceItems(const std::vector<Work>& contenders, double seconds, int most);

} // namespace bench

#endif
