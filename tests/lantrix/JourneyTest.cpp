// The journey of an application, against a server that keeps what it acknowledges.
#include "devserver/DevServer.h"
#include "lantrix/LantrixClientAPI.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class JourneyTest : public testing::Test {
protected:
    JourneyTest() { restart(); }

    void restart() {
        remote.reset();
        DevServerOptions options;
        options.root = folder + "/root";
        options.listen = host;
        remote = std::make_unique<DevServer>(options);
    }

    const ScratchDirectory scratch; // outlives the server
    const std::string folder = scratch.path(), host = ScriptedServer().host();
    std::unique_ptr<DevServer> remote;
};

const LantrixClipFormat smallClip(2, 2, 24, 3, 12, 25.0F, 1.0F, LantrixClipFormat::Progressive,
                                  "rgb", "xml", "a \"b\"");

TEST_F(JourneyTest, ClipWithItsFramesAndMetaDataOutlivesTheServer) {
    LantrixServerHandle server(host.c_str());
    LantrixNodeHandle root, reel, clip, found(server, "");
    ASSERT_TRUE(server.getRootNode(root)) << server.lastError();
    ASSERT_TRUE(root.createNode("Reel 1", "Reel", reel)) << server.lastError();
    ASSERT_TRUE(reel.createClipNode("Shot", smallClip, "Clip", clip)) << server.lastError();
    EXPECT_TRUE(clip.setNumFrames(3)) << server.lastError();
    EXPECT_TRUE(clip.setMetaData("notes", "say \"cut\"\n\tto \\ black"));
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(clip.writeFrame(i, std::string(12, static_cast<char>('a' + i)).data(), 12));
    restart();
    char frame[13] = {};
    int calls = 0;
    while (!(server.ping() && clip.readFrame(0, frame, 12)) && calls < 4)
        ++calls; // the connections are found broken, and then opened anew
    LantrixStr notes;
    LantrixClipFormat format;
    int frames = 0;
    ASSERT_TRUE(LantrixResolveDisplayPath(server, "/Reel 1//Shot", found)) << server.lastError();
    EXPECT_STREQ(clip.getNodeId().id(), found.getNodeId().id());
    EXPECT_TRUE(found.getMetaData("notes", "", 0, notes)) << server.lastError();
    EXPECT_STREQ("say \"cut\"\n\tto \\ black", notes);
    EXPECT_TRUE(found.getNumFrames(frames) && found.getClipFormat(format));
    EXPECT_EQ(25.0F, format.frameRate());
    for (int i = 0; i < frames; ++i) {
        EXPECT_TRUE(found.readFrame(i, frame, 12)) << server.lastError();
        EXPECT_EQ(std::string(12, static_cast<char>('a' + i)), frame);
    }
    EXPECT_EQ(3, frames);
    EXPECT_TRUE(found.destroyNode());
    EXPECT_FALSE(LantrixResolveDisplayPath(server, "/Reel 1/Shot", clip));
}

} // namespace
