#include "bench/inside/Pairs.h"

#include <benchmark/benchmark.h>

#include <map>
#include <vector>

namespace bench {

namespace {

std::vector<Pair>& pairs() {
    static std::vector<Pair> all;
    return all;
}

// Keeps the median of each benchmark: seconds of processor time for a call.
class Medians : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.aggregate_name == "median")
                seconds_[run.run_name.function_name] = run.GetAdjustedCPUTime() / 1e9;
    }

    double operator[](const std::string& name) const { return seconds_.at(name); }

private:
    std::map<std::string, double> seconds_;
};

std::string yardstickOf(const Pair& pair) {
    return pair.figure + ", yardstick";
}

void enroll(const std::string& name, const std::function<void()>& body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        for ([[maybe_unused]] const auto iteration : state)
            body();
    });
}

Row rowOf(const Pair& pair, const Medians& medians) {
    const double library = medians[pair.figure], yardstick = medians[yardstickOf(pair)];
    const auto cost = [&pair](double seconds) {
        return timeText(seconds / pair.items) + "/" + pair.unit;
    };
    return {pair.figure, cost(library), pair.yardstickName + " " + cost(yardstick),
            ratioText(yardstick / library), pair.goal};
}

} // namespace

void addPair(const Pair& pair) {
    pairs().push_back(pair);
    enroll(pair.figure, pair.work);
    enroll(yardstickOf(pair), pair.yardstick);
}

void runPairs(const char* program, Report& report) {
    std::vector<std::string> options{program, "--benchmark_repetitions=5",
                                     "--benchmark_enable_random_interleaving=true",
                                     "--benchmark_min_time=0.02"};
    std::vector<char*> arguments;
    for (std::string& option : options)
        arguments.push_back(option.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    for (const Pair& pair : pairs())
        report.add(rowOf(pair, medians));
}

} // namespace bench
