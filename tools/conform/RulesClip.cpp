// Rules of clips: their formats, and which frames they have.
#include "tools/conform/Rules.h"
#include "tools/conform/WireBytes.h"

#include <set>

namespace tool {

namespace {

using FrameIds = std::vector<std::string>;

const std::string blackFrame(24, '\0');
const std::string fullFrame = "24 bytes make one frame.";

std::string allocation(const std::string& clip, int count) {
    return clip + " " + std::to_string(count) + " " + plainFormat + "\"\"";
}

// Eleven fields: ten words behind each other, and the metadata, which may hold anything.
bool isFormat(const std::string& value) {
    std::size_t start = 0;
    for (int field = 1; field <= 10; ++field) {
        const std::size_t blank = value.find(' ', start);
        if (blank == std::string::npos || blank == start)
            return false;
        const std::string word = value.substr(start, blank - start);
        const bool isWhole = field <= 5 || field == 9;
        if (isWhole && !wire::areNumbers(word, 1))
            return false;
        start = blank + 1;
    }
    return true;
}

void newClipsAreEmpty(Trial& trial) {
    const std::string clip = trial.makeNode("clip", "1 clip");
    trial.ok("GetFrames", clip, "");
    if (trial.speaks(5))
        trial.ok("GetFramePaths", clip + " h 0 u", "");
    trial.require(isFormat(trial.ok("GetClipFormat", clip)), "eleven fields");
}

void allocatedFramesHaveIds(Trial& trial) {
    FrameIds frameIds;
    const std::string clip = trial.makeClip(3, frameIds);
    trial.require(std::set<std::string>(frameIds.begin(), frameIds.end()).size() == 3,
                  "ids that differ");
    trial.ok("GetFrames", clip, frameIds[0] + "," + frameIds[1] + "," + frameIds[2]);
}

void allocatingAgainKeepsFrames(Trial& trial) {
    FrameIds frameIds;
    const std::string clip = trial.makeClip(2, frameIds);
    trial.write(frameIds[0], fullFrame);
    const std::string kept = frameIds[0] + "," + frameIds[1];
    const std::string longer = trial.ok("AllocateFrames", allocation(clip, 3));
    trial.require(longer.substr(0, kept.size() + 1) == kept + ",",
                  "the ids '" + kept + "' and one more");
    trial.read(frameIds[0], fullFrame);
    trial.ok("AllocateFrames", clip + " 2 2 4 24 3 24 2 30 other 0 note \"x\"", kept);
    trial.read(frameIds[0], fullFrame);
}

void newFramesAreBlack(Trial& trial) {
    FrameIds frameIds;
    const std::string clip = trial.makeClip(2, frameIds);
    trial.read(frameIds[1], blackFrame);
    trial.write(frameIds[1], fullFrame);
    trial.ok("AllocateFrames", allocation(clip, 1), frameIds[0]);
    const FrameIds again = wire::split(trial.ok("AllocateFrames", allocation(clip, 2)), ',');
    trial.require(again.size() == 2, "two ids");
    trial.read(again[1], blackFrame);
}

void anotherSizeMakesFramesBlack(Trial& trial) {
    FrameIds frameIds;
    const std::string clip = trial.makeClip(1, frameIds);
    trial.write(frameIds[0], fullFrame);
    const FrameIds larger =
        wire::split(trial.ok("AllocateFrames", clip + " 1 4 4 24 3 48 1 25 rgb8 4 none \"\""), ',');
    trial.require(larger.size() == 1, "one id");
    trial.read(larger[0], blackFrame + blackFrame);
}

void noFramesCanBeAllocated(Trial& trial) {
    FrameIds frameIds;
    const std::string clip = trial.makeClip(1, frameIds);
    trial.ok("AllocateFrames", allocation(clip, 0), "");
    trial.ok("GetFrames", clip, "");
    trial.sendFrame(wire::frameRequest("ReadFrame", frameIds[0], "24"));
    trial.fails();
}

void badAllocationsChangeNothing(Trial& trial) {
    FrameIds frameIds;
    const std::string clip = trial.makeClip(1, frameIds);
    const std::string format = trial.ok("GetClipFormat", clip);
    for (const char* rest :
         {" -1 4 2 24 3 24 1 25 rgb8 4 none \"\"", " x 4 2 24 3 24 1 25 rgb8 4 none \"\"",
          " 2 4 2 24 3 24 1 25 rgb8 4 \"\"", " 2 4 2 24 3 24 1 25 rgb8 4 none text",
          " 2 4 2 24 3 0 1 25 rgb8 4 none \"\"", " 2 -4 2 24 3 24 1 25 rgb8 4 none \"\"",
          " 2 4 2 24 3 24 1 25 rgb8 5 none \"\"", ""})
        trial.error("AllocateFrames", clip + rest);
    trial.ok("GetFrames", clip, frameIds[0]);
    trial.ok("GetClipFormat", clip, format);
}

void formatsComeBack(Trial& trial) {
    const std::string clip = trial.makeNode("clip", "1 clip");
    for (const char* words :
         {"1920 1080 32 4 8294400 1 29.97 bgra8 4 none ", "4 2 24 3 24 1.09402 23.976 rgb8 0 film ",
          "4 2 30 3 24 0.5 25 packed 3 none "}) {
        trial.ok("AllocateFrames", clip + " 0 " + words + R"("take \"2\" \\ ")");
        trial.ok("GetClipFormat", clip, words + std::string("take \"2\" \\ "));
    }
}

void emptyTagsComeBackAsWords(Trial& trial) {
    const std::string clip = trial.makeNode("clip", "1 clip");
    trial.ok("AllocateFrames", clip + " 0 4 2 24 3 24 1 25  4  \"\"");
    trial.require(isFormat(trial.ok("GetClipFormat", clip)), "eleven fields, no tag empty");
}

void fractionsAreAsPrintfWritesThem(Trial& trial) {
    const std::string clip = trial.makeNode("clip", "1 clip");
    trial.ok("AllocateFrames", clip + " 0 4 2 24 3 24 2.5e-05 1e+06 rgb8 4 none \"\"");
    trial.ok("GetClipFormat", clip, "4 2 24 3 24 2.5e-05 1e+06 rgb8 4 none ");
    for (const char* rate : {"nan", "inf", "x", ""})
        trial.error("AllocateFrames", clip + " 0 4 2 24 3 24 1 " + rate + " rgb8 4 none \"\"");
}

void wholeNumbersAreDigits(Trial& trial) {
    const std::string clip = trial.makeNode("clip", "1 clip");
    for (const char* width : {"+4", "4.0", "4x", "99999999999", ""})
        trial.error("AllocateFrames", clip + " 0 " + width + " 2 24 3 24 1 25 rgb8 4 none \"\"");
    trial.ok("AllocateFrames", clip + " 0 004 2 24 3 24 1 25 rgb8 4 none \"\"");
    trial.ok("GetClipFormat", clip, plainFormat);
}

void otherNodesHaveNoFrames(Trial& trial) {
    const std::string folder = trial.makeNode("folder");
    trial.error("GetFrames", folder);
    trial.error("GetClipFormat", folder);
    trial.error("AllocateFrames", allocation(folder, 1));
    if (trial.speaks(5))
        trial.error("GetFramePaths", folder + " h 0 u");
    if (trial.speaks(6))
        trial.error("SetFramePaths", folder + "  h 0 u " + plainFormat + "\"\"");
}

} // namespace

std::vector<Rule> clipRules() {
    constexpr const char* clips = "Clips and frames";
    constexpr const char* format = "The clip format";
    constexpr const char* numbers = "Numbers";
    return {
        {"fractions are as %g writes them", numbers, 0, openEnd, fractionsAreAsPrintfWritesThem},
        {"whole numbers are digits", numbers, 0, openEnd, wholeNumbersAreDigits},
        {"a clip format comes back", format, 0, openEnd, formatsComeBack},
        {"no tag of a reply is empty", format, 0, openEnd, emptyTagsComeBackAsWords},
        {"a new clip has no frames", clips, 0, openEnd, newClipsAreEmpty},
        {"allocated frames have ids", clips, 0, openEnd, allocatedFramesHaveIds},
        {"allocating again keeps ids and bytes", clips, 0, openEnd, allocatingAgainKeepsFrames},
        {"frames read as zeros until written", clips, 0, openEnd, newFramesAreBlack},
        {"frames of another size read as zeros", clips, 0, openEnd, anotherSizeMakesFramesBlack},
        {"a count of 0 takes all frames away", clips, 0, openEnd, noFramesCanBeAllocated},
        {"a bad AllocateFrames changes nothing", clips, 0, openEnd, badAllocationsChangeNothing},
        {"only clips have frames", clips, 0, openEnd, otherNodesHaveNoFrames},
    };
}

} // namespace tool
