// Which file becomes which frame, and the reverse: made before a transfer sends anything.
// Plain values, and looks at file names. Failures are thrown as Failure.
#ifndef TOOLS_TRANSFER_TRANSFERPLAN_H
#define TOOLS_TRANSFER_TRANSFERPLAN_H

#include "tools/transfer/FrameRange.h"

#include <string>
#include <vector>

namespace tool {

struct FrameStep {
    int index = 0;
    std::string file; ///< "" is a black frame.
};

/// The frames that these files become: one sequence pattern, or names in their order.
[[nodiscard]] std::vector<FrameStep> planFromFiles(const std::vector<std::string>& files,
                                                   const FrameSelection& frames, Missing missing);
/// The files that the chosen frames of a clip become.
[[nodiscard]] std::vector<FrameStep> planToFiles(const std::string& files,
                                                 const FrameSelection& frames, int frameCount);

[[nodiscard]] std::vector<int> indicesOf(const std::vector<FrameStep>& steps);
/// The frames' numbers as short text.
[[nodiscard]] std::string describeSteps(const std::vector<FrameStep>& steps, int startNumber);

} // namespace tool

#endif
