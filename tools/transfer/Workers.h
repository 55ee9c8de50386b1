// Does the steps of a transfer, in this process or shared out over worker processes, shows the
// progress, and on failure says how far it came.
// Worker processes are forked, so no connection and no thread may exist when run() is called; each
// worker opens its own. Failures of a worker arrive as if they had happened here.
#ifndef TOOLS_TRANSFER_WORKERS_H
#define TOOLS_TRANSFER_WORKERS_H

#include "tools/report/Output.h"
#include "tools/transfer/Progress.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

/// What came of one step.
struct StepResult {
    std::uint64_t bytes = 0; ///< That were moved.
    bool isSkipped = false;  ///< Nothing had to be moved.
    std::string text;        ///< A short result, such as a hash.
};
/// One step is done.
using StepDone = std::function<void(std::size_t step, const StepResult& result)>;
/// Does the steps from \p begin to before \p end, in order, and calls \p done after each.
using StepWork = std::function<void(std::size_t begin, std::size_t end, const StepDone& done)>;

/// What a transfer that failed halfway is worth.
enum class AfterFailure { Repeat, Resume };

class Transfer {
public:
    /// \p verb is shown with the progress. 0 \p steps: as many as are done, by one worker.
    Transfer(const Options& options, const std::string& verb, std::size_t steps,
             AfterFailure afterFailure)
        : options_(options), afterFailure_(afterFailure), progress_(options, verb, steps),
          isOpenEnded_(steps == 0), isDone_(steps), results_(steps) {}

    /// Does all steps, by at most --j workers. A failure tells how many steps are done, and whether
    /// --resume goes on from there.
    void run(const StepWork& steps);

    [[nodiscard]] const std::vector<std::string>& results() const { return results_; }
    [[nodiscard]] const Progress& progress() const { return progress_; }
    /// Frames moved and skipped, bytes and seconds, for JSON.
    [[nodiscard]] Json figures() const;

private:
    void runHere(const StepWork& work);
    void runWorkers(const StepWork& work, std::size_t workers);
    void takeLine(const std::string& line);
    void markDone(std::size_t step, const StepResult& result);

    const Options& options_;
    const AfterFailure afterFailure_;
    Progress progress_;
    const bool isOpenEnded_;
    std::vector<bool> isDone_;
    std::vector<std::string> results_;
    std::vector<Failure> failures_; // of workers
};

} // namespace tool

#endif
