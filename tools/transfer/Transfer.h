// One transfer as people see it: shows the progress of its steps, keeps their results, and on
// failure says how far it came.
// Steps may be told as done by any thread; all else is the main thread's.
#ifndef TOOLS_TRANSFER_TRANSFER_H
#define TOOLS_TRANSFER_TRANSFER_H

#include "tools/report/Output.h"
#include "tools/transfer/Progress.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tool {

/// What came of one step.
struct StepResult {
    std::uint64_t bytes = 0; ///< That were moved.
    bool isSkipped = false;  ///< Nothing had to be moved.
    std::string text;        ///< A short result, such as a hash.
};
/// One step is done. Any thread.
using StepDone = std::function<void(std::size_t step, const StepResult& result)>;

/// What a transfer that failed halfway is worth.
enum class AfterFailure { Repeat, Resume, Again };

class Transfer {
public:
    /// \p verb is shown with the progress. 0 \p steps: as many as are done, in order.
    Transfer(const Options& options, const std::string& verb, std::size_t steps,
             AfterFailure afterFailure)
        : afterFailure_(afterFailure), progress_(options, verb, steps), isOpenEnded_(steps == 0),
          steps_(steps), results_(steps) {}

    /// Runs \p move, which tells each step that is done. A failure tells how many are, and whether
    /// --resume, or the same command, goes on from there.
    void run(const std::function<void(const StepDone& done)>& move);

    [[nodiscard]] const std::vector<std::string>& results() const { return results_; }
    [[nodiscard]] const Progress& progress() const { return progress_; }
    /// Frames moved and skipped, bytes and seconds, for JSON.
    [[nodiscard]] Json figures() const;

private:
    void markDone(std::size_t step, const StepResult& result);
    [[nodiscard]] Failure told(const Failure& failure) const;

    const AfterFailure afterFailure_;
    Progress progress_;
    const bool isOpenEnded_;
    const std::size_t steps_;
    std::mutex mutex_; // of the results, while the transfer runs
    std::vector<std::string> results_;
};

} // namespace tool

#endif
