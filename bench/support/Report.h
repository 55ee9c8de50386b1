// The one table that the benchmarks print: a row for each figure, as Markdown, so that it can be
// pasted into a page as it is. All programs give their columns the same widths, so that the rows of
// one can follow those of another.
#ifndef BENCH_SUPPORT_REPORT_H
#define BENCH_SUPPORT_REPORT_H

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct Row {
    std::string figure;
    std::string measured;
    std::string yardstick; ///< What it is compared with, and how that did.
    std::string ratio;     ///< How fast it is beside the yardstick.
    std::string goal;      ///< For the ratio, or for what was measured; "" without one.
};

class Report {
public:
    void add(const Row& row) { rows_.push_back(row); }
    /// The table's first lines.
    static void printHeader();
    /// Prints the rows below a line with their common title, and forgets them.
    void print(const std::string& title);

private:
    std::vector<Row> rows_;
};

/// "64 KiB", "12 MiB", "512 B".
std::string sizeText(std::size_t bytes);
/// "2.31 GB/s", "640 MB/s" (of 10^9 and 10^6 bytes).
std::string rateText(double bytesPerSecond);
/// A duration in the unit that suits it, "3.2 us".
std::string timeText(double seconds);
/// "1,234,567".
std::string countText(double count);
/// With two decimals.
std::string ratioText(double ratio);

} // namespace bench

#endif
