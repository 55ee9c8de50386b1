// The tree and its directory: what outlasts a restart, and what is found damaged.
#include "devserver/DevTree.h"

#include "devserver/DevCheck.h"
#include "devserver/DevClipOption.h"
#include "devserver/DevError.h"
#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>

#include <sys/stat.h>
#include <unistd.h>

namespace {

LantrixClipFormat formatOf(int frameSize) {
    return LantrixClipFormat(2, 2, 8, 1, frameSize, 29.97F, 1, LantrixClipFormat::Progressive,
                             "tag", nullptr, "a \"text\"");
}

template <class Action>
std::string errorOf(Action action) {
    try {
        action();
        return "";
    } catch (const DevError& error) {
        return error.what();
    }
}

/// A tree in a directory, with one clip of three frames of four bytes.
class DevTreeTest : public testing::Test {
protected:
    DevTreeTest() {
        open();
        clip_ = tree_->createNode(DevTree::rootId(), "clip", DevNode::Clip, "7");
        tree_->allocateFrames(clip_, 3, formatOf(4));
    }

    void open() {
        tree_.reset();
        log_.clear();
        tree_ = std::make_unique<DevTree>(root_, DevSync::Descriptions, sink_);
    }
    std::string frame(int index) const { return clip_ + "-f" + std::to_string(index); }
    std::string file(const std::string& name) const {
        return root_ + "/nodes/" + clip_ + "/" + name;
    }
    void write(int index, const std::string& bytes) {
        DevAsideFile file = tree_->newFrameFile();
        file.write(bytes.data(), bytes.size());
        tree_->commitFrame(frame(index), file, bytes.size());
    }
    /// The frame's bytes, "" when it was never written.
    std::string read(int index) const {
        const DevOpenFrame opened = tree_->openFrame(frame(index));
        std::string bytes(opened.file.isOpen() ? opened.frame.size : 0, '?');
        devReadAt(opened.file, bytes.data(), bytes.size(), 0);
        return bytes;
    }

    ScratchDirectory scratch_;
    const std::string root_ = scratch_ / "root";
    std::string log() const {
        const std::lock_guard<std::mutex> lock(logMutex_);
        return log_;
    }

    mutable std::mutex logMutex_; // what was destroyed is removed by another thread
    std::string log_;             // since the last opening
    const DevLog sink_{[this](const std::string& line) {
                           const std::lock_guard<std::mutex> lock(logMutex_);
                           log_ += line + "\n";
                       },
                       false};
    std::unique_ptr<DevTree> tree_;
    std::string clip_;
};

TEST_F(DevTreeTest, EverythingIsThereAfterReopening) {
    const std::string name = "\xc3\xbc \"quoted\" \xff no UTF-8"; // valid, and not
    const std::string folder = tree_->createNode(DevTree::rootId(), name, DevNode::Plain, "folder");
    tree_->setStream(clip_, "notes", "line\n\xfe\tline");
    EXPECT_NE(contentsOf(file("node.json")).find("{\n        \"base64\": \"bGluZQr+CWxpbmU=\""),
              std::string::npos);
    write(1, "abcd");
    const std::string storage = tree_->storageId();

    open();
    EXPECT_EQ(storage, tree_->storageId());
    EXPECT_EQ(2U, tree_->children(DevTree::rootId()).size());
    EXPECT_EQ(name, tree_->node(folder)->name);
    EXPECT_EQ("line\n\xfe\tline", tree_->node(clip_)->streams.at("notes"));
    EXPECT_EQ(3U, tree_->clip(clip_)->frames);
    EXPECT_EQ("abcd", read(0) + read(1));
    const LantrixClipFormat format = tree_->clip(clip_)->format;
    EXPECT_EQ(29.97F, format.frameRate());
    EXPECT_STREQ("none", format.metaDataTag());
    EXPECT_STREQ("a \"text\"", format.metaData());
}

TEST_F(DevTreeTest, WhatAKillLeftUnfinishedIsMended) {
    const std::string parent = tree_->createNode(DevTree::rootId(), "p", DevNode::Plain, "");
    const std::string child = tree_->createNode(parent, "c", DevNode::Plain, "");
    const std::string below = tree_->createNode(child, "d", DevNode::Plain, "");
    const std::string broken = tree_->createNode(DevTree::rootId(), "b", DevNode::Plain, "");
    tree_.reset();
    writeFile(root_ + "/aside/a1", "half a frame");
    std::filesystem::create_directories(root_ + "/aside/a7/b/c");
    std::filesystem::rename(root_ + "/nodes/" + parent, root_ + "/aside/" + parent); // destroyed
    writeFile(root_ + "/nodes/" + broken + "/node.json", "{ \"parent\": 0, \"na");

    open();
    EXPECT_EQ(1U, tree_->children(DevTree::rootId()).size());
    tree_->awaitRemovals();
    EXPECT_TRUE(std::filesystem::is_empty(root_ + "/aside"));
    EXPECT_FALSE(std::filesystem::exists(root_ + "/nodes/" + child));
    EXPECT_FALSE(std::filesystem::exists(root_ + "/nodes/" + below));
    EXPECT_TRUE(std::filesystem::exists(root_ + "/nodes/" + broken)); // somebody may repair it
    EXPECT_TRUE(std::filesystem::is_empty(root_ + "/lost"));
    EXPECT_EQ("The node '" + broken + "' is", log().substr(0, 16));
}

TEST_F(DevTreeTest, TwoDestructionsOfOneSubtreeDoNotDisturbEachOther) {
    const std::string parent = tree_->createNode(DevTree::rootId(), "p", DevNode::Plain, "");
    const std::string child = tree_->createNode(parent, "c", DevNode::Plain, "");
    const std::string other = tree_->createNode(parent, "o", DevNode::Plain, "");
    std::filesystem::rename(root_ + "/nodes/" + child, root_ + "/aside/" + child); // the other's
    tree_->destroyNode(parent);
    tree_->awaitRemovals();
    EXPECT_EQ("", log());
    EXPECT_TRUE(std::filesystem::is_empty(root_ + "/aside"));
    EXPECT_FALSE(std::filesystem::exists(root_ + "/nodes/" + other));
}

TEST_F(DevTreeTest, WhatLosesItsParentIsKeptAndReturnsWithIt) {
    const std::string folder = tree_->createNode(DevTree::rootId(), "f", DevNode::Plain, "");
    const std::string inner = tree_->createNode(folder, "i", DevNode::Plain, "");
    const std::string clip = tree_->createNode(inner, "c", DevNode::Clip, "");
    tree_->allocateFrames(clip, 1, formatOf(4));
    DevAsideFile file = tree_->newFrameFile();
    file.write("abcd", 4);
    tree_->commitFrame(clip + "-f0", file, 4);
    tree_.reset();
    std::filesystem::rename(root_ + "/nodes/" + folder, scratch_ / "moved");

    open();
    EXPECT_EQ("The folder 'nodes/" + folder +
                  "' is missing. The 2 nodes below it were moved to 'lost'. Put the folder "
                  "back and start again, and they return.\n",
              log());
    EXPECT_NE(errorOf([&] { (void)tree_->node(clip); }), "");
    EXPECT_EQ("abcd", contentsOf(root_ + "/lost/" + clip + "/f0"));
    EXPECT_NE(tree_->createNode(DevTree::rootId(), "new", DevNode::Plain, ""), clip);
    tree_.reset();
    std::filesystem::rename(scratch_ / "moved", root_ + "/nodes/" + folder);
    std::filesystem::rename(root_ + "/nodes/n0", scratch_ / "root node");
    open();
    EXPECT_EQ(1U, tree_->children(inner).size());
    EXPECT_EQ("abcd", contentsOf(root_ + "/nodes/" + clip + "/f0"));
    EXPECT_EQ(3U, tree_->children(DevTree::rootId()).size()); // below a new root
}

TEST_F(DevTreeTest, DroppedFramesNeverComeBack) {
    for (int i = 0; i < 3; ++i)
        write(i, "abcd");
    tree_->allocateFrames(clip_, 1, formatOf(4));
    tree_->allocateFrames(clip_, 3, formatOf(4));
    EXPECT_EQ("abcd", read(0) + read(1) + read(2));
    tree_->allocateFrames(clip_, 3, formatOf(5));
    tree_->allocateFrames(clip_, 3, formatOf(4));
    EXPECT_EQ("", read(0));

    // A kill between the new description and the removal of the files.
    write(2, "wxyz");
    tree_.reset();
    std::string description = contentsOf(file("node.json"));
    description.replace(description.find("\"frames\": 3"), 11, "\"frames\": 2");
    description.replace(description.find("\"leftovers\": false"), 18, "\"leftovers\": true");
    writeFile(file("node.json"), description);
    open();
    tree_->allocateFrames(clip_, 3, formatOf(4));
    EXPECT_EQ("", read(2));
}

TEST_F(DevTreeTest, IdsAreNeverUsedAgain) {
    const std::string last = tree_->createNode(DevTree::rootId(), "last", DevNode::Plain, "");
    tree_->destroyNode(last);
    open();
    EXPECT_NE(tree_->createNode(DevTree::rootId(), "next", DevNode::Plain, ""), last);
}

TEST_F(DevTreeTest, SymbolicLinksLeadNowhere) {
    const std::string outside = scratch_ / "outside";
    writeFile(outside, "mine");
    std::filesystem::create_symlink(outside, file("f0"));
    EXPECT_NE(errorOf([&] { (void)read(0); }), "");
    write(0, "abcd"); // takes the link's place
    EXPECT_EQ("abcd", read(0));
    EXPECT_EQ("mine", contentsOf(outside));

    std::filesystem::create_directory(scratch_ / "folder");
    std::filesystem::rename(root_ + "/nodes/" + clip_, scratch_ / "moved");
    std::filesystem::create_directory_symlink(scratch_ / "folder", root_ + "/nodes/" + clip_);
    EXPECT_NE(errorOf([&] { write(1, "abcd"); }), "");
    EXPECT_NE(errorOf([&] { tree_->setStream(clip_, "notes", "text"); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch_ / "folder"));
}

TEST_F(DevTreeTest, DamagedAndShortFilesAreErrors) {
    write(0, "abcd");
    std::filesystem::resize_file(file("f0"), 3);
    EXPECT_EQ("The file of the frame '" + frame(0) + "' has been damaged.",
              errorOf([&] { (void)read(0); }));
    const std::string linked = scratch_ / "linked, not";
    writeFile(linked, "abc");
    tree_->linkFrames(clip_, {linked}, formatOf(4));
    EXPECT_EQ("The file '" + linked + "' holds 3 bytes, a frame of the clip has 4.",
              errorOf([&] { (void)read(0); }));
    writeFile(linked, "abcde");
    EXPECT_EQ("abcd", read(0));
    EXPECT_NE(errorOf([&] { write(0, "wxyz"); }), "");
    EXPECT_EQ("abcde", contentsOf(linked));
}

TEST_F(DevTreeTest, CheckTellsWhatRepairMends) {
    const std::string folder = tree_->createNode(DevTree::rootId(), "f", DevNode::Plain, "");
    const std::string child = tree_->createNode(folder, "c", DevNode::Plain, "");
    write(0, "abcd");
    std::string told;
    const DevTell tell = [&told](const std::string& line) { told += line + "\n"; };
    EXPECT_EQ("The directory '" + root_ + "' is in use by a server.",
              errorOf([&] { devCheck(root_, tell); }));
    tree_.reset();
    EXPECT_EQ(0U, devCheck(root_, tell));
    EXPECT_EQ("", told);

    std::filesystem::remove_all(root_ + "/nodes/" + folder);
    std::filesystem::resize_file(file("f0"), 3);
    std::filesystem::create_directory(file("f1"));
    writeFile(root_ + "/aside/a9", "half");
    EXPECT_EQ(4U, devCheck(root_, tell));
    for (const std::string& line :
         {"nodes/" + clip_ + "/f0 has 3 bytes, a frame has 4.\n",
          "nodes/" + clip_ + "/f1 is not a regular file.\n",
          "nodes/" + child + ": its parent nodes/" + folder + " is missing.\n",
          std::string("aside/a9 is left of what was not finished.\n")})
        EXPECT_NE(told.find(line), std::string::npos) << line << told;
    EXPECT_TRUE(std::filesystem::exists(root_ + "/aside/a9"));
    EXPECT_EQ(3U, devRepair(root_, tell)); // they are in "lost"
    EXPECT_EQ("abc", contentsOf(root_ + "/lost/" + clip_ + "-f0"));
    writeFile(file("f0"), "ab");
    EXPECT_EQ(4U, devRepair(root_, tell));
    EXPECT_EQ("abc", contentsOf(root_ + "/lost/" + clip_ + "-f0"));
    EXPECT_EQ("ab", contentsOf(root_ + "/lost/" + clip_ + "-f0.2"));
    open();
    EXPECT_EQ("", read(0) + read(1));
    EXPECT_EQ("'" + scratch_ / "" + "' is not the directory of a server.",
              errorOf([&] { devCheck(scratch_ / "", tell); }));
}

TEST_F(DevTreeTest, BadThingsOnTheDiskLeaveTheRestServed) {
    const std::string huge = tree_->createNode(DevTree::rootId(), "h", DevNode::Plain, "");
    const std::string wrong = tree_->createNode(DevTree::rootId(), "w", DevNode::Plain, "");
    write(0, "abcd");
    tree_.reset();
    const std::string description = root_ + "/nodes/" + wrong + "/node.json";
    std::string text = contentsOf(description);
    writeFile(description, text.replace(text.find("\"w\""), 3, "\"a,b\""));
    std::filesystem::resize_file(root_ + "/nodes/" + huge + "/node.json", std::uintmax_t{1} << 40);
    std::filesystem::create_directories(file("f1") + "/folder");
    EXPECT_EQ(0, ::mkfifo(file("f2").c_str(), 0600));
    std::string deep = root_ + "/aside/a1";
    for (int i = 0; i < 30; ++i)
        deep += "/d";
    std::filesystem::create_directories(deep); // deeper than anything that is removed

    open();
    const std::string expected = "The node '" + huge +
                                 "' is left out: 'node.json' is larger than 134217728 bytes.\n"
                                 "The node '" +
                                 wrong +
                                 "' is left out: The name 'a,b' holds a comma, a slash or a line "
                                 "feed, which lists and paths can't carry.\n";
    EXPECT_EQ(expected, log().substr(0, expected.size())); // the folder in aside/ may follow
    EXPECT_EQ("'f1' is not a regular file.", errorOf([&] { (void)read(1); }));
    EXPECT_EQ("'f2' is not a regular file.", errorOf([&] { (void)read(2); }));
    EXPECT_EQ("abcd", read(0));
    write(2, "wxyz");
    tree_->allocateFrames(clip_, 1, formatOf(4));
    EXPECT_TRUE(std::filesystem::exists(root_ + "/lost/" + clip_ + "-f1/folder"));
}

TEST_F(DevTreeTest, NumbersThatDoNotFitAreNotTakenForOthers) {
    const std::string description = contentsOf(file("node.json"));
    for (const auto& [number, other] :
         {std::pair("\"width\": 2", "4294967298"), std::pair("\"scanFormat\": 4", "-4294967292"),
          std::pair("\"frames\": 3", "-1"), std::pair("\"frames\": 3", "3.5"),
          std::pair("\"pixelRatio\": 1.0", "1e300")}) {
        std::string text = description;
        const std::size_t colon = text.find(number) + std::string(number).find(':') + 2;
        writeFile(file("node.json"),
                  text.replace(colon, text.find_first_of(",\n", colon) - colon, other));
        open();
        EXPECT_NE(log().find("is not a number that belongs there."), std::string::npos) << other;
    }
    writeFile(file("node.json"), description);
    open();
    EXPECT_EQ(3U, tree_->node(clip_)->frames);
}

TEST_F(DevTreeTest, ATreeThatCannotBeWrittenIsServedReadOnly) {
    write(0, "abcd");
    tree_.reset();
    ::chmod((scratch_ / "").c_str(), 0755);
    ::chmod(root_.c_str(), 0555);
    const uid_t user = ::geteuid();
    EXPECT_EQ(0, user == 0 ? ::seteuid(65534) : 0); // root may write anything
    open();
    const std::string problem = "The tree is served read-only: its directory can't be written.";
    EXPECT_EQ("The directory '" + root_ + "' can't be written: it is served read-only.\n", log());
    EXPECT_EQ("The directory '" + root_ + "' is in use by another server.",
              errorOf([&] { DevTree(root_, DevSync::None, sink_); }));
    EXPECT_EQ("abcd", read(0));
    EXPECT_EQ(problem, errorOf([&] { write(0, "wxyz"); }));
    EXPECT_EQ(problem, errorOf([&] { tree_->setStream(clip_, "notes", "text"); }));
    EXPECT_EQ(problem, errorOf([&] { tree_->destroyNode(clip_); }));
    EXPECT_EQ(0, ::seteuid(user));
    ::chmod(root_.c_str(), 0755);
}

TEST_F(DevTreeTest, ForeignAndBusyDirectoriesAreRefused) {
    EXPECT_EQ("The directory '" + root_ + "' is in use by another server.",
              errorOf([&] { DevTree(root_, DevSync::None, sink_); }));
    const std::string parent = root_.substr(0, root_.rfind('/'));
    EXPECT_EQ("The directory '" + parent + "' is neither empty nor a server's: it holds 'root'.",
              errorOf([&] { DevTree(parent, DevSync::None, sink_); }));
}

TEST(DevClipOptionTest, FormsAreReadAndProblemsNamed) {
    const DevClipOption clip = devClipOption("/A b/c=d=1920x1080x24@29.97");
    EXPECT_EQ((std::vector<std::string>{"A b", "c=d"}), clip.path);
    EXPECT_EQ(1920 * 1080 * 3, clip.format.frameBufferSize());
    EXPECT_EQ(29.97F, clip.format.frameRate());
    EXPECT_EQ(3, clip.format.numChannels());
    EXPECT_EQ(4, devClipOption("c=3x1x10x1").format.frameBufferSize()); // 30 bits
    EXPECT_EQ(24000 / 1001.F, devClipOption("c=1x1x8@24000/1001").format.frameRate());
    const std::pair<const char*, const char*> problems[] = {
        {"c", "there is no '='"},
        {"/=1x1x8", "the path is empty"},
        {"c=1x-1x8", "'-1' is not a positive number"},
        {"c=1x1x8@0", "'0' is not a frame rate"},
        {"c=1x1x8@1/0", "'0' is not a positive number"},
        {"c=65536x65536x8", "a frame would be larger than 1073741824 bytes"},
    };
    for (const auto& [text, problem] : problems)
        EXPECT_EQ("The clip '" + std::string(text) +
                      "' is not PATH=WxHxBITS[xCHANNELS][@RATE]: " + problem + ".",
                  errorOf([&, option = text] { (void)devClipOption(option); }));
}

} // namespace
