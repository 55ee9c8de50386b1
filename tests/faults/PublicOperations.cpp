#include "tests/faults/PublicOperations.h"

#include "tests/faults/HealthyServer.h"

#include <new>

namespace {

using H = Handles;

int sizeOf(const std::vector<char>& frame) {
    return static_cast<int>(frame.size());
}

// Copies have no result: without memory they throw, and lose nothing.
bool copyHandles(Handles& handles) {
    try {
        const LantrixServerHandle server(handles.server);
        LantrixClipFormat format;
        if (!handles.clip.getClipFormat(format)) // known, and so copied
            return false;
        const LantrixNodeHandle node(handles.clip);
        if (!node.getClipFormat(format))
            return false;
        handles.child = node;
        handles.child.setNodeId("n2"); // an empty id is its only way to report a failure
        if (handles.child.getNodeId().id() != std::string("n2"))
            return false;
        handles.format.swap(format);
        handles.isClip = node.getNodeId().id() == std::string("clip");
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace

Handles::Handles(const char* host)
    : server(host), clip(server, "clip"),
      frame(healthyBytes().begin(), healthyBytes().begin() + 829440) {}

std::string Handles::outputs() const {
    std::string all;
    for (const char* const each :
         {text.c_str(), paths[0].c_str(), paths[1].c_str(), clip.getNodeId().id(),
          child.getNodeId().id(), format.formatTag(), format.metaDataTag(), format.metaData()})
        all += each + std::string(";");
    for (const int each : {numbers[0], numbers[1], format.width(), format.scanFormat() + 0})
        all += std::to_string(each) + ";";
    return all + (isClip ? "clip" : "");
}

const std::vector<PublicOperation>& publicOperations() {
    static const std::vector<PublicOperation> operations = {
        {"copying", copyHandles},
        {"ping", [](H& h) { return h.server.ping(); }},
        {"getVendor", [](H& h) { return h.server.getVendor(h.text); }},
        {"getProduct", [](H& h) { return h.server.getProduct(h.text); }},
        {"getVersion", [](H& h) { return h.server.getVersion(h.numbers[0], h.numbers[1]); }},
        {"getProtocolVersion",
         [](H& h) { return h.server.getProtocolVersion(h.numbers[0], h.numbers[1]); }},
        {"getStorageId", [](H& h) { return h.server.getStorageId(h.text); }},
        {"translatePaths",
         [](H& h) {
             return h.server.translatePaths(h.paths, h.paths, 2, nullptr, nullptr, LantrixOS::Irix,
                                            LantrixOS::Linux);
         }},
        {"server.readFrame", [](H& h) { return h.server.readFrame("f1", h.frame.data(), 4); }},
        {"server.writeFrame", [](H& h) { return h.server.writeFrame("f1", "data", 4); }},
        {"getRootNode", [](H& h) { return h.server.getRootNode(h.child); }},
        {"getRootNode__", [](H& h) { return getRootNode__(&h.server, &h.child); }},
        {"findChild", [](H& h) { return LantrixFindChild(h.clip, "Reel\t1", h.child); }},
        {"resolveDisplayPath",
         [](H& h) { return LantrixResolveDisplayPath(h.server, "/Reel\t1/Reel\t1", h.child); }},
        {"getNodeType", [](H& h) { return h.clip.getNodeType(h.numbers[0]); }},
        {"getNodeTypeStr", [](H& h) { return h.clip.getNodeTypeStr(h.text); }},
        {"getIsClipNode", [](H& h) { return h.clip.getIsClipNode(h.isClip); }},
        {"getDisplayName", [](H& h) { return h.clip.getDisplayName(h.text); }},
        {"getClipFormat", [](H& h) { return h.clip.getClipFormat(h.format); }},
        {"getNumChildren", [](H& h) { return h.clip.getNumChildren(h.numbers[0]); }},
        {"getChild", [](H& h) { return h.clip.getChild(1, h.child); }},
        {"createNode", [](H& h) { return h.clip.createNode("reel", "R8", h.child); }},
        {"createNode by number", [](H& h) { return h.clip.createNode("reel", 12, h.child); }},
        {"createClipNode",
         [](H& h) { return h.clip.createClipNode("clip", h.format, "R8", h.child); }},
        {"createClipNode by number",
         [](H& h) { return h.clip.createClipNode("clip", h.format, 12, h.child); }},
        {"destroyNode", [](H& h) { return h.clip.destroyNode(); }},
        {"linkToFrames", [](H& h) { return h.clip.linkToFrames(h.paths, 2); }},
        {"getNumFrames", [](H& h) { return h.clip.getNumFrames(h.numbers[0]); }},
        {"setNumFrames", [](H& h) { return h.clip.setNumFrames(2); }},
        {"getFrameId", [](H& h) { return h.clip.getFrameId(1, h.text); }},
        {"getFrameIdPath", [](H& h) { return h.clip.getFrameIdPath(1, h.text); }},
        {"readFrame", [](H& h) { return h.clip.readFrame(1, h.frame.data(), sizeOf(h.frame)); }},
        {"writeFrame", [](H& h) { return h.clip.writeFrame(1, h.frame.data(), sizeOf(h.frame)); }},
        {"getNumAvailableMetaDataStreams",
         [](H& h) { return h.clip.getNumAvailableMetaDataStreams(h.numbers[0]); }},
        {"getAvailableMetaDataStream",
         [](H& h) { return h.clip.getAvailableMetaDataStream(1, h.text); }},
        {"getMetaData", [](H& h) { return h.clip.getMetaData("xml", "*", -1, h.text); }},
        {"setMetaData", [](H& h) { return h.clip.setMetaData("xml", "a \"b\""); }}};
    return operations;
}
