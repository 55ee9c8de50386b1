#include "stream/Work.h"

#include <algorithm>

namespace lantrix {

std::chrono::milliseconds Retries::pause(unsigned number) const {
    const std::chrono::milliseconds longest = std::max(firstPause, {std::chrono::seconds(10)});
    std::chrono::milliseconds pause = firstPause;
    for (unsigned i = 0; i < number && pause < longest; ++i)
        pause *= 3;
    return std::min(pause, longest);
}

} // namespace lantrix
