#include "tools/transfer/Transfer.h"

#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/transfer/ImageFailure.h"

#include <algorithm>

namespace tool {

void Transfer::markDone(std::size_t step, const StepResult& result) {
    if (!result.text.empty()) {
        const std::lock_guard<std::mutex> lock(mutex_);
        results_.resize(std::max(results_.size(), step + 1));
        results_[step] = result.text;
    }
    result.isSkipped ? progress_.skip() : progress_.advance(result.bytes);
}

Failure Transfer::told(const Failure& failure) const {
    const auto done = static_cast<long long>(progress_.framesDone());
    const char* const next = afterFailure_ == AfterFailure::Resume ? ", --resume goes on from there"
                             : afterFailure_ == AfterFailure::Again
                                 ? ", the same command goes on from there"
                                 : "";
    const std::size_t total = isOpenEnded_ ? progress_.framesDone() : steps_;
    Failure told =
        failure.told("; " + (isOpenEnded_ ? "" : std::to_string(done) + " of ") +
                     countText(total, "frame") + (total == 1 ? " is done" : " are done") + next);
    told.with("framesDone", done);
    if (!isOpenEnded_)
        told.with("framesTotal", static_cast<long long>(total));
    return told;
}

void Transfer::run(const std::function<void(const StepDone&)>& move) {
    const Progress::Ticker ticker(progress_);
    try {
        move([this](std::size_t step, const StepResult& result) { markDone(step, result); });
    } catch (const Failure& failure) {
        throw told(failure);
    } catch (const image::Error& error) {
        throw told(failureOf(error));
    }
}

Json Transfer::figures() const {
    return {{"frames", progress_.framesDone() - progress_.framesSkipped()},
            {"skipped", progress_.framesSkipped()},
            {"bytes", progress_.bytesDone()},
            {"seconds", progress_.seconds()}};
}

} // namespace tool
