// Server handles: what they ask and keep, copies, and handles without a server.
#include "base/loggerBase/src/CoMsg.h"
#include "lantrix/LantrixClientAPI.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using testing::Eq;

const std::string nul(1, '\0');

class LantrixServerHandleTest : public testing::Test {
protected:
    ScriptedServer remote;
    LantrixServerHandle server{remote.host()};
    LantrixStr text = "unchanged";
    int major = -1, minor = -1;
};

TEST_F(LantrixServerHandleTest, PlugInIsAskedAnewEveryTime) {
    remote.commands({call("QueryNodePlugInVendor ", "ok A"), call("QueryNodePlugInVendor ", "ok B"),
                     call("QueryNodePlugInProduct ", "ok P"),
                     call("QueryNodePlugInVersion ", "ok 4 2"), call("Ping ", "ok ")});
    EXPECT_TRUE(LantrixClientInit());
    EXPECT_TRUE(server.getVendor(text) && server.getVendor(text) && text == LantrixStr("B"));
    EXPECT_TRUE(server.getProduct(text) && text == LantrixStr("P"));
    EXPECT_TRUE(server.getVersion(major, minor));
    EXPECT_EQ(42, major * 10 + minor);
    EXPECT_TRUE(server.ping());
    LantrixClientUninit();
}

TEST_F(LantrixServerHandleTest, ProtocolVersionIsAskedOnceUnlessItsMajorIsZero) {
    remote.commands({call("QueryVersion ", "ok 0 9"), call("QueryVersion ", "error Not yet"),
                     call("QueryVersion ", "ok 2 5")});
    EXPECT_TRUE(server.getProtocolVersion(major, minor));
    EXPECT_EQ(9, major * 10 + minor);
    EXPECT_FALSE(server.getProtocolVersion(major, minor));
    EXPECT_EQ(9, major * 10 + minor);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(server.getProtocolVersion(major, minor));
        EXPECT_EQ(25, major * 10 + minor);
    }
    EXPECT_STREQ("Not yet", server.lastError());
}

TEST_F(LantrixServerHandleTest, StorageIdThatCouldNotBeToldIsAskedAgain) {
    remote.commands({call("QueryVersion ", "ok 2 6"), call("GetStorageId ", "error Busy"),
                     call("GetStorageId ", "ok store")});
    EXPECT_FALSE(server.getStorageId(text));
    EXPECT_STREQ("Busy", server.lastError());
    EXPECT_STREQ("unchanged", text);
    for (int i = 0; i < 2; ++i, text = "asked once") {
        EXPECT_TRUE(server.getStorageId(text));
        EXPECT_STREQ("store", text);
    }
}

TEST_F(LantrixServerHandleTest, PathsAreTranslatedFromAndToThisServerUnlessToldOtherwise) {
    const std::string self = std::string("\"") + remote.host() + "\"";
    const LantrixStr path("/a");
    remote.commands({call("TranslatePaths " + self + " 1 " + self + " 3 \"/a\"", "ok /b"),
                     call("TranslatePaths \"h\" 1 \"i\" 3 ", "ok /c")});
    const auto translate = [&](const char* from, const char* to, int count) {
        return server.translatePaths(&path, &text, count, from, to, LantrixOS::Irix,
                                     LantrixOS::WindowsNT);
    };
    EXPECT_TRUE(translate(nullptr, nullptr, 1));
    EXPECT_TRUE(translate("h", "i", -1));
    EXPECT_STREQ("/b", text);
    EXPECT_FALSE(translate("", "", 1));
    EXPECT_STREQ("Invalid source host name given", server.lastError());
    EXPECT_FALSE(translate("h", "", 1));
    EXPECT_STREQ("Invalid destination host name given", server.lastError());
}

TEST_F(LantrixServerHandleTest, CopyStartsAnewOnTheSameHost) {
    remote.commands({call("QueryVersion ", "ok 2 4"), call("Ping ", "error Busy"), awaitClose,
                     call("QueryVersion ", "ok 2 6")});
    auto first = std::make_unique<LantrixServerHandle>(remote.host());
    EXPECT_TRUE(first->getProtocolVersion(major, minor));
    EXPECT_FALSE(first->ping());
    const LantrixServerHandle copy(*first);
    EXPECT_STREQ("", copy.lastError());
    first.reset();
    EXPECT_STREQ(remote.host(), copy.getHostName());
    EXPECT_TRUE(copy.getProtocolVersion(major, minor));
    EXPECT_EQ(6, minor);
}

TEST_F(LantrixServerHandleTest, LastErrorOutlivesSuccessAndIsSharedWithNodes) {
    remote.commands({call("GetRootNode ", "error No root"), call("GetRootNode ", "ok r")});
    LantrixNodeHandle node(server, "before");
    EXPECT_FALSE(server.getRootNode(node));
    EXPECT_STREQ("before", node.getNodeId().id());
    EXPECT_TRUE(server.getRootNode(node));
    EXPECT_STREQ("r", node.getNodeId().id());
    EXPECT_EQ(&server, &node.getServer());
    EXPECT_STREQ("No root", node.lastError());
}

TEST(LantrixServerHandle, NullHostIsTheEmptyHost) {
    LantrixServerHandle server(nullptr);
    char byte = 0;
    EXPECT_STREQ("", server.getHostName());
    EXPECT_FALSE(server.ping());
    EXPECT_FALSE(server.readFrame(nullptr, &byte, 1));
    EXPECT_STREQ("Unknown host ''", server.lastError());
}

TEST_F(LantrixServerHandleTest, StopEndsCallsOfBothConnections) {
    const char byte = 'x';
    remote.commands({expect("sync 0 Ping \n"), gate, awaitClose});
    remote.frames({expect("WriteFrame" + nul + "f1" + nul + "1" + nul + byte), gate, awaitClose});
    for (const auto& call :
         {std::function<bool()>([&] { return server.ping(); }),
          std::function<bool()>([&] { return server.writeFrame("f1", &byte, 1); })}) {
        auto running = std::async(std::launch::async, call);
        for (int i = 0; i < 500 && running.wait_for(std::chrono::milliseconds(100)) !=
                                       std::future_status::ready;
             ++i)
            server.stop();
        remote.openGate(); // whatever still waits then ends
        EXPECT_FALSE(running.get());
        EXPECT_NE(std::strstr(server.lastError(), "stopped"), nullptr) << server.lastError();
    }
}

// Overwrites the state's pointer, the last thing that a handle holds; in a death test's process
// only.
template <class Handle>
void loseState(Handle& handle) {
    std::memset(reinterpret_cast<char*>(&handle + 1) - sizeof(void*), 0, sizeof(void*));
}

TEST(LantrixHandles, NullStateAborts) {
    const char* const text = "lantrix/LantrixClientAPI:1117: failed assertion `imp_ != 0'\n";
    LantrixServerHandle server("");
    LantrixNodeHandle node(server, "n1");
    int count = 0;
    EXPECT_DEATH((loseState(server), server.ping()), Eq(text));
    EXPECT_DEATH((loseState(server), server.stop()), Eq(text));
    EXPECT_DEATH((loseState(server), node.getNumChildren(count)), Eq(text));
    EXPECT_DEATH((loseState(node), node.getNumChildren(count)), Eq(text));
    EXPECT_DEATH((loseState(node), node.getNodeId()), Eq(text));
}

// A handle of the application that lives from before main() until after it, and is used there.
struct EarlyAndLate {
    EarlyAndLate() : failed(!server.ping()) {}
    ~EarlyAndLate() {
        if (std::getenv("TELL_AT_EXIT") == nullptr)
            return;
        std::fflush(stdout);
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
        CoMsg::postError("%d %s", server.ping() ? 1 : 0, server.lastError());
    }
    LantrixServerHandle server{""};
    LantrixNodeHandle node; // on the library's own static server
    bool failed;
};
EarlyAndLate earlyAndLate;

TEST(LantrixHandles, WorkAndLogDuringStaticConstructionAndDestruction) {
    EXPECT_TRUE(earlyAndLate.failed);
    EXPECT_STREQ("", earlyAndLate.node.getServer().getHostName());
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    ::setenv("TELL_AT_EXIT", "", 1);
    EXPECT_EXIT(std::exit(0), testing::ExitedWithCode(0), Eq("0 Unknown host ''\n"));
    ::unsetenv("TELL_AT_EXIT");
}

TEST(LantrixHandles, WithoutAServerServeEachThreadForItself) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong(0);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([i, &wrong] {
            LantrixServerHandle down(""); // whose root can't be asked: the node keeps its own
            LantrixNodeHandle node;
            wrong += LantrixResolveDisplayPath(down, "/a", node) ? 0 : 1;
            const std::string id = std::to_string(i) + ",";
            node.setNodeId(id.c_str());
            int count = 0;
            for (int round = 0; round < 10000; ++round)
                if (node.getNumChildren(count) ||
                    node.lastError() != "Invalid node id: '" + id + "'.")
                    ++wrong;
            node.setNodeId("n1");
            if (node.getNumChildren(count) || node.lastError() != std::string("Unknown host ''"))
                ++wrong;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
}

TEST_F(LantrixServerHandleTest, FlatFunctionsBuildAndDestroyObjects) {
    remote.commands({call("GetRootNode ", "ok r")});
    LantrixServerHandle* const flat = LantrixServerHandle::LantrixServerHandle_new(remote.host());
    LantrixNodeId* const id = LantrixNodeId::LantrixNodeId_new("n1");
    LantrixNodeHandle* const nodes[] = {LantrixNodeHandle::LantrixNodeHandle_new(),
                                        LantrixNodeHandle::LantrixNodeHandle_new(*flat, "n2"),
                                        LantrixNodeHandle::LantrixNodeHandle_new(*flat, *id),
                                        nullptr};
    EXPECT_STREQ("n1", nodes[2]->getNodeId().id());
    EXPECT_EQ(flat, &nodes[1]->getServer());
    EXPECT_TRUE(getRootNode__(flat, nodes[0]));
    EXPECT_STREQ("r", nodes[0]->getNodeId().id());
    ::raise(SIGPIPE);
    ::raise(SIGPIPE); // the handler is still installed
    for (LantrixNodeHandle* const node : nodes)
        LantrixNodeHandle::LantrixNodeHandle_delete(node);
    for (LantrixServerHandle* const each : {flat, static_cast<LantrixServerHandle*>(nullptr)})
        LantrixServerHandle::LantrixServerHandle_delete(each);
    for (LantrixNodeId* const each : {id, static_cast<LantrixNodeId*>(nullptr)})
        LantrixNodeId::LantrixNodeId_delete(each);
    for (LantrixStr* const each :
         {LantrixStr::LantrixStr_new("text"), static_cast<LantrixStr*>(nullptr)})
        LantrixStr::LantrixStr_delete(each);
    LantrixClipFormat::LantrixClipFormat_delete(LantrixClipFormat::LantrixClipFormat_new());
    LantrixClipFormat::LantrixClipFormat_delete(nullptr);
}

} // namespace
