#include "tools/transfer/FrameMove.h"

#include "tools/transfer/FrameQueue.h"

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

} // namespace

OpenTarget toClip(const Options& options, const LocatedClip& clip, const std::vector<int>& indices,
                  StoreRules rules) {
    return [&options, clip, indices, rules]() -> TakeStep {
        const auto target = std::make_shared<ClipFrames>(options, clip);
        return [target, clip, indices, rules](std::size_t step, Bytes& frame) -> StepResult {
            const int index = indices[step];
            if (isKnown(rules.known, index + clip.startNumber, frame) ||
                (rules.resume && target->holds(index, frame))) {
                return {0, true, ""};
            }
            target->write(index, frame);
            if (rules.verify && !target->holds(index, frame)) {
                throw Failure(Status::Differs, "frame " + std::to_string(index + clip.startNumber) +
                                                   " reads back differently");
            }
            return {frame.size(), false, ""};
        };
    };
}

OpenTarget toFiles(const FileFrames& files, const std::vector<FrameStep>& steps, StoreRules rules) {
    return [files, steps, rules]() -> TakeStep {
        return [files, steps, rules](std::size_t step, Bytes& frame) -> StepResult {
            const std::string& file = steps[step].file;
            if (rules.resume && rules.verify && files.holds(file, frame)) {
                return {0, true, ""};
            }
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
