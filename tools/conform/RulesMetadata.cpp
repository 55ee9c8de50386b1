// Rules of metadata streams.
#include "tools/conform/Rules.h"
#include "tools/conform/WireBytes.h"

#include <algorithm>

namespace tool {

namespace {

void streamsComeBack(Trial& trial) {
    for (const char* text : {"a\tb\r\nc\\d \"e\" \xE9 ", "second text", "\"", "\\"}) {
        trial.ok("SetMetaData", trial.nodeId() + " note " + wire::quoted(text));
        trial.ok("GetMetaData", trial.nodeId() + " note * 1", text);
    }
}

void streamsAreListed(Trial& trial) {
    for (const char* name : {"note", "other"})
        trial.ok("SetMetaData", trial.nodeId() + " " + name + " \"x\"");
    const std::vector<std::string> names =
        wire::split(trial.ok("QueryMetaDataSupport", trial.nodeId()), ',');
    for (const char* name : {"note", "other"}) {
        trial.require(std::count(names.begin(), names.end(), name) == 1,
                      "a list that holds '" + std::string(name) + "' once");
    }
}

void emptyTextsAreTexts(Trial& trial) {
    trial.ok("SetMetaData", trial.nodeId() + " note \"\"");
    trial.ok("GetMetaData", trial.nodeId() + " note * 1", "");
}

void unknownStreamsAreErrors(Trial& trial) {
    trial.error("GetMetaData", trial.nodeId() + " no-such-stream * 1");
}

void filtersMayBeEmpty(Trial& trial) {
    trial.ok("SetMetaData", trial.nodeId() + " note \"a text\"");
    trial.ok("GetMetaData", trial.nodeId() + " note  0", "a text");
    trial.error("GetMetaData", trial.nodeId() + " note");
    trial.error("GetMetaData", trial.nodeId() + " note *");
    trial.error("GetMetaData", trial.nodeId() + " note * x");
}

void badTextsChangeNothing(Trial& trial) {
    trial.ok("SetMetaData", trial.nodeId() + " note \"kept\"");
    for (const char* text : {" note bare", " note \"open", " note \"a\"b\"", " note", ""})
        trial.error("SetMetaData", trial.nodeId() + text);
    trial.ok("GetMetaData", trial.nodeId() + " note * 1", "kept");
}

void badStreamNamesAreErrors(Trial& trial) {
    trial.error("SetMetaData", trial.nodeId() + "  \"x\"");
    trial.error("SetMetaData", trial.nodeId() + " a,b \"x\"");
}

} // namespace

std::vector<Rule> metadataRules() {
    constexpr const char* metadata = "Metadata";
    return {
        {"unknown streams are errors", metadata, 0, openEnd, unknownStreamsAreErrors},
        {"a stream's text comes back", metadata, 5, openEnd, streamsComeBack},
        {"streams are listed", metadata, 5, openEnd, streamsAreListed},
        {"an empty text is a text", metadata, 5, openEnd, emptyTextsAreTexts},
        {"filters may be empty", metadata, 5, openEnd, filtersMayBeEmpty},
        {"a bad SetMetaData changes nothing", metadata, 5, openEnd, badTextsChangeNothing},
        {"stream names fit into a list", metadata, 5, openEnd, badStreamNamesAreErrors},
    };
}

} // namespace tool
