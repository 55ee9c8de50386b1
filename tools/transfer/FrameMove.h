// The one routine that moves frames, for all verbs, and the places that frames come from and go to.
// Each worker opens a source and a target of its own; the source is read by one thread while the
// target takes the frame before by another.
// Failures are thrown as Failure.
#ifndef TOOLS_TRANSFER_FRAMEMOVE_H
#define TOOLS_TRANSFER_FRAMEMOVE_H

#include "tools/transfer/ClipFrames.h"
#include "tools/transfer/FrameQueue.h"
#include "tools/transfer/StoreRules.h"
#include "tools/transfer/TransferPlan.h"
#include "tools/transfer/Workers.h"

#include <functional>
#include <vector>

namespace tool {

/// Reads the frame of a step.
using ReadStep = std::function<void(std::size_t step, Bytes& frame)>;
/// Takes the frame of a step, whose bytes may be taken away.
using TakeStep = std::function<StepResult(std::size_t step, Bytes& frame)>;
using OpenSource = std::function<ReadStep()>;
using OpenTarget = std::function<TakeStep()>;

/// Moves the frames of all steps of the transfer.
void moveFrames(Transfer& transfer, const OpenSource& openSource, const OpenTarget& openTarget);
/// Moves frames until there are no more; the transfer has no steps of its own.
void moveFrames(Transfer& transfer, const OpenEndedMaker& source, const OpenTarget& openTarget);

// Step i is the clip's frame indices[i], or the file of steps[i].
[[nodiscard]] OpenSource fromClip(const Options& options, const LocatedClip& clip,
                                  const std::vector<int>& indices, Missing missing);
[[nodiscard]] OpenSource fromFiles(const FileFrames& files, const std::vector<FrameStep>& steps);
[[nodiscard]] OpenTarget toClip(const Options& options, const LocatedClip& clip,
                                const std::vector<int>& indices, StoreRules rules);
/// Step i is the frame first + i, for which the clip is made longer as they come.
[[nodiscard]] OpenTarget toGrowingClip(const Options& options, const LocatedClip& clip, int first,
                                       StoreRules rules);
[[nodiscard]] OpenTarget toFiles(const FileFrames& files, const std::vector<FrameStep>& steps,
                                 StoreRules rules);
/// The result of a step is the hash of its frame.
[[nodiscard]] OpenTarget toHashes();

} // namespace tool

#endif
