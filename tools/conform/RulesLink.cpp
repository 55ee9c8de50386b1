// Rules of the files behind frames: their paths, and clips that are linked to them. The files are
// those of another clip, since the server's machine need not be this one.
#include "tools/conform/Rules.h"
#include "tools/conform/WireBytes.h"

#include <algorithm>
#include <utility>

namespace tool {

namespace {

const std::string fullFrame = "24 bytes make one frame.";
const std::string otherFrame = "other bytes, 24 of them.";
const std::string linkEnd = " h 0 u " + std::string(plainFormat) + "\"\"";

// A clip of one written frame, and the path of its file.
struct WrittenClip {
    std::string clip;
    std::string frame;
    std::string path;
};

WrittenClip makeWritten(Trial& trial) {
    std::vector<std::string> frames;
    std::string clip = trial.makeClip(1, frames);
    trial.write(frames[0], fullFrame);
    std::string path = trial.ok("GetFramePaths", clip + " h 0 u");
    if (path.empty())
        throw Inapplicable{"the server names no files"};
    return {std::move(clip), frames[0], std::move(path)};
}

// A clip whose only frame is the file; its id goes to \p frame.
std::string makeLinked(Trial& trial, const std::string& path, std::string& frame) {
    const std::string clip = trial.makeNode("linked", "1 clip");
    trial.ok("SetFramePaths", clip + " " + path + linkEnd);
    frame = trial.ok("GetFrames", clip);
    trial.require(wire::isId(frame), "the id of one frame");
    return clip;
}

void eachFrameHasAPath(Trial& trial) {
    std::vector<std::string> frames;
    const std::string clip = trial.makeClip(3, frames);
    const std::vector<std::string> paths =
        wire::split(trial.ok("GetFramePaths", clip + " h 0 u"), ',');
    trial.require(paths.empty() ||
                      (paths.size() == 3 && std::count(paths.begin(), paths.end(), "") == 0),
                  "three paths, or nothing at all");
}

void linkedFramesAreTheFiles(Trial& trial) {
    const WrittenClip written = makeWritten(trial);
    std::string frame;
    const std::string linked = makeLinked(trial, written.path, frame);
    trial.ok("GetFramePaths", linked + " h 0 u", written.path);
    trial.ok("GetClipFormat", linked, plainFormat);
    trial.read(frame, fullFrame);
}

void linkedFramesAreNotWritten(Trial& trial) {
    const WrittenClip written = makeWritten(trial);
    std::string frame;
    const std::string linked = makeLinked(trial, written.path, frame);
    trial.sendFrame(wire::frameRequest("WriteFrame", frame, "24") + otherFrame);
    trial.fails();
    trial.ok("DestroyNode", linked);
    trial.read(written.frame, fullFrame);
}

void shortFilesAreNotRead(Trial& trial) {
    const WrittenClip written = makeWritten(trial);
    const std::string linked = trial.makeNode("linked", "1 clip");
    trial.ok("SetFramePaths",
             linked + " " + written.path + " h 0 u 4 4 24 3 48 1 25 rgb8 4 none \"\"");
    trial.sendFrame(wire::frameRequest("ReadFrame", trial.ok("GetFrames", linked), "48"));
    trial.fails();
}

void missingFilesAreNotLinked(Trial& trial) {
    std::vector<std::string> frames;
    const std::string clip = trial.makeClip(1, frames);
    trial.write(frames[0], fullFrame);
    trial.error("SetFramePaths", clip + " /lantrix-conform-no-such-file" + linkEnd);
    trial.ok("GetFrames", clip, frames[0]);
    trial.read(frames[0], fullFrame);
}

void linkingNothingLeavesNoFrame(Trial& trial) {
    std::vector<std::string> frames;
    const std::string clip = trial.makeClip(2, frames);
    trial.ok("SetFramePaths", clip + " " + linkEnd);
    trial.ok("GetFrames", clip, "");
}

void allocatingLeavesLinks(Trial& trial) {
    const WrittenClip written = makeWritten(trial);
    std::string frame;
    const std::string linked = makeLinked(trial, written.path, frame);
    const std::string request = linked + " 2 " + plainFormat + "\"\"";
    const std::vector<std::string> frames = wire::split(trial.ok("AllocateFrames", request), ',');
    trial.require(frames.size() == 2 && frames[0] == frame, "the linked frame's id and another");
    trial.read(frames[0], fullFrame);
    trial.write(frames[1], otherFrame);
}

} // namespace

std::vector<Rule> linkRules() {
    constexpr const char* paths = "Paths and linked frames";
    return {
        {"each frame has a path, or none has", paths, 5, openEnd, eachFrameHasAPath},
        {"linked frames are their files", paths, 6, openEnd, linkedFramesAreTheFiles},
        {"linked frames are never written", paths, 6, openEnd, linkedFramesAreNotWritten},
        {"files that are too short are not read", paths, 6, openEnd, shortFilesAreNotRead},
        {"files that are missing are not linked", paths, 6, openEnd, missingFilesAreNotLinked},
        {"linking nothing leaves no frame", paths, 6, openEnd, linkingNothingLeavesNoFrame},
        {"allocating leaves links alone", paths, 6, openEnd, allocatingLeavesLinks},
    };
}

} // namespace tool
