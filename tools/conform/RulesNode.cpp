// Rules of the tree of nodes.
#include "tools/conform/Rules.h"
#include "tools/conform/WireBytes.h"

#include <algorithm>

namespace tool {

namespace {

void theRootHasAnId(Trial& trial) {
    const std::string root = trial.ok("GetRootNode");
    trial.require(wire::isId(root), "an id: a word without a comma");
    trial.ok("GetRootNode", "", root);
    trial.ok("GetChildren", root);
}

void childrenAreListedInOrder(Trial& trial) {
    trial.ok("GetChildren", trial.nodeId(), "");
    std::string list;
    for (const char* name : {"b", "a", "c"})
        list += (list.empty() ? "" : ",") + trial.makeNode(name) + "," + name;
    trial.ok("GetChildren", trial.nodeId(), list);
}

void namesComeBack(Trial& trial) {
    for (const char* name : {"a \"b\"  c", " x ", "\"", "back\\slash", "\xC3\xA9"}) {
        const std::string id = trial.makeNode(name);
        trial.ok("GetDisplayName", id, name);
    }
}

void badNamesAreErrors(Trial& trial) {
    for (const char* name : {"", "a,b", "a/b", "a\nb"})
        trial.error("CreateNode", trial.nodeId() + " \"" + name + "\" 0 folder");
    trial.ok("GetChildren", trial.nodeId(), "");
}

void sameNamesAreTwoNodes(Trial& trial) {
    const std::string first = trial.makeNode("same");
    const std::string second = trial.makeNode("same");
    trial.require(first != second, "an id of its own");
    trial.ok("GetChildren", trial.nodeId(), first + ",same," + second + ",same");
}

void cutRequestsAreErrors(Trial& trial) {
    for (const char* cut : {"", " \"name", " \"name\"", " \"name\" 0", " name 0 folder"})
        trial.error("CreateNode", trial.nodeId() + cut);
    trial.ok("GetChildren", trial.nodeId(), "");
}

void theKindDecides(Trial& trial) {
    for (const char* kind : {"0", "1"}) {
        for (const char* type : {" clip", " folder"}) {
            const std::string id = trial.makeNode("node", std::string(kind) + type);
            const std::string value = trial.ok("GetNodeType", id);
            trial.require(wire::areNumbers(value, 2) && value[0] == kind[0],
                          "'" + std::string(kind) + " NUMBER'");
        }
    }
}

void otherKindsAreErrors(Trial& trial) {
    for (const char* kind : {"2", "-1", "x", "+1", ""})
        trial.error("CreateNode", trial.nodeId() + " \"node\" " + kind + " folder");
}

void anyTypeIsTaken(Trial& trial) {
    for (const char* type : {"no-such-type", "7"})
        trial.ok("GetNodeTypeStr", trial.makeNode("node", "0 " + std::string(type)), type);
    const std::string number = trial.makeNode("node", "0 7");
    trial.ok("GetNodeType", number, "0 7");
}

void clipsHaveNoChildren(Trial& trial) {
    const std::string clip = trial.makeNode("clip", "1 clip");
    trial.error("CreateNode", clip + " \"child\" 0 folder");
    trial.ok("GetChildren", clip, "");
}

void destroyedTreesAreGone(Trial& trial) {
    std::vector<std::string> frameIds;
    const std::string parent = trial.makeNode("parent");
    const std::string child = trial.ok("CreateNode", parent + " \"clip\" 1 clip");
    frameIds = wire::split(trial.ok("AllocateFrames", child + " 1 " + plainFormat + "\"\""), ',');
    trial.require(frameIds.size() == 1, "the id of a frame");
    trial.ok("DestroyNode", parent);
    trial.ok("GetChildren", trial.nodeId(), "");
    trial.error("GetDisplayName", parent);
    trial.error("GetDisplayName", child);
    trial.sendFrame(wire::frameRequest("ReadFrame", frameIds[0], "24"));
    trial.fails();
}

void idsAreNotUsedAgain(Trial& trial) {
    const std::string first = trial.makeNode("node");
    trial.ok("DestroyNode", first);
    trial.require(trial.makeNode("node") != first, "an id that no node had before");
}

void unknownNodesAreErrors(Trial& trial) {
    const std::string gone = trial.makeNode("gone", "1 clip");
    trial.ok("DestroyNode", gone);
    for (const char* method :
         {"GetChildren", "GetNodeType", "GetNodeTypeStr", "GetDisplayName", "DestroyNode",
          "GetFrames", "GetClipFormat", "QueryMetaDataSupport"}) {
        trial.error(method, gone);
        trial.error(method, "");
    }
    trial.error("CreateNode", gone + " \"child\" 0 folder");
    trial.error("AllocateFrames", gone + " 1 " + plainFormat + "\"\"");
    trial.error("GetMetaData", gone + " note * 1");
    if (trial.speaks(5)) {
        trial.error("SetMetaData", gone + " note \"\"");
        trial.error("GetFramePaths", gone + " h 0 u");
    }
    if (trial.speaks(6))
        trial.error("SetFramePaths", gone + "  h 0 u " + plainFormat + "\"\"");
}

} // namespace

std::vector<Rule> nodeRules() {
    constexpr const char* texts = "Argument texts";
    constexpr const char* nodes = "Nodes";
    return {
        {"names come back as they were sent", texts, 0, openEnd, namesComeBack},
        {"the root has an id that stays", nodes, 0, openEnd, theRootHasAnId},
        {"children are listed in their order", nodes, 0, openEnd, childrenAreListedInOrder},
        {"names that lists can't carry are errors", nodes, 0, openEnd, badNamesAreErrors},
        {"one name may stand twice", nodes, 0, openEnd, sameNamesAreTwoNodes},
        {"a CreateNode that was cut is an error", "Lengths", 0, openEnd, cutRequestsAreErrors},
        {"the kind decides what is a clip", nodes, 0, openEnd, theKindDecides},
        {"other kinds than 0 and 1 are errors", nodes, 0, openEnd, otherKindsAreErrors},
        {"any type is taken and told", nodes, 0, openEnd, anyTypeIsTaken},
        {"a clip has no nodes below it", nodes, 0, openEnd, clipsHaveNoChildren},
        {"a destroyed tree is gone", nodes, 0, openEnd, destroyedTreesAreGone},
        {"an id is never used again", nodes, 0, openEnd, idsAreNotUsedAgain},
        {"unknown nodes are errors", "Errors and empty replies", 0, openEnd, unknownNodesAreErrors},
    };
}

} // namespace tool
