#include "tests/support/WireOperations.h"

#include "base/loggerBase/src/CoException.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace {

using S = Services;
constexpr auto base = WireOperation::Base;
constexpr auto nodes = WireOperation::Node;
constexpr auto frames = WireOperation::Frame;

const char* const emptyFormat = "1 1 24 3 1 1 30  0  ";
const LantrixStr sourcePaths[] = {"/x", "/y"};
const std::vector<std::string> framePaths = {"/f/1", "/f/2"};
const std::string thisHost = LantrixOS::getHostName().c_str();

LantrixClipFormat sentFormat() {
    return {1920,  1080,  24,       3, 6220800, 29.97F, 1.0F, LantrixClipFormat::Progressive,
            "rgb", "xml", "a \"b\""};
}

// The bytes of a text with a NUL behind each of its words.
std::string tokens(std::string text) {
    std::replace(text.begin(), text.end(), ' ', '\0');
    return text;
}

template <class Items, class Text>
std::string joined(const Items& items, Text text) {
    std::string list;
    for (const auto& item : items)
        list += (list.empty() ? "" : ",") + std::string(text(item));
    return list;
}

std::string describe(const LantrixClipFormat& format) {
    std::ostringstream out;
    out << format.width() << ' ' << format.height() << ' ' << format.bitsPerPixel() << ' '
        << format.numChannels() << ' ' << format.frameBufferSize() << ' ' << format.pixelRatio()
        << ' ' << format.frameRate() << ' ' << format.formatTag() << ' ' << int{format.scanFormat()}
        << ' ' << format.metaDataTag() << ' ' << format.metaData();
    return out.str();
}

} // namespace

Services::Services(const char* host)
    : commands(host, 7549), frames(host, 7550, 0, 0), base(commands), nodes(commands),
      frameService(frames) {
    forgetOutputs();
}

void Services::forgetOutputs() {
    id.setId("kept");
    text = "kept";
    numbers[0] = numbers[1] = -1;
    type = LantrixNodeInterface::NodeType(99);
    children.assign(1, {"kept", "kept"});
    frameIds.assign(1, "kept");
    list.assign(1, "kept");
    paths[0] = paths[1] = "kept";
    format = LantrixClipFormat();
    frame = "kept";
}

std::string Services::outputs() const {
    std::string changed;
    const auto tell = [&changed](const char* name, const std::string& now, const char* first) {
        if (now != first)
            changed += std::string(name) + "=" + now + ";";
    };
    tell("id", id.id(), "kept");
    tell("text", text, "kept");
    tell("type", std::to_string(type), "99");
    tell("numbers", std::to_string(numbers[0]) + "," + std::to_string(numbers[1]), "-1,-1");
    tell("children", joined(children, [](const auto& c) { return c.second + ":" + c.first; }),
         "kept:kept");
    tell("frames", joined(frameIds, [](const auto& frameId) { return frameId.id(); }), "kept");
    tell("list", joined(list, [](const auto& item) { return item; }), "kept");
    tell("paths", joined(paths, [](const auto& path) { return path.c_str(); }), "kept,kept");
    tell("format", describe(format), emptyFormat);
    tell("frame", frame, "kept");
    return changed;
}

void Services::stop() {
    commands.stop();
    frames.stop();
}

bool WireOperation::run(Services& services) const {
    try {
        if (call(services))
            return true;
        services.error = service == Base ? services.base.lastError() : services.nodes.lastError();
    } catch (const CoException& failure) {
        services.error = failure.what();
    }
    return false;
}

void WireOperation::play(ScriptedServer& server, Script script) const {
    if (service == Frame)
        server.frames(std::move(script));
    else
        server.commands(std::move(script));
}

const std::vector<WireOperation>& wireOperations() {
    static const std::vector<WireOperation> operations = {
        {base, "ping", "sync 0 Ping \n", "ok \n", "", [](S& s) { return s.base.ping(); }},
        {base, "queryVersion", "sync 0 QueryVersion \n", "ok 2 6\n", "numbers=2,6;",
         [](S& s) { return s.base.queryVersion(s.numbers[0], s.numbers[1]); }},
        {base, "shutdown", "sync 0 Shutdown \n", "ok \n", "",
         [](S& s) { return s.base.shutdown(); }},
        {base, "translatePaths", "sync 0 TranslatePaths \"a\" 1 \"b\" 2 \"/x\",\"/y\"\n",
         "ok /u,/v\n", "paths=/u,/v;",
         [](S& s) {
             return s.base.translatePaths(sourcePaths, s.paths, 2, "a", "b", LantrixOS::Irix,
                                          LantrixOS::Linux);
         }},
        {nodes, "getRootNode", "sync 0 GetRootNode \n", "ok root\n", "id=root;",
         [](S& s) { return s.nodes.getRootNode(s.id); }},
        {nodes, "createNode", "sync 0 CreateNode n1 \"clip 1\" 1 R8\n", "ok n2\n", "id=n2;",
         [](S& s) {
             return s.nodes.createNode(s.node, "clip 1", LantrixNodeInterface::ClipNode, "R8",
                                       s.id);
         }},
        {nodes, "destroyNode", "sync 0 DestroyNode n1\n", "ok \n", "",
         [](S& s) { return s.nodes.destroyNode(s.node); }},
        {nodes, "getChildren", "sync 0 GetChildren n1\n", "ok a,Reel\\t1,b,\n",
         "children=a:Reel\t1,b:;", [](S& s) { return s.nodes.getChildren(s.node, s.children); }},
        {nodes, "getNodeType", "sync 0 GetNodeType n1\n", "ok 1 12\n", "type=1;numbers=12,-1;",
         [](S& s) { return s.nodes.getNodeType(s.node, s.type, s.numbers[0]); }},
        {nodes, "getNodeTypeStr", "sync 0 GetNodeTypeStr n1\n", "ok Clip\n", "text=Clip;",
         [](S& s) { return s.nodes.getNodeTypeStr(s.node, s.text); }},
        {nodes, "getDisplayName", "sync 0 GetDisplayName n1\n", "ok Shot 1, A\\\\B\n",
         "text=Shot 1, A\\B;", [](S& s) { return s.nodes.getDisplayName(s.node, s.text); }},
        // The backslashes of quoted text are doubled by the line that carries it.
        {nodes, "allocateFrames",
         "sync 0 AllocateFrames n1 2 1920 1080 24 3 6220800 1 29.97 rgb 4 xml "
         "\"a \\\\\"b\\\\\"\"\n",
         "ok f1,f2\n", "frames=kept,f1,f2;",
         [](S& s) { return s.nodes.allocateFrames(s.node, 2, sentFormat(), s.frameIds); }},
        {nodes, "getFrames", "sync 0 GetFrames n1\n", "ok f1,,f2,\n", "frames=f1,f2;",
         [](S& s) { return s.nodes.getFrames(s.node, s.frameIds); }},
        {nodes, "getFramePaths", "sync 0 GetFramePaths n1 " + thisHost + " 0 unknown\n",
         "ok ,/f/1,/f/2\n", "list=/f/1,/f/2;",
         [](S& s) { return s.nodes.getFramePaths(s.node, s.list); }},
        {nodes, "setFramePaths",
         "sync 0 SetFramePaths n1 /f/1,/f/2 " + thisHost +
             " 0 unknown 1920 1080 24 3 6220800 1 29.97 rgb 4 xml \"a \\\\\"b\\\\\"\"\n",
         "ok \n", "", [](S& s) { return s.nodes.setFramePaths(s.node, framePaths, sentFormat()); }},
        {nodes, "getClipFormat", "sync 0 GetClipFormat n1\n",
         "ok 720 576 16 2 829440 1.067 29.97 yuv 1 tag \"a  b\n",
         "format=720 576 16 2 829440 1.067 29.97 yuv 1 tag \"a  b;",
         [](S& s) { return s.nodes.getClipFormat(s.node, s.format); }},
        {nodes, "queryNodePlugInVendor", "sync 0 QueryNodePlugInVendor \n", "ok A Maker\n",
         "text=A Maker;", [](S& s) { return s.nodes.queryNodePlugInVendor(s.text); }},
        {nodes, "queryNodePlugInProduct", "sync 0 QueryNodePlugInProduct \n", "ok \n", "text=;",
         [](S& s) { return s.nodes.queryNodePlugInProduct(s.text); }},
        {nodes, "queryNodePlugInVersion", "sync 0 QueryNodePlugInVersion \n", "ok 3 1\n",
         "numbers=3,1;",
         [](S& s) { return s.nodes.queryNodePlugInVersion(s.numbers[0], s.numbers[1]); }},
        {nodes, "getStorageId", "sync 0 GetStorageId \n", "ok store\n", "text=store;",
         [](S& s) { return s.nodes.getStorageId(s.text); }},
        {nodes, "getMetaData", "sync 0 GetMetaData n1 xml * -1\n", "ok <a>\\n</a>\n",
         "text=<a>\n</a>;",
         [](S& s) { return s.nodes.getMetaData(s.node, "xml", "*", -1, s.text); }},
        {nodes, "setMetaData", "sync 0 SetMetaData n1 xml \"a \\\\\"b\\\\\"\\n\\\\\\\\c\"\n",
         "ok \n", "", [](S& s) { return s.nodes.setMetaData(s.node, "xml", "a \"b\"\n\\c"); }},
        {nodes, "queryMetaDataSupport", "sync 0 QueryMetaDataSupport n1\n", "ok a,,b,\n",
         "list=a,b;", [](S& s) { return s.nodes.queryMetaDataSupport(s.node, s.list); }},
        {frames, "writeFrame", tokens("WriteFrame f1 4 ") + "data", std::string(1, '\0'), "",
         [](S& s) { return s.frameService.writeFrame("f1", "data", 4) == 1; }},
        {frames, "readFrame", tokens("ReadFrame f1 4 "), tokens(" data"), "frame=data;",
         [](S& s) { return s.frameService.readFrame("f1", s.frame.data(), 4) == 4; }},
        {frames, "readAhead", tokens("ReadAhead f1 4 "), "", "",
         [](S& s) { return s.frameService.readAhead("f1", 4) == 2; }}};
    return operations;
}

const WireOperation& wireOperation(const std::string& name) {
    for (const WireOperation& operation : wireOperations())
        if (operation.name == name)
            return operation;
    throw std::invalid_argument(name);
}
