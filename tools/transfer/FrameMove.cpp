#include "tools/transfer/FrameMove.h"

#include <algorithm>
#include <climits>
#include <memory>

namespace tool {

void moveFrames(Transfer& transfer, const OpenSource& openSource, const OpenTarget& openTarget) {
    transfer.run([&](std::size_t begin, std::size_t end, const StepDone& done) {
        const ReadStep read = openSource();
        const TakeStep take = openTarget();
        overlapFrames(begin, end, read,
                      [&](std::size_t step, Bytes& frame) { done(step, take(step, frame)); });
    });
}

void moveFrames(Transfer& transfer, const OpenEndedMaker& source, const OpenTarget& openTarget) {
    transfer.run([&](std::size_t /*begin*/, std::size_t /*end*/, const StepDone& done) {
        const TakeStep take = openTarget();
        overlapFrames(source,
                      [&](std::size_t step, Bytes& frame) { done(step, take(step, frame)); });
    });
}

OpenSource fromClip(const Options& options, const LocatedClip& clip,
                    const std::vector<int>& indices, Missing missing) {
    return [&options, clip, indices, missing]() -> ReadStep {
        const auto source = std::make_shared<ClipFrames>(options, clip);
        return [source, indices, missing](std::size_t step, Bytes& frame) {
            source->read(indices[step], frame, missing);
        };
    };
}

OpenSource fromFiles(const FileFrames& files, const std::vector<FrameStep>& steps) {
    return [files, steps]() -> ReadStep {
        return
            [files, steps](std::size_t step, Bytes& frame) { files.read(steps[step].file, frame); };
    };
}

namespace {

bool isKnown(const Manifest& known, int number, const Bytes& frame) {
    const auto entry = known.find(number);
    return entry != known.end() && entry->second == hashOf(frame);
}

StepResult store(ClipFrames& target, int index, int number, const Bytes& frame,
                 const StoreRules& rules) {
    if (isKnown(rules.known, number, frame) || (rules.resume && target.holds(index, frame)))
        return {0, true, ""};
    target.write(index, frame);
    if (rules.verify && !target.holds(index, frame)) {
        throw Failure(Status::Differs,
                      "frame " + std::to_string(number) + " reads back differently");
    }
    return {frame.size(), false, ""};
}

// Few allocations for many frames, and few frames too many for a while.
int grownCount(int count) {
    constexpr int most = 64;
    return count > INT_MAX - most ? INT_MAX : count + std::clamp(count, 1, most);
}

} // namespace

OpenTarget toClip(const Options& options, const LocatedClip& clip, const std::vector<int>& indices,
                  StoreRules rules) {
    return [&options, clip, indices, rules]() -> TakeStep {
        const auto target = std::make_shared<ClipFrames>(options, clip);
        return [target, clip, indices, rules](std::size_t step, Bytes& frame) -> StepResult {
            const int index = indices[step];
            return store(*target, index, index + clip.startNumber, frame, rules);
        };
    };
}

OpenTarget toGrowingClip(const Options& options, const LocatedClip& clip, int first,
                         StoreRules rules) {
    return [&options, clip, first, rules]() -> TakeStep {
        const auto target = std::make_shared<ClipFrames>(options, clip);
        return [target, clip, first, rules,
                count = clip.frameCount](std::size_t step, Bytes& frame) mutable -> StepResult {
            if (step >= static_cast<std::size_t>(INT_MAX - first))
                throw Failure(Status::Other, "a clip can't have more frames");
            const int index = first + static_cast<int>(step);
            if (index >= count) {
                const int grown = std::max(index + 1, grownCount(count));
                target->setCount(grown);
                count = grown;
            }
            return store(*target, index, index + clip.startNumber, frame, rules);
        };
    };
}

OpenTarget toFiles(const FileFrames& files, const std::vector<FrameStep>& steps, StoreRules rules) {
    return [files, steps, rules]() -> TakeStep {
        return [files, steps, rules](std::size_t step, Bytes& frame) -> StepResult {
            const std::string& file = steps[step].file;
            if (rules.resume && rules.verify && files.holds(file, frame))
                return {0, true, ""};
            const std::size_t size = frame.size();
            files.write(file, frame, rules.verify ? ReadBack::Yes : ReadBack::No);
            return {size, false, ""};
        };
    };
}

OpenTarget toHashes() {
    return []() -> TakeStep {
        return [](std::size_t /*step*/, Bytes& frame) -> StepResult {
            return {frame.size(), false, hashOf(frame)};
        };
    };
}

} // namespace tool
