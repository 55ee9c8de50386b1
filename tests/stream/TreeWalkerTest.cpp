// The walker: the order of one connection, details, bounds, and ids that come back.
#include "stream/TreeWalker.h"
#include "tests/stream/CancelMoments.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

namespace {

using lantrix::Pool;
using lantrix::TreeWalker;
using lantrix::WalkedNode;
using lantrix::WalkOptions;
using Order = lantrix::WalkOptions::Order;
using Lines = std::vector<std::string>;

std::string lineOf(const std::string& id, const std::string& name, int depth, int children) {
    return id + " " + name + " " + std::to_string(depth) + " " + std::to_string(children);
}

// What one connection meets.
void meet(const LantrixNodeHandle& node, Order order, int depth, Lines& lines) {
    LantrixStr name;
    int children = 0;
    ASSERT_TRUE(node.getDisplayName(name) && node.getNumChildren(children)) << node.lastError();
    const std::string line = lineOf(node.getNodeId().id(), name.c_str(), depth, children);
    if (order == Order::ParentFirst)
        lines.push_back(line);
    for (int i = 0; i < children; ++i) {
        LantrixNodeHandle child;
        ASSERT_TRUE(node.getChild(i, child));
        meet(child, order, depth + 1, lines);
    }
    if (order == Order::ChildrenFirst)
        lines.push_back(line);
}

class Walk : public ::testing::Test {
protected:
    Walk() {
        EXPECT_TRUE(server.handle().getRootNode(root));
        for (int i = 0; i < 5; ++i) {
            LantrixNodeHandle folder, inner, leaf;
            EXPECT_TRUE(root.createNode(("folder" + std::to_string(i)).c_str(), "folder", folder));
            for (int j = 0; j < 6; ++j) {
                EXPECT_TRUE(folder.createNode(("n" + std::to_string(j)).c_str(), "folder", inner));
                for (int k = 0; k < i * j; ++k)
                    EXPECT_TRUE(inner.createNode("leaf", "folder", leaf)) << leaf.lastError();
            }
        }
    }

    StreamServer server;
    LantrixNodeHandle root;
};

Lines walk(Pool& pool, const LantrixNodeHandle& from, const WalkOptions& options) {
    TreeWalker walker(pool, from.getNodeId().id(), options);
    Lines lines;
    while (const std::optional<WalkedNode> node = walker.next()) {
        EXPECT_FALSE(node->failure) << node->failure.text;
        lines.push_back(lineOf(node->id, node->name, node->depth, node->children));
    }
    return lines;
}

TEST_F(Walk, GivesOutWhatOneConnectionMeetsWhateverBreaks) {
    Relayed relayed(server);
    for (const Order order : {Order::ParentFirst, Order::ChildrenFirst}) {
        Lines expected;
        meet(LantrixNodeHandle(server.handle(), root.getNodeId()), order, 0, expected);
        ASSERT_LT(150U, expected.size());
        WalkOptions options;
        options.order = order;
        for (const unsigned connections : {1U, 4U}) {
            Pool pool(server.host(), connections);
            EXPECT_EQ(expected, walk(pool, root, options));
        }
        Pool pool(relayed.host(), 4);
        TreeWalker walker(pool, root.getNodeId().id(), options);
        Lines lines;
        while (const std::optional<WalkedNode> node = walker.next()) {
            lines.push_back(lineOf(node->id, node->name, node->depth, node->children));
            if (lines.size() % 20 == 1)
                relayed.relay.arm({Channel::Command, Side::Reply, Fault::Close, lines.size() % 3});
        }
        EXPECT_EQ(expected, lines);
    }
}

TEST_F(Walk, TellsTheDetailsThatWereAskedFor) {
    const LantrixNodeHandle clip = server.clip(7);
    EXPECT_TRUE(clip.setMetaData("notes", "text")) << clip.lastError();
    LantrixNodeHandle reel;
    ASSERT_TRUE(LantrixResolveDisplayPath(server.handle(), "/Reel", reel));
    WalkOptions options;
    options.formats = options.frames = options.streams = true;
    Pool pool(server.host(), 2);
    const std::size_t before = server.logged("GetChildren").size();
    TreeWalker walker(pool, reel.getNodeId().id(), options);
    const WalkedNode folder = *walker.next(), found = *walker.next();
    EXPECT_FALSE(walker.next());
    EXPECT_EQ(1U, server.logged("GetChildren").size() - before) << "a clip has no children";
    EXPECT_EQ("Reel folder", folder.name + " " + folder.kind);
    EXPECT_FALSE(folder.isClip || folder.format || folder.failure);
    EXPECT_EQ("clip clip", found.name + " " + found.kind);
    EXPECT_TRUE(found.isClip);
    EXPECT_EQ(7, found.frames);
    EXPECT_EQ(StreamServer::frameSize, found.format->frameBufferSize());
    EXPECT_EQ(Lines{"notes"}, found.streams);

    EXPECT_EQ(Kind::Refused, TreeWalker(pool, "none").next()->failure.kind);
    options.depth = 0;
    EXPECT_EQ(1U, walk(pool, reel, options).size());
}

TEST_F(Walk, EndsEarlyAndWhenItIsCancelled) {
    LantrixNodeHandle wide, child;
    EXPECT_TRUE(root.createNode("wide", "folder", wide));
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(wide.createNode("n", "folder", child));
    Pool pool(server.host(), 2);
    const std::size_t before = server.logged("GetChildren").size();
    {
        TreeWalker walker(pool, wide.getNodeId().id());
        for (int i = 0; i < 3; ++i)
            EXPECT_FALSE(walker.next()->failure);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_GE(3U + 2 * 32, server.logged("GetChildren").size() - before) << "asked too far ahead";
    TreeWalker walker(pool, wide.getNodeId().id());
    EXPECT_FALSE(walker.next()->failure);
    pool.cancel();
    std::optional<WalkedNode> last, node;
    while ((node = walker.next()))
        last = node;
    EXPECT_EQ(Kind::Stopped, last->failure.kind);
}

TEST_F(Walk, EndsWithItsPoolAtAHundredMoments) {
    Lines expected;
    meet(LantrixNodeHandle(server.handle(), root.getNodeId()), Order::ParentFirst, 0, expected);
    cancelAtAHundredMoments(server, Channel::Command, [&](Pool& pool) {
        TreeWalker walker(pool, root.getNodeId().id());
        Lines lines;
        lantrix::Failure failure;
        while (const std::optional<WalkedNode> node = walker.next()) {
            EXPECT_FALSE(failure) << "a node behind the one that was stopped";
            failure = node->failure;
            if (!failure)
                lines.push_back(lineOf(node->id, node->name, node->depth, node->children));
        }
        EXPECT_EQ(failure ? Kind::Stopped : Kind::None, failure.kind) << failure.text;
        ASSERT_TRUE(failure ? lines.size() < expected.size() : lines == expected);
        EXPECT_TRUE(std::equal(lines.begin(), lines.end(), expected.begin()));
    });
}

TEST(TreeWalker, TellsWhichQuestionFailed) {
    using Question = WalkedNode::Question;
    ScriptedServer remote;
    remote.commands({call("GetChildren a", "error none"), call("GetNodeType b", "ok 1 0"),
                     call("GetNodeTypeStr b", "ok clip"), call("GetFrames b", "error damaged"),
                     call("GetChildren c", "ok "), awaitClose});
    Pool pool(remote.host(), 1);
    WalkOptions options;
    options.frames = options.formats = true;
    options.isDescribed = [](const std::string& name) { return name == "B"; };
    TreeWalker walker(pool, {{"a", "A"}, {"b", "B"}, {"c", "C"}}, options);
    const WalkedNode a = *walker.next(), b = *walker.next(), c = *walker.next();
    EXPECT_FALSE(walker.next());
    EXPECT_TRUE(a.unanswered == Question::Children && a.failure.text == "none");
    EXPECT_TRUE(b.unanswered == Question::Frames && b.failure.text == "damaged" && b.isClip);
    EXPECT_TRUE(c.unanswered == Question::None && !c.failure);
}

TEST(TreeWalker, IdsThatComeBackInACircleAreRefused) {
    ScriptedServer remote;
    remote.commands({call("GetDisplayName a", "ok A"), call("GetChildren a", "ok b,B"),
                     call("GetChildren b", "ok c,C,a,A"), call("GetChildren c", "ok "),
                     awaitClose});
    Pool pool(remote.host(), 1);
    TreeWalker walker(pool, "a");
    Lines lines;
    while (const std::optional<WalkedNode> node = walker.next())
        lines.push_back(node->name + node->failure.text);
    EXPECT_EQ((Lines{"A", "B", "C", "A'A' is among its own ancestors."}), lines);
}

} // namespace
