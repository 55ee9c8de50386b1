// The services and connections below the handles: odd replies, bounds, and exceptions.
#include "base/loggerBase/src/CoException.h"
#include "lantrix/LantrixTextList.h"
#include "tests/support/WireOperations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <sys/socket.h>

namespace {

const std::string nul(1, '\0');

class LantrixServicesTest : public testing::Test {
protected:
    ScriptedServer server;
    Services services{server.host()};
};

TEST(LantrixServices, OddRepliesGiveWhatTheyHold) {
    const struct {
        const char *operation, *reply, *outputs;
    } cases[] = {
        {"queryVersion", "ok 7", "numbers=7,-1;"},
        {"queryVersion", "ok x 4", ""},
        {"queryVersion", "ok 99999999999 4", ""},
        {"queryNodePlugInVersion", "ok 2", "numbers=2,-1;"},
        {"translatePaths", "ok /u", "paths=/u,kept;"},
        {"translatePaths", "ok ,,/u,,/v,/w,/x", "paths=/u,/v;"},
        {"translatePaths", "ok", ""},
        {"getRootNode", "ok", "id=;"},
        {"getChildren", "ok a,b,c", "children=a:b;"},
        {"getChildren", "ok a,,c,d", "children=a:,c:d;"},
        {"getChildren", "ok ,", "children=:;"},
        {"getChildren", "ok ", "children=;"},
        {"getNodeType", "ok 3", "type=3;"},
        {"getNodeType", "ok 257 -5", "type=1;numbers=-5,-1;"},
        {"getNodeType", "ok 2147483647 -2147483648", "type=255;numbers=-2147483648,-1;"},
        {"getNodeType", "ok", "type=0;"},
        {"allocateFrames", "ok ", ""},
        {"queryMetaDataSupport", "ok ", "list=;"},
        {"getClipFormat", "ok", "format=0 0 0 0 0 0 0  0  ;"},
        {"getClipFormat", "ok 720", "format=720 0 0 0 0 0 0  0  ;"},
        {"getClipFormat", "ok 1 2 3 4 5 1,5 25 t 4 u v", "format=1 2 3 4 5 1 0  0  ;"},
        {"getClipFormat", "ok 1 2 3 4 5 6 7 t 260 u  v  w ", "format=1 2 3 4 5 6 7 t 4 u v  w ;"},
        {"getDisplayName", "ok", "text=;"}};
    for (const auto& each : cases) {
        SCOPED_TRACE(std::string(each.operation) + " " + each.reply);
        const WireOperation& operation = wireOperation(each.operation);
        ScriptedServer server;
        Services services(server.host());
        server.commands({expect(operation.request), reply(std::string(each.reply) + "\n")});
        EXPECT_TRUE(operation.run(services)) << services.error;
        EXPECT_EQ(each.outputs, services.outputs());
    }
}

// Commas at random places, in texts of as many bytes as are looked at together and more or fewer.
TEST(LantrixTextList, FindsTheCommasWhereverTheyAre) {
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 300; ++size) {
        std::string text;
        while (text.size() < size)
            text.push_back(random() % 3 == 0 ? ',' : '\xAC'); // a comma but for its highest bit
        std::vector<std::string> pieces, items;
        std::istringstream stream(text + ",");
        for (std::string piece; std::getline(stream, piece, ','); pieces.push_back(piece))
            if (!piece.empty())
                items.push_back(piece);
        const LantrixTextList list(text, LantrixTextList::Form::Items, [] {});
        const LantrixTextList pairs(text, LantrixTextList::Form::Pairs, [] {});
        ASSERT_EQ(items.size(), list.size()) << text;
        ASSERT_EQ(pieces.size() / 2, pairs.size()) << text;
        for (std::size_t i = 0; i < items.size(); ++i)
            ASSERT_EQ(items[i], list[i]);
        for (std::size_t i = 0; i < pairs.size(); ++i)
            ASSERT_EQ(pieces[2 * i] + "," + pieces[2 * i + 1],
                      pairs[i] + std::string(",") + pairs.second(i));
    }
}

TEST(LantrixTextList, LooksForAStopWhileItIsLong) {
    for (const auto form : {LantrixTextList::Form::Items, LantrixTextList::Form::Pairs}) {
        int checks = 0;
        EXPECT_THROW(LantrixTextList(std::string(1 << 20, ','), form,
                                     [&] { ++checks == 5 ? throw checks : void(); }),
                     int);
        EXPECT_EQ(5, checks);
    }
}

TEST_F(LantrixServicesTest, ClipFormatTextsAreBounded) {
    const std::string tag(256, 't'), metaData(4096, 'm');
    server.commands(
        {call("GetClipFormat n1", "ok 1 2 3 4 5 6 7 " + tag + " 4 " + tag + " " + metaData)});
    EXPECT_TRUE(services.nodes.getClipFormat("n1", services.format));
    EXPECT_EQ(tag.substr(1), services.format.metaDataTag());
    EXPECT_EQ(metaData.substr(1), services.format.metaData());
    EXPECT_EQ(4, services.format.scanFormat());
}

TEST_F(LantrixServicesTest, RequestsAreCutAtTheirBounds) {
    const std::string host = LantrixOS::getHostName().c_str();
    const std::string fields = " 1 1 24 3 1 1 30 tag 0 ";
    const std::string many(3000, 'x');
    const auto cut = [](const std::string& text, std::size_t length) {
        return text.substr(0, length);
    };
    LantrixClipFormat format;
    format.setFormatTag("tag");
    format.setMetaDataTag(many.c_str());
    LantrixNodeClientAPI& nodes = services.nodes;
    server.commands({call("CreateNode " + cut("n1 \"" + many, 511), "ok n2"),
                     call("GetFramePaths " + cut(many + " " + host, 511), "ok "),
                     call("GetMetaData " + cut("n1 xml " + many, 1023), "ok "),
                     call("AllocateFrames " + cut("n1 2" + fields + many, 2047) + "\"\"", "ok "),
                     call("SetFramePaths n1 " + many + "," +
                              cut(" " + host + " 0 unknown" + fields + many, 2047) + "\"\"",
                          "ok "),
                     call("TranslatePaths " + cut("\"" + many, 1023) + "\"kept\"", "ok "),
                     call("SetMetaData n1 xml \"" + many + "\"", "ok ")});
    EXPECT_TRUE(
        nodes.createNode("n1", many.c_str(), LantrixNodeInterface::PlainNode, "R8", services.id));
    EXPECT_TRUE(nodes.getFramePaths(many.c_str(), services.list));
    EXPECT_TRUE(nodes.getMetaData("n1", "xml", many.c_str(), 1, services.text));
    EXPECT_TRUE(nodes.allocateFrames("n1", 2, format, services.frameIds));
    EXPECT_TRUE(nodes.setFramePaths("n1", {many, ""}, format));
    EXPECT_TRUE(services.base.translatePaths(&services.paths[0], services.paths, 1, many.c_str(),
                                             "b", LantrixOS::Irix, LantrixOS::Irix));
    EXPECT_TRUE(nodes.setMetaData("n1", "xml", many.c_str()));
}

TEST_F(LantrixServicesTest, NullTextsTravelAsEmptyOnes) {
    server.commands({call("CreateNode  \"\" 7 ", "ok n2"), call("GetMetaData n1   -1", "ok "),
                     call("SetMetaData n1  \"\"", "ok ")});
    const char* const null = nullptr;
    const auto type = LantrixNodeInterface::NodeType(7);
    EXPECT_TRUE(services.nodes.createNode(null, null, type, null, services.id));
    EXPECT_TRUE(services.nodes.getMetaData("n1", null, null, -1, services.text));
    EXPECT_TRUE(services.nodes.setMetaData("n1", null, null));
}

TEST_F(LantrixServicesTest, IdWithACommaIsRefusedBeforeAnythingIsSent) {
    const std::string longId = "," + std::string(200, 'x');
    services.node = LantrixNodeId("a,b");
    int refused = 0;
    for (const WireOperation& operation : wireOperations()) { // others find no server
        EXPECT_FALSE(operation.run(services));
        refused += services.error == "Invalid node id: 'a,b'." ? 1 : 0;
        EXPECT_EQ("", services.outputs());
    }
    EXPECT_EQ(14, refused);
    EXPECT_FALSE(services.nodes.destroyNode(longId.c_str()));
    EXPECT_EQ(("Invalid node id: '" + longId).substr(0, 127), services.nodes.lastError());
}

// Runs what must throw and tells the exception as "LINE FILE: TEXT".
std::string thrownBy(const std::function<void()>& operation) {
    try {
        operation();
        return "nothing";
    } catch (const CoException& failure) {
        return std::to_string(failure.line()) + " " + failure.file() + ": " + failure.what();
    }
}

TEST_F(LantrixServicesTest, ConnectionsThrowWithTheirPlace) {
    const ScriptedServer closed;
    Services dead(closed.host());
    const std::string refused =
        std::string("Can't open connection to host '") + closed.host() + "': 'Connection refused'";
    const auto ping = [](Services& on) {
        return thrownBy([&] { on.commands.request("Ping", ""); });
    };
    server.commands({call("Ping ", "error Busy"), call("Ping ", "ok ")});
    EXPECT_EQ("52 lantrix/LantrixBaseInterface: Busy", ping(services));
    EXPECT_EQ("nothing", ping(services));
    EXPECT_EQ("46 lantrix/LantrixBaseInterface: " + refused, ping(dead));
    EXPECT_EQ("62 lantrix/LantrixFrameInterface: " + refused,
              thrownBy([&] { dead.frames.write("x", 1); }));
    server.frames({expect("WriteFrame" + nul + "f1" + nul + "1" + nul + "x"), reply("Full" + nul),
                   expect("ReadFrame" + nul + "f1" + nul + "1" + nul), reply("Lost" + nul)});
    EXPECT_EQ("141 lantrix/LantrixFrameClientAPI: Full",
              thrownBy([&] { services.frameService.writeFrame("f1", "x", 1); }));
    EXPECT_EQ("73 lantrix/LantrixFrameClientAPI: Lost",
              thrownBy([&] { services.frameService.readFrame("f1", services.frame.data(), 1); }));
}

TEST(LantrixConnections, FrameFailuresNameTheirPlaceAndDropTheConnection) {
    const std::string place = " lantrix/LantrixFrameInterface: ";
    ScriptedServer server;
    LantrixRawDataClientConnection frames(server.host(), 7550, 0, 0);
    char buffer[4];
    server.frames({reply("abc"), halfClose, awaitClose, awaitClose, expect("x"), reset, awaitClose,
                   awaitClose});
    const auto read = [&](int size) { return thrownBy([&] { frames.read(buffer, size); }); };
    EXPECT_EQ("124" + place + "Connection closed", read(4));
    EXPECT_FALSE(frames.isConnected());
    EXPECT_EQ("124" + place + "Connection closed", read(0));
    EXPECT_EQ(1, frames.write("x", 1)); // and connects again
    EXPECT_EQ("135" + place + "Cannot read data on socket: Connection reset by peer", read(1));
    EXPECT_EQ("135" + place + "Cannot read a negative number of bytes", read(-1));
    EXPECT_EQ("104" + place + "Cannot write a negative number of bytes",
              thrownBy([&] { frames.write(buffer, INT_MIN); }));
    EXPECT_FALSE(frames.isConnected());
}

// The system sends what it holds back after 200 ms at the latest.
TEST_F(LantrixServicesTest, AnnouncementIsNotHeldBack) {
    const Step announced = expect("ReadAhead" + nul + "f1" + nul + "3" + nul);
    server.frames({announced, gate, announced, gate, announced, gate});
    auto soonest = std::chrono::steady_clock::duration::max();
    for (int i = 0; i < 3; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        services.frameService.readAhead("f1", 3);
        server.awaitGate();
        soonest = std::min(soonest, std::chrono::steady_clock::now() - begin);
        server.openGate();
    }
    EXPECT_LT(soonest, std::chrono::milliseconds(150));
}

#ifdef MSG_MORE
TEST_F(LantrixServicesTest, WordOfARequestWaitsForThoseBehindIt) {
    LantrixRawDataClientConnection frames(server.host(), 7550, 0, 0);
    server.frames({expect("a"), gate});
    const auto begin = std::chrono::steady_clock::now();
    frames.writePart("a", 1);
    server.awaitGate();
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
    server.openGate();
}
#endif

TEST_F(LantrixServicesTest, OddSizesAreSentAsTheyAreAndThenFail) {
    const auto tokens = [](const std::string& name, const char* size) {
        return expect(name + nul + "f1" + nul + size + nul);
    };
    LantrixFrameClientAPI& service = services.frameService;
    char canary[4] = "abc";
    server.frames({tokens("WriteFrame", "-1"), awaitClose, tokens("ReadFrame", "-1"), reply(nul),
                   awaitClose, tokens("ReadFrame", "0"), reply(nul), awaitClose,
                   tokens("WriteFrame", "0"), reply(nul), tokens("ReadAhead", "-2147483648")});
    EXPECT_NE("nothing", thrownBy([&] { service.writeFrame("f1", canary, -1); }));
    EXPECT_NE("nothing", thrownBy([&] { service.readFrame("f1", canary, -1); }));
    EXPECT_EQ("124 lantrix/LantrixFrameInterface: Connection closed",
              thrownBy([&] { service.readFrame("f1", canary, 0); }));
    EXPECT_STREQ("abc", canary);
    EXPECT_EQ(1, service.writeFrame("f1", canary, 0));
    EXPECT_EQ(12, service.readAhead("f1", INT_MIN));
}

} // namespace
