#include "tools/transfer/TransferPlan.h"

#include "tools/report/Failure.h"
#include "tools/transfer/FilePattern.h"

#include <algorithm>
#include <filesystem>

namespace tool {

namespace {

int indexOf(int number, const FrameSelection& frames) {
    if (number < frames.startNumber) {
        throw Failure(Status::Usage, "frame " + std::to_string(number) +
                                         " lies before the start number " +
                                         std::to_string(frames.startNumber));
    }
    return number - frames.startNumber;
}

std::string startNumberAdvice(const std::vector<int>& existing) {
    const std::string first = std::to_string(existing.front());
    return "; pass --start-number " + first + " to take frame " + first + " as the clip's first";
}

Failure filesMissing(const FilePattern& pattern, const std::vector<int>& missing,
                     const std::vector<int>& existing, const FrameSelection& frames) {
    std::string text = "'" + pattern.file(missing.front()) +
                       "' is not there (missing: " + describeFrames(missing) +
                       "); --missing hold or black fills holes";
    if (frames.range.empty() && existing.front() > frames.startNumber)
        text += startNumberAdvice(existing);
    return Failure(Status::FrameMissing, text).with("file", pattern.file(missing.front()));
}

// All files are meant unless a range is given, so none may be dropped in silence.
void requireNoneBefore(const FilePattern& pattern, const std::vector<int>& existing,
                       const FrameSelection& frames) {
    if (!frames.range.empty() || existing.front() >= frames.startNumber)
        return;
    std::vector<int> before = existing;
    before.erase(std::lower_bound(before.begin(), before.end(), frames.startNumber), before.end());
    throw Failure(Status::Usage, "files of '" + pattern.text() + "' have numbers before the " +
                                     "start number " + std::to_string(frames.startNumber) + ": " +
                                     describeFrames(before) + startNumberAdvice(existing) +
                                     ", or choose frames with -f");
}

Failure noFile(const FilePattern& pattern) {
    std::string text = "no file matches '" + pattern.text() + "'";
    const std::string other = pattern.otherPadding();
    text += other.empty() ? "" : "; there are files like '" + other + "'";
    return Failure(Status::FrameMissing, text).with("file", pattern.text());
}

std::vector<FrameStep> planFromPattern(const FilePattern& pattern, const FrameSelection& frames,
                                       Missing policy) {
    const std::vector<int> existing = pattern.existingNumbers();
    if (existing.empty())
        throw noFile(pattern);
    requireNoneBefore(pattern, existing, frames);
    std::vector<FrameStep> steps;
    std::vector<int> missing;
    for (const int number : frames.parsed().numbers(frames.startNumber, existing.back())) {
        FrameStep step{indexOf(number, frames), ""};
        if (std::binary_search(existing.begin(), existing.end(), number))
            step.file = pattern.file(number);
        else if (policy == Missing::Hold && !steps.empty())
            step.file = steps.back().file;
        else if (policy != Missing::Black)
            missing.push_back(number);
        steps.push_back(step);
    }
    if (steps.empty()) {
        throw Failure(Status::FrameMissing, "no file is among the frames " + frames.range +
                                                ": there are " + describeFrames(existing));
    }
    if (!missing.empty())
        throw filesMissing(pattern, missing, existing, frames);
    return steps;
}

} // namespace

std::vector<FrameStep> planFromFiles(const std::vector<std::string>& files,
                                     const FrameSelection& frames, Missing missing) {
    std::vector<FrameStep> steps;
    if (files.size() == 1 && FilePattern(files[0]).isSequence() &&
        !std::filesystem::exists(files[0])) {
        steps = planFromPattern(FilePattern(files[0]), frames, missing);
    } else {
        const FrameRange range = frames.parsed();
        const int first = range.isAll() ? frames.startNumber : range.first();
        const std::vector<int> numbers =
            range.numbers(first, first + static_cast<int>(files.size()) - 1);
        if (numbers.size() != files.size()) {
            throw Failure(Status::Usage, "there are " + std::to_string(files.size()) +
                                             " files for " + std::to_string(numbers.size()) +
                                             " frames");
        }
        for (std::size_t i = 0; i < files.size(); ++i)
            steps.push_back({indexOf(numbers[i], frames), files[i]});
    }
    return steps;
}

std::vector<FrameStep> planToFiles(const std::string& files, const FrameSelection& frames,
                                   int frameCount) {
    const FilePattern pattern(files);
    const std::vector<int> indices = frames.parsed().indices(frames.startNumber, frameCount);
    if (indices.size() > 1 && !pattern.isSequence()) {
        throw Failure(Status::Usage, "'" + files +
                                         "' has no place for a frame number: write one "
                                         "like name.####.png");
    }
    std::vector<FrameStep> steps;
    for (const int index : indices)
        steps.push_back({index, pattern.file(index + frames.startNumber)});
    return steps;
}

std::vector<int> indicesOf(const std::vector<FrameStep>& steps) {
    std::vector<int> indices;
    indices.reserve(steps.size());
    for (const FrameStep& step : steps)
        indices.push_back(step.index);
    return indices;
}

std::string describeSteps(const std::vector<FrameStep>& steps, int startNumber) {
    std::vector<int> numbers = indicesOf(steps);
    for (int& number : numbers)
        number += startNumber;
    return describeFrames(numbers);
}

} // namespace tool
