// Whole trees between servers and folders: what arrives, what is left alone, and going on behind an
// end in the middle.
#include "tests/tools/ToolProgram.h"

#include <csignal>
#include <filesystem>
#include <functional>
#include <numeric>
#include <set>

namespace {

namespace fs = std::filesystem;

class TreeVerbsTest : public ToolTest {
protected:
    TreeVerbsTest() {
        output({"mkdir", "-p", "/lib/reel"});
        output({"mkdir", "/lib/empty", "--type", "library"});
        makeClip("lib/shot", {"8x4x24@25"}, 96, 5);
        makeClip("lib/reel/deep", {"4x2x48", "--type", "shot"}, 48, 3);
        makeClip("lib/reel/odd", {"5x1x7", "--tag", "none"}, 5, 2);
        output({"mkclip", "/lib/none", "--format", "8x4x24"});
        output({"meta", "set", "/lib/shot", "note", "second take"});
        output({"meta", "set", "/lib/reel", "bin", "ünï \x01%"});
        startOther();
    }
    void makeClip(const std::string& name, const Words& format, std::size_t size, int count) {
        for (int i = 0; i < count; ++i)
            write("made." + std::to_string(i), noise(size, static_cast<unsigned>(i)));
        output(Words{"put", "--raw", "made.#", "/" + name, "--format"} + format);
        for (int i = 0; i < count; ++i)
            fs::remove(path("made." + std::to_string(i)));
    }
    void startOther() {
        other_.reset();
        DevServerOptions options;
        options.root = scratch_ / "other";
        options.listen = otherHost_;
        options.sync = DevSync::None;
        other_ = std::make_unique<DevServer>(options);
    }
    /// All nodes below in the order of their paths: kinds, formats, streams, hashes of frames.
    std::string all(const std::string& top) const {
        std::set<std::string> nodes;
        const std::string host = top.substr(0, top.find('/'));
        const std::string from = json({"stat", top})["path"];
        const auto found = json({"find", top});
        for (const auto& node : found["nodes"]) {
            const std::string id = host + "id=" + node["id"].get<std::string>();
            const auto known = json({"stat", id});
            std::string text = node["path"].get<std::string>().substr(from.size()) + " ";
            if (node["path"] != from) // the top may be of any kind
                text += known["type"].get<std::string>();
            if (known["isClip"]) {
                text += " " + known["width"].dump() + known["frameRate"].dump() +
                        known["formatTag"].dump();
                text += known["frames"] == 0 ? "" : "\n" + output({"hash", id});
            }
            for (const auto& stream : known["streams"])
                text += " " + output({"meta", "get", id, stream, "--raw"});
            nodes.insert(text + "\n");
        }
        return std::accumulate(nodes.begin(), nodes.end(), std::string());
    }
    std::string moved(const nlohmann::json& result) const {
        return result["frames"].dump() + " " + result["skipped"].dump();
    }

    const std::string otherHost_ = "127.91" + host_.substr(6);
    const std::string other = otherHost_ + ":";
    std::unique_ptr<DevServer> other_;
};

TEST_F(TreeVerbsTest, CpCopiesAllOfATreeAndGoesOnWithIt) {
    EXPECT_EQ("10 0", moved(json({"cp", "-r", "/lib", other + "/copy", "--verify"})));
    EXPECT_EQ(all("/lib"), all(other + "/copy"));
    EXPECT_NE(std::string::npos, all(other + "/copy").find("ünï \x01%")) << all(other + "/copy");
    fails(1, {"cp", "-r", "/lib", other + "/copy"}, {"write a slash behind it", "--resume"});
    // What a killed run has made without frames, and half a clip, are filled.
    output({"rm", "-y", other + "/copy/shot", other + "/copy/reel/deep"});
    const auto parent = json({"stat", other + "/copy"})["id"].get<std::string>();
    output({"call", "--host", otherHost_, "CreateNode", parent, "\"shot\" 1 clip"});
    EXPECT_EQ("8 2", moved(json({"cp", "-r", "/lib", other + "/copy", "--resume"})));
    EXPECT_EQ(all("/lib"), all(other + "/copy"));
    output({"cp", "-r", "/lib/reel", "/new/place/"});
    EXPECT_EQ(all("/lib/reel"), all("/new/place/reel"));
    for (const Words& words :
         {Words{"/lib", "/lib/reel/"},
          {"/lib", "/lib/x/y"},
          {"/", "/x"},
          {"/lib/reel", "/lib/"},
          {"id=" + json({"stat", "/lib"})["id"].get<std::string>(), "/lib/empty/"}})
        fails(1, Words{"cp", "-r"} + words, {"lies in what is to be copied there"});
    output(
        {"cp", "-r", "/lib/reel", "id=" + json({"stat", "/lib/empty"})["id"].get<std::string>()});
    EXPECT_EQ(all("/lib/reel"), all("/lib/empty/reel"));
    // Side by side, but not before what lies below, and told in their order.
    const Words nodes{"/lib/empty/reel/odd", "/lib/empty/reel/deep", "/lib/empty/reel",
                      "/lib/shot"};
    std::string told;
    for (const std::string& node : nodes)
        told += "removed " + host_ + ":" + node + "\n";
    EXPECT_EQ(told, run(Words{"rm", "-r", "-y"} + nodes).errors);
    fails(2, {"cp", "-r", "/lib", "/x", "-f", "1"}, {"-f is for the frames of one clip"});
    EXPECT_EQ(3, run({"stat", "/x"}).status);
}

TEST_F(TreeVerbsTest, FilesAndFoldersAreATreeAndBack) {
    output({"cp", "/lib/shot", "/lib/reel/..\x01%41"});
    output({"cp", "/lib/shot", "/lib/reel/.hidden"});
    const std::string long200(201, 'x');
    output({"mkdir", "/lib/" + long200});
    // One clip has pixels that no file holds, one name is too long: the others arrive.
    const ToolResult got = run({"get", "-r", "/lib/reel", "/lib/shot", "/lib/" + long200, "out"});
    EXPECT_EQ(1, got.status);
    EXPECT_NE(std::string::npos, got.errors.find("reel/odd")) << got.errors;
    EXPECT_NE(std::string::npos, got.errors.find("is too long for files")) << got.errors;
    EXPECT_EQ("reel shot.0000.png shot.0001.png shot.0002.png shot.0003.png shot.0004.png ",
              files("out"));
    EXPECT_EQ("%2E.%01%2541.0000.png ", files("out/reel").substr(0, 22));
    EXPECT_NE(std::string::npos, files("out/reel").find("%2Ehidden.0004.png deep.0000.png"));
    fails(2, {"get", "-r", "/lib/shot", "out"}, {"Replace 5 files?"});
    write("out/shot.0003.png", "half");
    EXPECT_EQ("1 4", moved(json({"get", "-r", "/lib/shot", "out", "--resume"})));
    EXPECT_EQ(2, run({"get", "/lib/shot", "a", "b"}).status);

    write("out/read.me", "kept");
    output({"rm", "-r", "-y", "/lib/reel/odd", "/lib/" + long200, "/lib/none", "/lib/empty"});
    const ToolResult put = run({"put", "-r", "out", "/a/back", "--rate", "25", "--verify"});
    EXPECT_EQ(0, put.status);
    EXPECT_NE(std::string::npos, put.errors.find("left out 1 file that")) << put.errors;
    const auto hashes = [this](const std::string& clip) { return json({"hash", clip}); };
    for (const std::string name : {"/shot", "/reel/deep", "/reel/..\x01%41", "/reel/.hidden"})
        EXPECT_EQ(hashes("/lib" + name), hashes("/a/back" + name)) << name;
    // A gap, and files that would be one clip twice, are told; the rest is there all the same.
    fs::remove(path("out/shot.0002.png"));
    write("out/reel/deep_1.png", "x");
    fails(4, {"put", "-r", "out", "/b", "-q"}, {"(missing: 2)", "would both be the clip 'deep'"});
    EXPECT_EQ(hashes("/lib/reel/.hidden"), hashes("/b/reel/.hidden"));
    fs::remove(path("out/reel/deep_1.png"));
    output({"put", "-r", "out/reel", "/c", "--start-number", "0", "--missing", "hold", "-n"});
    EXPECT_EQ(3, run({"stat", "/c"}).status);
}

TEST_F(TreeVerbsTest, SyncWithAFolderBringsWhatDiffers) {
    const Words down{"sync", ":/lib", "local"};
    EXPECT_NE(std::string::npos, output(down + Words{"-n"}).find("would make local/reel\n"));
    EXPECT_EQ("", files("."));
    EXPECT_EQ("10 0", moved(json(down)));
    EXPECT_EQ("odd.0000.raw odd.0001.raw ",
              files("local/reel").substr(files("local/reel").find("odd")));
    EXPECT_EQ("0 10", moved(json(down)));
    const std::string frame = read("local/shot.0001.png");
    write("local/shot.0001.png", read("local/shot.0002.png"));
    fs::remove(path("local/shot.0004.png"));
    EXPECT_EQ("2 8", moved(json(down)));
    EXPECT_EQ(frame, read("local/shot.0001.png"));
    // What changes on the server and not in its format and count, only --checksum finds.
    write("new.0", noise(96, 77));
    output({"put", "--raw", "new.0", "/lib/shot", "-f", "3"});
    EXPECT_EQ("0 10", moved(json(down)));
    EXPECT_EQ("1 9", moved(json(down + Words{"--checksum"})));

    const Words up{"sync", "local", other + "/lib"};
    EXPECT_EQ("10 0", moved(json(up)));
    EXPECT_EQ(all("/lib"), all(other + "/lib"));
    EXPECT_EQ("0 10", moved(json(up)));
    write("local/reel/odd.0001.raw", "other");
    EXPECT_EQ("1 9", moved(json(up)));
    EXPECT_EQ("other", output({"cat", "--raw", "-f", "1", other + "/lib/reel/odd"}));

    // Nothing goes before it is asked for, and then no file that is not a frame.
    write("local/reel/mine.txt", "mine");
    output({"rm", "-r", "-y", "/lib/reel", "/lib/shot"});
    makeClip("lib/shot", {"8x4x24@25"}, 96, 2);
    EXPECT_EQ("0", json(down)["failed"].dump());
    EXPECT_TRUE(fs::exists(path("local/shot.0004.png")) &&
                fs::exists(path("local/reel/deep.0000.png")));
    EXPECT_EQ("[\"reel\"]", json(down + Words{"--delete"})["removed"].dump());
    EXPECT_EQ("mine.txt ", files("local/reel").substr(files("local/reel").find("mine")));
    EXPECT_EQ("shot.0000.png shot.0001.png ", files("local").substr(files("local").find("shot")));
    fails(2, {"sync", "a", "/b"}, {"write HOST:/path"});
    fails(2, {"sync", ":/lib/shot", "local"}, {"is a clip, and sync is for folders"});
}

TEST_F(TreeVerbsTest, SyncBetweenServersEndsRightWhateverIsThere) {
    const Words sync{"sync", ":/lib", other + "/lib"};
    output(sync);
    EXPECT_EQ(all("/lib"), all(other + "/lib"));
    EXPECT_EQ("0 10", moved(json(sync)));
    // Another format needs --delete, by which the new clip is whole before the old one goes.
    output({"rm", "-y", "/lib/reel/deep", "/lib/shot"});
    makeClip("lib/reel/deep", {"8x4x24@25"}, 96, 4);
    makeClip("lib/shot", {"8x4x24@25"}, 96, 2);
    output({"mkdir", other + "/lib/gone"});
    fails(1, sync + Words{"-q"}, {"'reel/deep' has another format", "sync --delete replaces it"});
    EXPECT_EQ(3, json({"stat", other + "/lib/reel/deep"})["frames"]);
    EXPECT_EQ(5, json({"stat", other + "/lib/shot"})["frames"]);
    EXPECT_EQ(0, run({"stat", other + "/lib/gone"}).status);
    // As it is when a run was killed before the old one went.
    const auto reel = json({"stat", other + "/lib/reel"})["id"].get<std::string>();
    output({"call", "--host", otherHost_, "CreateNode", reel, "\"deep\" 1 shot"});
    output(sync + Words{"--delete"});
    output({"rm", "-r", "-y", "/lib/reel/deep"});
    makeClip("lib/reel/deep", {"8x4x24@25"}, 96, 4);
    output(sync + Words{"--delete"});
    EXPECT_EQ(json({"hash", "/lib/shot"}), json({"hash", other + "/lib/shot"}));
    EXPECT_EQ(json({"hash", "/lib/reel/deep"}), json({"hash", other + "/lib/reel/deep"}));
    EXPECT_EQ(2U, json({"ls", other + "/lib/reel"})["nodes"].size());
    EXPECT_EQ(3, run({"stat", other + "/lib/gone"}).status);
    output({"mkdir", "/lib/x"});
    makeClip("lib/x/shot", {"8x4x24"}, 96, 1);
    output({"mkdir", other + "/lib/x", other + "/lib/x/shot"});
    fails(1, sync + Words{"--delete", "-q"},
          {"'x/shot' is a clip, and a folder where it is to go"});
    fails(1, {"sync", ":/lib", ":/lib/reel"}, {"lies in"});
    fails(1, {"sync", ":/lib/reel", ":/lib"}, {"lies in"});
    // Nothing to bring is hardly meant.
    fails(2, {"sync", ":/lib/empty", other + "/lib", "--delete"}, {"remove all"});
}

// Each end in the middle, and then the same command again.
TEST_F(TreeVerbsTest, ARunThatEndedInTheMiddleGoesOn) {
    for (int i = 0; i < 4; ++i)
        output({"mkclip", "/lib/reel/c" + std::to_string(i), "--format", "64x64x24", "--frames",
                "150"});
    const Words sync{"sync", ":/lib", other + "/lib", "--progress", "json"};
    const Words down{"sync", ":/lib", "local", "--progress", "json"};
    const auto endIn = [this](const Words& words, const std::function<void(ToolProgram&)>& end) {
        ToolProgram program(host_, folder_, words);
        EXPECT_TRUE(program.awaitError("\"progress\""));
        end(program);
        return program.finish();
    };
    for (const Words& words : {sync, down}) {
        const ToolResult interrupted =
            endIn(words, [](ToolProgram& program) { program.signal(SIGINT); });
        EXPECT_EQ(130, interrupted.status) << interrupted.errors;
        EXPECT_NE(std::string::npos,
                  interrupted.errors.find("frames are done, the same command goes on from there"));
        EXPECT_EQ(137, endIn(words, [](ToolProgram& program) { program.signal(SIGKILL); }).status);
        const ToolResult left = endIn(words, [this](ToolProgram&) { server_->stop(); });
        EXPECT_EQ(5, left.status) << left.errors;
        serve();
        output(words);
    }
    EXPECT_EQ(all("/lib"), all(other + "/lib"));
    EXPECT_EQ(std::string::npos, files("local/reel").find(".part-"));
    EXPECT_EQ("0 610", moved(json({"sync", ":/lib", "local"})));
    EXPECT_EQ("0 610", moved(json({"sync", ":/lib", "local", "--checksum"})));
}

} // namespace
