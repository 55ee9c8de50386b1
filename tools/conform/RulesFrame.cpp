// Rules of the frame connection.
#include "tools/conform/Rules.h"
#include "tools/conform/WireBytes.h"

namespace tool {

namespace {

using FrameIds = std::vector<std::string>;

const std::string fullFrame = "24 bytes make one frame.";
const std::string otherFrame = "other bytes, 24 of them.";

// The id of the only frame of a new clip, which holds fullFrame.
std::string makeWrittenFrame(Trial& trial) {
    FrameIds frameIds;
    trial.makeClip(1, frameIds);
    trial.write(frameIds[0], fullFrame);
    return frameIds[0];
}

void writtenFramesAreRead(Trial& trial) {
    FrameIds frameIds;
    trial.makeClip(2, frameIds);
    trial.write(frameIds[0], fullFrame);
    trial.write(frameIds[1], otherFrame);
    trial.read(frameIds[0], fullFrame);
    trial.write(frameIds[0], otherFrame);
    trial.read(frameIds[0], otherFrame);
}

void otherConnectionsReadThem(Trial& trial) {
    const std::string frameId = makeWrittenFrame(trial);
    Trial other(trial.place(), trial.version());
    other.read(frameId, fullFrame);
}

void frameRequestsMayArriveInSegments(Trial& trial) {
    FrameIds frameIds;
    trial.makeClip(1, frameIds);
    trial.sendFrame(wire::frameRequest("WriteFrame", frameIds[0], "24") + fullFrame, 1);
    trial.succeeds();
    trial.read(frameIds[0], fullFrame);
}

void cutWritesChangeNothing(Trial& trial) {
    const std::string frameId = makeWrittenFrame(trial);
    trial.sendFrame(wire::frameRequest("WriteFrame", frameId, "24") + "cut off");
    trial.reopenFrames();
    trial.read(frameId, fullFrame);
}

void unknownFramesFail(Trial& trial) {
    FrameIds frameIds;
    trial.makeClip(1, frameIds);
    trial.sendFrame(wire::frameRequest("ReadFrame", "no-such-frame", "24"));
    trial.fails();
    trial.sendFrame(wire::frameRequest("WriteFrame", "no-such-frame", "24") + otherFrame);
    trial.fails();
    trial.read(frameIds[0], std::string(24, '\0'));
}

void refusedWritesAreTaken(Trial& trial) {
    const std::string frameId = makeWrittenFrame(trial);
    for (const std::size_t size : {std::size_t{23}, std::size_t{25}, std::size_t{100000}}) {
        trial.sendFrame(wire::frameRequest("WriteFrame", frameId, std::to_string(size)) +
                        std::string(size, 'x'));
        trial.fails();
    }
    trial.read(frameId, fullFrame);
}

void successMeansAllBytes(Trial& trial) {
    const std::string frameId = makeWrittenFrame(trial);
    for (const std::size_t size : {std::size_t{23}, std::size_t{40}}) {
        trial.sendFrame(wire::frameRequest("ReadFrame", frameId, std::to_string(size)));
        if (trial.status().empty()) {
            std::string bytes = fullFrame;
            bytes.resize(size, '\0');
            trial.payload(bytes);
        }
    }
    trial.read(frameId, fullFrame);
}

void badReadSizesFail(Trial& trial) {
    FrameIds frameIds;
    trial.makeClip(1, frameIds);
    for (const char* size : {"-1", "x", "", "24 ", "99999999999999999999"}) {
        trial.sendFrame(wire::frameRequest("ReadFrame", frameIds[0], size));
        trial.fails();
    }
    trial.read(frameIds[0], std::string(24, '\0'));
}

void badWriteSizesEndTheConnection(Trial& trial) {
    const std::string frameId = makeWrittenFrame(trial);
    for (const char* size : {"-1", "x", ""}) {
        trial.reopenFrames();
        trial.sendFrame(wire::frameRequest("WriteFrame", frameId, size));
        trial.fails();
        trial.frameEnd();
    }
    trial.reopenFrames();
    trial.read(frameId, fullFrame);
}

void unknownRequestsEndTheConnection(Trial& trial) {
    for (const char* name : {"NoSuchRequest", "readframe", ""}) {
        trial.reopenFrames();
        trial.sendFrame(std::string(name) + '\0');
        trial.fails();
        trial.frameEnd();
    }
}

void announcementsHaveNoAnswer(Trial& trial) {
    const std::string frameId = makeWrittenFrame(trial);
    for (const std::string& id : FrameIds{frameId, "no-such-frame", ""})
        for (const char* count : {"24", "x", ""})
            trial.sendFrame(wire::frameRequest("ReadAhead", id, count));
    trial.read(frameId, fullFrame);
}

void announcementsAreUnknown(Trial& trial) {
    trial.sendFrame(wire::frameRequest("ReadAhead", "frame", "24"));
    trial.fails();
    trial.frameEnd();
}

} // namespace

std::vector<Rule> frameRules() {
    constexpr const char* frames = "The frame connection";
    constexpr const char* state = "Clips and frames";
    return {
        {"a frame reads as it was written", frames, 0, openEnd, writtenFramesAreRead},
        {"frame requests arrive in any segments", frames, 0, openEnd,
         frameRequestsMayArriveInSegments},
        {"unknown frames are failures", frames, 0, openEnd, unknownFramesFail},
        {"a refused write takes its bytes", frames, 0, openEnd, refusedWritesAreTaken},
        {"a successful read has all its bytes", frames, 0, openEnd, successMeansAllBytes},
        {"a bad size ends a write's connection", frames, 0, openEnd, badWriteSizesEndTheConnection},
        {"unknown requests end the connection", frames, 0, openEnd,
         unknownRequestsEndTheConnection},
        {"ReadAhead has no answer", frames, 5, openEnd, announcementsHaveNoAnswer},
        {"ReadAhead is unknown", "Requests and errors", 0, 5, announcementsAreUnknown},
        {"other connections read what was written", state, 0, openEnd, otherConnectionsReadThem},
        {"a write that is cut off changes nothing", state, 0, openEnd, cutWritesChangeNothing},
        {"a bad size of a read is a failure", state, 0, openEnd, badReadSizesFail},
    };
}

} // namespace tool
