// Benchmarks of what happens inside the process come in pairs: the library's way, and a yardstick
// that does the same work as plainly as can be. Google Benchmark times them; their medians become
// rows of the table.
#ifndef BENCH_INSIDE_PAIRS_H
#define BENCH_INSIDE_PAIRS_H

#include "bench/support/Report.h"

#include <functional>
#include <string>

namespace bench {

struct Pair {
    std::string figure;
    std::string unit; ///< What is counted: "child", "byte".
    double items;     ///< Of that unit in one call.
    std::function<void()> work;
    std::string yardstickName;
    std::function<void()> yardstick;
    std::string goal;
};

void addPair(const Pair& pair);
/// Runs all pairs, interleaved, and adds a row for each, in the order in which they were added.
void runPairs(const char* program, Report& report);

void addReplyPairs();
void addTextPairs();
void addListPairs();
/// \p host is a peer's.
void addFindChildPairs(const std::string& host);

} // namespace bench

#endif
