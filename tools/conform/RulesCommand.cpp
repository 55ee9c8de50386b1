// Rules of the command connection and the base service.
#include "tools/conform/Rules.h"
#include "tools/conform/WireBytes.h"

#include <algorithm>

namespace tool {

namespace {

void repliesAreLines(Trial& trial) {
    trial.ok("Ping");
    trial.ok("GetRootNode");
    trial.error("GetDisplayName", "");
}

void valuesAreEscaped(Trial& trial) {
    const std::string metadata = "a\tb\r\nc\\d \"e\" \xE9";
    const std::string clip = trial.makeNode("clip", "1 clip");
    trial.ok("AllocateFrames", clip + " 0 " + plainFormat + wire::quoted(metadata));
    trial.ok("GetClipFormat", clip, plainFormat + metadata);
}

void escapesAreUndone(Trial& trial) {
    const std::string nodeId = trial.nodeId();
    trial.sendCommand("sync 0 CreateNode " + nodeId + " \"a\\bc\\\\d\" 0 folder\n");
    trial.ok("GetDisplayName", trial.okValue(), "abc\\d");
}

void idsOfRequestsAreIgnored(Trial& trial) {
    for (const char* id : {"17", "-17", "4000000000000000000000"}) {
        trial.sendCommand("sync " + std::string(id) + " Ping \n");
        trial.okValue();
    }
}

void onlySyncIsAnswered(Trial& trial) {
    const std::string root = trial.ok("GetRootNode");
    for (const char* type : {"async", "SYNC", "sync2", ""}) {
        trial.sendCommand(std::string(type) + " 0 Ping \n" + type +
                          " 0 NoSuchMethod \nsync 0 GetRootNode \n");
        trial.require(trial.okValue() == root, "the reply to the last request only");
    }
}

void asyncIsCarriedOut(Trial& trial) {
    trial.sendCommand("async 0 CreateNode " + trial.nodeId() +
                      " \"made\" 0 folder\nsync 0 Ping \n");
    trial.okValue();
    const std::vector<std::string> items =
        wire::split(trial.ok("GetChildren", trial.nodeId()), ',');
    trial.require(items.size() == 2 && items[1] == "made", "the child 'made'");
}

void repliesKeepTheOrder(Trial& trial) {
    const std::string root = trial.ok("GetRootNode");
    trial.sendCommand("sync 0 GetRootNode \nsync 0 NoSuchMethod \nsync 0 Ping \n"
                      "sync 0 GetRootNode \n");
    trial.require(trial.okValue() == root, "the reply to the first request");
    trial.errorReply();
    trial.okValue();
    trial.require(trial.okValue() == root, "the reply to the last request");
}

void requestsMayArriveInSegments(Trial& trial) {
    trial.sendCommand("sync 0 GetRootNode \n", 1);
    trial.require(wire::isId(trial.okValue()), "the root's id");
}

void clientsDoNotHoldEachOtherUp(Trial& trial) {
    trial.sendCommand("sync 0 GetRoot");
    Trial other(trial.place(), trial.version());
    other.ok("Ping");
    trial.sendCommand("Node \n");
    trial.okValue();
}

void theLastBlankMayBeMissing(Trial& trial) {
    for (const char* method : {"Ping", "GetRootNode"}) {
        trial.sendCommand("sync 0 " + std::string(method) + "\n");
        trial.okValue();
    }
}

void twoBlanksEncloseAnEmptyField(Trial& trial) {
    trial.sendCommand("sync  Ping \n");
    trial.okValue();
    trial.sendCommand("sync 0  Ping \n");
    trial.errorReply();
}

void nulIsAnError(Trial& trial) {
    const std::string root = trial.ok("GetRootNode");
    trial.sendCommand("sync 0 GetDisplayName " + root + std::string("\0x\n", 3));
    trial.errorReply();
    trial.sendCommand(std::string("sync 0 Ping\0x \n", 15));
    trial.errorReply();
}

// A page that a browser shows can have it send any lines, but not as the first.
void webPagesAreNotServed(Trial& trial) {
    const std::string nodeId = trial.nodeId();
    trial.reopenCommands();
    trial.sendCommand("POST / HTTP/1.1\r\n\r\nsync 0 CreateNode " + nodeId + " \"web\" 0 folder\n");
    trial.commandEnd();
    trial.reopenCommands();
    trial.ok("GetChildren", nodeId, "");
}

void unknownMethodsAreErrors(Trial& trial) {
    for (const char* method : {"NoSuchMethod", "ping", "Ping2", "Pin"})
        trial.error(method, "");
    trial.ok("Ping");
}

void laterMethodsAreErrors(Trial& trial) {
    const std::string clip = trial.makeNode("clip", "1 clip");
    trial.error("GetStorageId", "");
    trial.error("SetFramePaths", clip + "  h 0 u " + plainFormat + "\"\"");
    if (!trial.speaks(5)) {
        trial.error("GetFramePaths", clip + " h 0 u");
        trial.error("SetMetaData", clip + " note \"\"");
    }
}

void longRequestsAreTaken(Trial& trial) {
    const std::string metadata(64000, 'm');
    const std::string clip = trial.makeNode("clip", "1 clip");
    trial.ok("AllocateFrames", clip + " 0 " + plainFormat + wire::quoted(metadata));
    trial.ok("GetClipFormat", clip, plainFormat + metadata);
}

void versionsAreTwoNumbers(Trial& trial) {
    for (const char* method : {"QueryVersion", "QueryNodePlugInVersion"}) {
        const std::string value = trial.ok(method);
        trial.require(wire::areNumbers(value, 2), "'MAJOR MINOR', with a blank");
    }
}

void pathsAreTranslatedOneByOne(Trial& trial) {
    const std::string value = trial.ok("TranslatePaths", R"("a" 2 "a" 2 "/x","/y z","/")");
    const std::vector<std::string> paths = wire::split(value, ',');
    trial.require(paths.size() == 3 && value.find('"') == std::string::npos &&
                      std::count(paths.begin(), paths.end(), "") == 0,
                  "three paths without quotes, separated by commas");
    trial.ok("TranslatePaths", R"("a" 2 "a" 2 )", "");
}

void theServerSaysWhatItIs(Trial& trial) {
    trial.ok("QueryNodePlugInVendor");
    trial.ok("QueryNodePlugInProduct");
}

void theStorageHasAnId(Trial& trial) {
    const std::string value = trial.ok("GetStorageId");
    trial.require(!value.empty(), "an id of the storage");
    trial.ok("GetStorageId", "", value);
}

} // namespace

std::vector<Rule> commandRules() {
    constexpr const char* connection = "The command connection";
    constexpr const char* requests = "Requests and errors";
    constexpr const char* base = "The base service";
    constexpr const char* server = "The node service: metadata and the server";
    return {
        {"a reply is a code, a blank and a value", connection, 0, openEnd, repliesAreLines},
        {"values are escaped in replies", connection, 0, openEnd, valuesAreEscaped},
        {"escapes of requests are undone", connection, 0, openEnd, escapesAreUndone},
        {"the id of a request is ignored", connection, 0, openEnd, idsOfRequestsAreIgnored},
        {"only sync requests are answered", connection, 0, openEnd, onlySyncIsAnswered},
        {"replies come in the order of requests", connection, 0, openEnd, repliesKeepTheOrder},
        {"two blanks enclose an empty field", connection, 0, openEnd, twoBlanksEncloseAnEmptyField},
        {"async requests are carried out", requests, 0, openEnd, asyncIsCarriedOut},
        {"requests arrive in any segments", requests, 0, openEnd, requestsMayArriveInSegments},
        {"clients do not hold each other up", requests, 0, openEnd, clientsDoNotHoldEachOtherUp},
        {"the last blank may be missing", requests, 0, openEnd, theLastBlankMayBeMissing},
        {"a NUL in a request is an error", requests, 0, openEnd, nulIsAnError},
        {"web pages are not served", requests, 0, openEnd, webPagesAreNotServed},
        {"unknown methods are errors", requests, 0, openEnd, unknownMethodsAreErrors},
        {"methods of later versions are errors", requests, 0, 6, laterMethodsAreErrors},
        {"requests of 64 KiB are taken", "Limits, restarts, idle connections", 0, openEnd,
         longRequestsAreTaken},
        {"versions are two numbers", "Numbers", 0, openEnd, versionsAreTwoNumbers},
        {"each path is translated", base, 0, openEnd, pathsAreTranslatedOneByOne},
        {"the server says what it is", server, 0, openEnd, theServerSaysWhatItIs},
        {"the storage has an id", server, 6, openEnd, theStorageHasAnId},
    };
}

} // namespace tool
