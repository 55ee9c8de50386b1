// The one routine that moves frames, for all verbs, and the places that frames come from and go to.
// The transfer's thread takes up one step behind the other; frames travel over the connections of
// the clips' pools, and processors make what becomes of them, many at once.
// Sources and targets are used by one transfer. Failures are thrown as Failure and image::Error.
#ifndef TOOLS_TRANSFER_FRAMEMOVE_H
#define TOOLS_TRANSFER_FRAMEMOVE_H

#include "tools/transfer/ClipFrames.h"
#include "tools/transfer/Cores.h"
#include "tools/transfer/FrameStream.h"
#include "tools/transfer/StoreRules.h"
#include "tools/transfer/Transfer.h"
#include "tools/transfer/TransferPlan.h"

#include <functional>
#include <memory>
#include <vector>

namespace tool {

/// What is known of one step while it is under way.
struct Piece {
    std::size_t step = 0;
    MovedFrame frame;
    MovedFrame other; ///< What the target compares it with.
};

class FrameTarget {
public:
    virtual ~FrameTarget() = default;
    /// Gets ready for a step, in the transfer's thread and the order of steps.
    virtual void prepare(Piece& piece, Cores& cores);
    /// Memory for a frame that will be given to take(). In a thread of the cores.
    [[nodiscard]] virtual MovedFrame room(std::size_t size);
    /// True when take() does not take a processor for long, but for the size of the frame.
    [[nodiscard]] virtual bool isBrief() const { return true; }
    /// Takes the frame, and tells when the step is done. In a thread of the cores.
    virtual void take(Piece piece, const StepDone& done) = 0;
    /// Waits until all steps are done, in the transfer's thread.
    virtual void finish() {}
};

class FrameSource {
public:
    virtual ~FrameSource() = default;
    /// Brings what comes from elsewhere, in the transfer's thread and the order of steps; false
    /// when there are no more frames. Waits.
    [[nodiscard]] virtual bool fetch(Piece& piece) = 0;
    /// True when make() takes less time than to wake a thread of the cores. With a brief target the
    /// transfer's thread makes the frame and gives it to that, in the place of one of those.
    [[nodiscard]] virtual bool isBrief(const Piece& piece) const;
    /// Makes the frame, where that takes a processor. In a thread of the cores.
    virtual void make(Piece& piece, FrameTarget& target);
};

/// The steps from begin to before end.
struct StepSpan {
    std::size_t begin = 0;
    std::size_t end = 0;
};
using OpenSource = std::function<std::unique_ptr<FrameSource>(const StepSpan& span)>;
using OpenTarget = std::function<std::unique_ptr<FrameTarget>(const StepSpan& span)>;

/// Moves the frames of all steps of the transfer.
void moveFrames(Transfer& transfer, const OpenSource& openSource, const OpenTarget& openTarget,
                std::size_t steps);
/// Moves frames of some steps. When it fails, what was taken up has been done or has failed.
void moveFrames(FrameSource& source, FrameTarget& target, const StepSpan& span, Cores& cores,
                const StepDone& done);

// Step i is the clip's frame indices[i], or the file of steps[i].
[[nodiscard]] OpenSource fromClip(const LocatedClip& clip, const std::vector<int>& indices,
                                  Missing missing);
[[nodiscard]] OpenSource fromFiles(const FileFrames& files, const std::vector<FrameStep>& steps);
/// Frames as they come, until there are no more.
[[nodiscard]] std::unique_ptr<FrameSource> fromStream(FrameStream& stream, const FileFrames& files);
[[nodiscard]] OpenTarget toClip(const LocatedClip& clip, const std::vector<int>& indices,
                                const StoreRules& rules);
/// Step i is the frame first + i, for which the clip is made longer as they come.
[[nodiscard]] std::unique_ptr<FrameTarget> toGrowingClip(const LocatedClip& clip, int first,
                                                         const StoreRules& rules);
[[nodiscard]] OpenTarget toFiles(const FileFrames& files, const std::vector<FrameStep>& steps,
                                 const StoreRules& rules);
/// What is done with each frame and gives the result of its step. In a thread of the cores.
[[nodiscard]] OpenTarget toFunction(std::function<StepResult(Piece& piece)> use);

} // namespace tool

#endif
