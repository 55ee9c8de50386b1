// Node handles: what they ask, what they keep, and what each version of a server gets.
#include "lantrix/LantrixClientAPI.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>

namespace {

const std::string nul(1, '\0');

const Step clipFormat = call("GetClipFormat n1", "ok 1 2 3 4 5 6 7 t 4 u v");
const std::string thisHost = LantrixOS::getHostName().c_str();

bool is(const char* text, const char* expected) {
    return std::strcmp(text, expected) == 0;
}

class LantrixNodeHandleTest : public testing::Test {
protected:
    ScriptedServer remote;
    LantrixServerHandle server{remote.host()};
    LantrixNodeHandle node{server, "n1"};
    LantrixNodeHandle child{server, "before"};
    LantrixStr text = "unchanged";
    int number = -1;
};

TEST_F(LantrixNodeHandleTest, EachAnswerIsAskedOnce) {
    remote.commands({call("GetNodeType n1", "ok 1 12"), call("GetNodeTypeStr n1", "ok Clip"),
                     call("GetDisplayName n1", "ok Shot"), call("GetChildren n1", "ok a,A,b,B"),
                     clipFormat, call("GetFrames n1", "ok f1,f2"),
                     call("QueryMetaDataSupport n1", "ok xml")});
    for (int i = 0; i < 2; ++i) {
        bool isClip = false;
        LantrixClipFormat format;
        EXPECT_TRUE(node.getNodeType(number));
        EXPECT_EQ(12, number);
        EXPECT_TRUE(node.getIsClipNode(isClip) && isClip);
        EXPECT_TRUE(node.getNodeTypeStr(text) && is(text, "Clip"));
        EXPECT_TRUE(node.getDisplayName(text) && is(text, "Shot"));
        EXPECT_TRUE(node.getNumChildren(number));
        EXPECT_EQ(2, number);
        EXPECT_TRUE(node.getClipFormat(format));
        EXPECT_EQ(2, format.height());
        EXPECT_TRUE(node.getFrameId(1, text) && is(text, "f2"));
        EXPECT_TRUE(node.getNumAvailableMetaDataStreams(number));
        EXPECT_EQ(1, number);
        EXPECT_TRUE(node.getAvailableMetaDataStream(0, text) && is(text, "xml"));
    }
}

TEST_F(LantrixNodeHandleTest, FailedAnswersAreAskedAgainAndLeaveOutputsAlone) {
    remote.commands({call("GetNodeType n1", "ok 1 12"), call("GetNodeTypeStr n1", "error Busy"),
                     call("GetNodeType n1", "ok 1 12"), call("GetNodeTypeStr n1", "ok Clip"),
                     call("GetFrames n1", "error Lost"), call("GetFrames n1", "ok f1")});
    EXPECT_FALSE(node.getNodeType(number));
    EXPECT_EQ(-1, number);
    EXPECT_STREQ("Busy", node.lastError());
    EXPECT_TRUE(node.getNodeType(number));
    EXPECT_EQ(12, number);
    EXPECT_FALSE(node.getFrameId(0, text));
    EXPECT_STREQ("unchanged", text);
    EXPECT_TRUE(node.getFrameId(0, text));
    EXPECT_STREQ("Lost", server.lastError());
    EXPECT_FALSE(node.getFrameId(1, text));
    EXPECT_STREQ("Frame index out of range", server.lastError());
}

TEST_F(LantrixNodeHandleTest, ChildKnowsItsNameButNotItsType) {
    remote.commands({call("GetChildren n1", "ok a,Reel A,b,B"), call("GetNodeType b", "ok 0 3"),
                     call("GetNodeTypeStr b", "ok Reel")});
    EXPECT_TRUE(node.getChild(1, child));
    EXPECT_TRUE(child.getDisplayName(text) && is(text, "B"));
    EXPECT_TRUE(child.getNodeType(number));
    LantrixNodeHandle copy(child);
    EXPECT_TRUE(copy.getNodeTypeStr(text) && is(text, "Reel"));
    EXPECT_TRUE(node.getChild(0, node)); // into the node itself
    EXPECT_STREQ("a", node.getNodeId().id());
    EXPECT_TRUE(node.getDisplayName(text) && is(text, "Reel A"));
    LantrixNodeHandle& same = copy;
    copy = same;
    EXPECT_TRUE(copy.getNodeTypeStr(text) && is(text, "Reel"));
    copy = node;
    EXPECT_STREQ("a", copy.getNodeId().id());
}

TEST_F(LantrixNodeHandleTest, AnotherIdDropsTheCachesAndTheSameKeepsThem) {
    Script script;
    for (const std::string id : {"1", "2"})
        for (const Step& asked :
             {call("GetDisplayName n" + id, "ok Name" + id), call("GetFrames n" + id, "ok f" + id),
              call("GetNodeType n" + id, "ok 1 " + id), call("GetNodeTypeStr n" + id, "ok t"),
              call("GetChildren n" + id, "ok c" + id + ",C"),
              call("QueryMetaDataSupport n" + id, "ok m" + id),
              call("GetClipFormat n" + id, "ok " + id + " 1 8 1 1 1 30 t 4 m ")})
            script.push_back(asked);
    remote.commands(script);
    LantrixClipFormat format;
    const auto expectAnswersOf = [&](const std::string& id) {
        EXPECT_TRUE(node.getDisplayName(text) && is(text, ("Name" + id).c_str()));
        EXPECT_TRUE(node.getFrameId(0, text) && is(text, ("f" + id).c_str()));
        EXPECT_TRUE(node.getNodeType(number) && number == std::stoi(id));
        EXPECT_TRUE(node.getChild(0, child));
        EXPECT_EQ("c" + id, child.getNodeId().id());
        EXPECT_TRUE(node.getAvailableMetaDataStream(0, text) && is(text, ("m" + id).c_str()));
        EXPECT_TRUE(node.getClipFormat(format) && format.width() == std::stoi(id));
    };
    expectAnswersOf("1");
    node.setNodeId("n1");
    node.setServer(server);
    expectAnswersOf("1");
    node.setNodeId(LantrixNodeId("n2"));
    expectAnswersOf("2");
    LantrixNodeHandle unset;
    EXPECT_FALSE(unset.getDisplayName(text));
    EXPECT_STREQ("Unknown host ''", unset.lastError());
}

TEST_F(LantrixNodeHandleTest, CreatedNodesAreKnownWithoutAsking) {
    LantrixClipFormat format;
    format.setWidth(1920);
    remote.commands({call("GetChildren n1", "ok a,A"), call("CreateNode n1 \"b c\" 0 12", "ok b"),
                     call("CreateNode n1 \"clip\" 1 R8", "ok c"),
                     call("CreateNode n1 \"d\" 1 -1", "error Full"),
                     call("CreateNode n1 \"e\" 0 T", "ok e")});
    EXPECT_TRUE(node.getNumChildren(number));
    EXPECT_TRUE(node.createNode("b c", 12, child));
    EXPECT_STREQ("b", child.getNodeId().id());
    EXPECT_TRUE(child.getDisplayName(text) && is(text, "b c"));
    EXPECT_TRUE(node.createClipNode("clip", format, "R8", child));
    format.setWidth(1);
    EXPECT_TRUE(child.getClipFormat(format));
    EXPECT_EQ(1920, format.width());
    EXPECT_FALSE(node.createClipNode("d", format, -1, child));
    EXPECT_STREQ("Full", node.lastError());
    EXPECT_STREQ("c", child.getNodeId().id());
    EXPECT_TRUE(node.getNumChildren(number) && number == 3);
    EXPECT_TRUE(node.getChild(1, child) && child.getDisplayName(text) && is(text, "b c"));
    EXPECT_TRUE(node.createNode("e", "T", node)); // into the node itself
    EXPECT_TRUE(node.getDisplayName(text) && is(text, "e"));
    EXPECT_EQ(&server, &node.getServer());
}

TEST_F(LantrixNodeHandleTest, DestroyedNodeKeepsItsIdAndForgetsTheRest) {
    remote.commands({call("GetDisplayName n1", "ok Shot"), call("DestroyNode n1", "error In use"),
                     call("DestroyNode n1", "ok "), call("GetDisplayName n1", "error Gone")});
    EXPECT_TRUE(node.getDisplayName(text));
    EXPECT_FALSE(node.destroyNode());
    EXPECT_TRUE(node.getDisplayName(text));
    EXPECT_TRUE(node.destroyNode());
    EXPECT_STREQ("n1", node.getNodeId().id());
    EXPECT_FALSE(node.getDisplayName(text));
    EXPECT_STREQ("Gone", node.lastError());
}

// Runs what needs a protocol from 2.MINOR on against servers of all versions. The script of a
// server that is new enough goes on where the other ends; the text is that of the operation, a bar,
// and the last error, with servers new enough, too old, and unable to tell.
void expectFromMinor(int minor, const Script& before, const Script& behind, const Script& frames,
                     const char* newer, const char* older, const char* unknown,
                     const std::function<std::string(LantrixNodeHandle&)>& run) {
    const std::pair<int, int> versions[] = {{1, 9}, {2, 4}, {2, 5}, {2, 6}, {3, 0}, {0, 0}};
    for (const auto& [major, last] : versions) {
        const std::string version = std::to_string(major) + " " + std::to_string(last);
        SCOPED_TRACE(version);
        const bool isNew = major > 2 || (major == 2 && last >= minor);
        Script commands = before;
        commands.push_back(call("QueryVersion ", major == 0 ? "error Down" : "ok " + version));
        if (isNew)
            commands.insert(commands.end(), behind.begin(), behind.end());
        ScriptedServer remote;
        const LantrixServerHandle server(remote.host());
        LantrixNodeHandle node(server, "n1");
        remote.commands(commands);
        if (!frames.empty()) // of which the first step is for new servers only
            remote.frames(Script(frames.begin() + (isNew ? 0 : 1), frames.end()));
        const std::string value = run(node);
        EXPECT_EQ(isNew ? newer : major > 0 ? older : unknown, value + "|" + server.lastError());
    }
}

std::string told(bool succeeded) {
    return succeeded ? "true" : "false";
}

TEST(LantrixProtocolVersion, OldServersAreNotAskedForWhatTheyLack) {
    const LantrixStr file("/f");
    LantrixStr text;
    char buffer[6] = {};
    expectFromMinor(6, {}, {call("GetStorageId ", "ok store")}, {}, "store|", "host|", "host|Down",
                    [&](LantrixNodeHandle& node) {
                        EXPECT_TRUE(node.getServer().getStorageId(text));
                        const bool isHost = is(text, node.getServer().getHostName());
                        return std::string(isHost ? "host" : text);
                    });
    expectFromMinor(
        6, {clipFormat},
        {call("SetFramePaths n1 /f " + thisHost + " 0 unknown 1 2 3 4 5 6 7 t 4 u \"v\"", "ok ")},
        {}, "true|", "false|Server does not support linking to existing media files.", "false|Down",
        [&](LantrixNodeHandle& node) { return told(node.linkToFrames(&file, 1)); });
    expectFromMinor(5, {}, {call("SetMetaData n1 xml \"<a>\"", "ok ")}, {}, "true|",
                    "false|Functionality not supported on remote Lantrix server.",
                    "false|Functionality not supported on remote Lantrix server.",
                    [](LantrixNodeHandle& node) { return told(node.setMetaData("xml", "<a>")); });
    expectFromMinor(5, {}, {call("GetFramePaths n1 " + thisHost + " 0 unknown", "ok /f")}, {},
                    "/f|", "|", "|Down", [&](LantrixNodeHandle& node) {
                        EXPECT_TRUE(node.getFrameIdPath(0, text) && node.getFrameIdPath(0, text));
                        return std::string(text);
                    });
    expectFromMinor(5, {call("GetFrames n1", "ok f0,f1,f2"), clipFormat}, {},
                    {expect("ReadAhead" + nul + "f2" + nul + "5" + nul),
                     expect("ReadFrame" + nul + "f1" + nul + "5" + nul), reply(nul + "bytes")},
                    "bytes|", "bytes|", "bytes|Down", [&](LantrixNodeHandle& node) {
                        EXPECT_TRUE(node.readFrame(1, buffer, 5));
                        return std::string(buffer);
                    });
}

TEST_F(LantrixNodeHandleTest, LinkingMakesFramesPathsAndFormatStale) {
    const std::string paths = "GetFramePaths n1 " + thisHost + " 0 unknown";
    const std::string link =
        "SetFramePaths n1  " + thisHost + " 0 unknown 1 2 3 4 5 6 7 t 4 u \"v\"";
    remote.commands({call("GetFrames n1", "ok f1"), clipFormat, call("QueryVersion ", "ok 2 6"),
                     call(paths, "ok /f"), call(link, "ok "), call("GetFrames n1", "ok f1,f2"),
                     clipFormat, call(paths, "error Gone")});
    LantrixClipFormat known;
    const auto askAll = [&] {
        EXPECT_TRUE(node.getNumFrames(number) && node.getClipFormat(known));
        return node.getFrameIdPath(0, text);
    };
    EXPECT_TRUE(askAll());
    EXPECT_TRUE(node.linkToFrames(nullptr, -1));
    EXPECT_FALSE(askAll());
    EXPECT_EQ(2, number);
}

TEST_F(LantrixNodeHandleTest, AllocatedFramesAreKnownAndTheFormatIsAskedAgain) {
    remote.commands({call("GetFrames n1", "ok old"), clipFormat,
                     call("AllocateFrames n1 2 1 2 3 4 5 6 7 t 4 u \"v\"", "ok f1,f2"), clipFormat,
                     call("AllocateFrames n1 -1 1 2 3 4 5 6 7 t 4 u \"v\"", "error Negative"),
                     call("GetFrames n1", "ok f1,f2,f3")});
    EXPECT_TRUE(node.getNumFrames(number));
    EXPECT_TRUE(node.setNumFrames(2));
    EXPECT_TRUE(node.getNumFrames(number));
    EXPECT_EQ(2, number);
    EXPECT_TRUE(node.getFrameId(0, text) && is(text, "f1"));
    EXPECT_FALSE(node.setNumFrames(-1));
    EXPECT_TRUE(node.getNumFrames(number)); // what the server holds now is not known
    EXPECT_EQ(3, number);
}

TEST_F(LantrixNodeHandleTest, FirstAndLastFrameAndWritesAnnounceNothing) {
    const auto request = [](const std::string& name, const std::string& payload) {
        return expect(name + nul + "5" + nul + payload);
    };
    remote.commands({call("GetFrames n1", "ok f0,f1,f2"), clipFormat});
    remote.frames({request("ReadFrame" + nul + "f0", ""), reply(nul + "bytes"),
                   request("ReadFrame" + nul + "f2", ""), reply(nul + "more."),
                   request("WriteFrame" + nul + "f1", "more."), reply("Disk full" + nul)});
    char buffer[6] = {};
    EXPECT_TRUE(node.readFrame(0, buffer, 5) && is(buffer, "bytes"));
    EXPECT_TRUE(node.readFrame(2, buffer, 5) && is(buffer, "more."));
    EXPECT_FALSE(node.writeFrame(1, buffer, 5));
    EXPECT_STREQ("Disk full", node.lastError());
}

TEST_F(LantrixNodeHandleTest, MetaDataIsAskedEveryTimeWithoutAVersion) {
    remote.commands({call("GetMetaData n1 xml * 2", "ok <a>\\t\\\\"),
                     call("GetMetaData n1 xml * 2", "error No stream")});
    EXPECT_TRUE(node.getMetaData("xml", "*", 2, text));
    EXPECT_STREQ("<a>\t\\", text);
    EXPECT_FALSE(node.getMetaData("xml", "*", 2, text));
    EXPECT_STREQ("<a>\t\\", text);
    EXPECT_STREQ("No stream", node.lastError());
}

TEST_F(LantrixNodeHandleTest, FirstChildOfThatNameIsFound) {
    remote.commands({call("GetNodeType b", "ok 1 0"), call("GetNodeTypeStr b", "ok clip"),
                     call("GetChildren n1", "ok a,X,b,x,c,x"), call("GetNodeType b", "ok 0 1"),
                     call("GetNodeTypeStr b", "ok reel"), call("GetChildren n1", "ok a,X"),
                     call("GetChildren n1", "ok "), call("GetChildren n1", "error Busy")});
    child = LantrixNodeHandle(server, "b");
    bool isClip = false;
    EXPECT_FALSE(LantrixFindChild(node, nullptr, child));
    EXPECT_TRUE(child.getIsClipNode(isClip) && isClip);
    EXPECT_TRUE(LantrixFindChild(node, "x", child));
    EXPECT_STREQ("b", child.getNodeId().id());
    EXPECT_TRUE(child.getIsClipNode(isClip) && !isClip) << "what was known of it is gone";
    EXPECT_FALSE(LantrixFindChild(node, "nobody", child));
    EXPECT_STREQ("a", child.getNodeId().id()); // the last one examined
    EXPECT_FALSE(LantrixFindChild(node, "nobody", child));
    EXPECT_STREQ("", server.lastError());
    EXPECT_STREQ("a", child.getNodeId().id());
    EXPECT_FALSE(LantrixFindChild(node, "x", node));
    EXPECT_STREQ("Busy", server.lastError());
}

TEST(LantrixDisplayPath, LeadsFromTheRootByNames) {
    const struct {
        const char* path;
        std::vector<const char*> asked;
        const char *last, *id;
        bool found;
    } cases[] = {{"", {}, "", "r", true},
                 {"/", {}, "", "r", true},
                 {"/A/B", {"r", "a"}, "", "b", true},
                 {"A//./B///", {"r", "a"}, "", "b", true},
                 {"A\\B", {"r", "a"}, "", "b", true},
                 {"/A/b", {"r", "a"}, "", "b", false},
                 {"/a", {"r"}, "", "a", false}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.path);
        ScriptedServer remote;
        const LantrixServerHandle server(remote.host());
        LantrixNodeHandle node;
        Script script = {call("GetRootNode ", "ok r")};
        for (const std::string parent : each.asked)
            script.push_back(call("GetChildren " + parent, parent == "r" ? "ok a,A" : "ok b,B"));
        remote.commands(script);
        EXPECT_EQ(each.found, LantrixResolveDisplayPath(server, each.path, node));
        EXPECT_STREQ(each.id, node.getNodeId().id());
        EXPECT_STREQ("", server.lastError());
    }
}

TEST_F(LantrixNodeHandleTest, RootThatCannotBeAskedLeavesTheResult) {
    remote.commands({call("GetRootNode ", "error No root")});
    EXPECT_TRUE(LantrixResolveDisplayPath(server, "/a", node));
    EXPECT_STREQ("No root", server.lastError());
    EXPECT_STREQ("n1", node.getNodeId().id());
}

TEST_F(LantrixNodeHandleTest, CrowdedDirectoryIsAskedOnceAndSearchedInLinearTime) {
    std::string children = "ok ";
    for (int i = 0; i < 100000; ++i)
        children += "id" + std::to_string(i) + ",name" + std::to_string(i) + ",";
    remote.commands({call("GetRootNode ", "ok r"), call("GetChildren r", children),
                     call("GetChildren id99999", "ok z,Z")});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(LantrixResolveDisplayPath(server, "/name99999/Z", node));
    EXPECT_STREQ("z", node.getNodeId().id());
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(30)); // sanitizers included
}

} // namespace
