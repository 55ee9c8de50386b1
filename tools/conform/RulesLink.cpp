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
    std::string frameId;
    std::string path;
};

WrittenClip makeWritten(Trial& trial) {
    std::vector<std::string> frameIds;
    std::string clip = trial.makeClip(1, frameIds);
    trial.write(frameIds[0], fullFrame);
    std::string path = trial.ok("GetFramePaths", clip + " h 0 u");
    if (path.empty())
        throw Inapplicable{"the server names no files"};
    return {std::move(clip), frameIds[0], std::move(path)};
}

// A clip whose only frame is the file; its id goes to \p frameId.
std::string makeLinked(Trial& trial, const std::string& path, std::string& frameId) {
    std::string clip = trial.makeNode("linked", "1 clip");
    trial.ok("SetFramePaths", clip + " " + path + linkEnd);
    frameId = trial.ok("GetFrames", clip);
    trial.require(wire::isId(frameId), "the id of one frame");
    return clip;
}

void eachFrameHasAPath(Trial& trial) {
    std::vector<std::string> frameIds;
    const std::string clip = trial.makeClip(3, frameIds);
    const std::vector<std::string> paths =
        wire::split(trial.ok("GetFramePaths", clip + " h 0 u"), ',');
    trial.require(paths.empty() ||
                      (paths.size() == 3 && std::count(paths.begin(), paths.end(), "") == 0),
                  "three paths, or nothing at all");
}

void linkedFramesAreTheFiles(Trial& trial) {
    const WrittenClip written = makeWritten(trial);
    std::string frameId;
    const std::string linked = makeLinked(trial, written.path, frameId);
    trial.ok("GetFramePaths", linked + " h 0 u", written.path);
    trial.ok("GetClipFormat", linked, plainFormat);
    trial.read(frameId, fullFrame);
}

void linkedFramesAreNotWritten(Trial& trial) {
    const WrittenClip written = makeWritten(trial);
    std::string frameId;
    const std::string linked = makeLinked(trial, written.path, frameId);
    trial.sendFrame(wire::frameRequest("WriteFrame", frameId, "24") + otherFrame);
    trial.fails();
    trial.ok("DestroyNode", linked);
    trial.read(written.frameId, fullFrame);
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
    std::vector<std::string> frameIds;
    const std::string clip = trial.makeClip(1, frameIds);
    trial.write(frameIds[0], fullFrame);
    trial.error("SetFramePaths", clip + " /lantrix-conform-no-such-file" + linkEnd);
    trial.ok("GetFrames", clip, frameIds[0]);
    trial.read(frameIds[0], fullFrame);
}

void linkingNothingLeavesNoFrame(Trial& trial) {
    std::vector<std::string> frameIds;
    const std::string clip = trial.makeClip(2, frameIds);
    trial.ok("SetFramePaths", clip + " " + linkEnd);
    trial.ok("GetFrames", clip, "");
}

void allocatingLeavesLinks(Trial& trial) {
    const WrittenClip written = makeWritten(trial);
    std::string frameId;
    const std::string linked = makeLinked(trial, written.path, frameId);
    const std::string request = linked + " 2 " + plainFormat + "\"\"";
    const std::vector<std::string> frameIds = wire::split(trial.ok("AllocateFrames", request), ',');
    trial.require(frameIds.size() == 2 && frameIds[0] == frameId,
                  "the linked frame's id and another");
    trial.read(frameIds[0], fullFrame);
    trial.write(frameIds[1], otherFrame);
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
