#include "tools/report/Troubles.h"

#include <algorithm>
#include <cstdio>

namespace tool {

void Troubles::keep(const Failure& failure) {
    switch (failure.status()) {
    case Status::NodeNotFound:
    case Status::FrameMissing:
    case Status::Refused:
    case Status::ProtocolTooOld:
        kept_.push_back(failure);
        return;
    default:
        throw failure;
    }
}

void Troubles::finish() {
    if (kept_.empty())
        return;
    std::fflush(stdout);
    std::stable_sort(kept_.begin(), kept_.end(), [](const Failure& a, const Failure& b) {
        return static_cast<int>(a.status()) < static_cast<int>(b.status());
    });
    const Failure worst = kept_.back();
    kept_.pop_back();
    for (const Failure& failure : kept_)
        output_.failure(failure);
    throw worst;
}

} // namespace tool
