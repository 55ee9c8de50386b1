// What the verbs print, and what they ask of the server.
#include "tests/support/ScriptedServer.h"
#include "tests/tools/ToolProgram.h"

#include <filesystem>
#include <sstream>

namespace {

class BrowseTest : public ToolTest {
protected:
    BrowseTest() {
        output({"mkdir", "-p", "/Library/Reel/day 1"});
        output({"mkclip", shot_, "--format", "8x4x24@25", "--frames", "2"});
        output({"mkclip", "/Library/Reel/show", "--format", "8x4x48", "--frames", "1", "--scan",
                "field1_odd"});
    }

    const std::string shot_ = "/Library/Reel/shot";
};

TEST_F(BrowseTest, ListsAreFieldsBetweenTabs) {
    const std::string longList = "clip\t2\t8x4x24x3@25 rgb8 progressive\tn4\tshot\n"
                                 "clip\t1\t8x4x48x3@30 rgb16 field1_odd\tn5\tshow\n";
    const std::pair<Words, std::string> cases[] = {
        {{"ls"}, "Library\n"},
        {{"ls", "/L*/Reel/sho?"}, "shot\nshow\n"},
        {{"ls", "id=n2"}, "day 1\nshot\nshow\n"},
        {{"ls", "-l", "/Library/Reel/s*"}, longList},
        {{"ls", shot_, "id=n1"}, host_ + ":" + shot_ + ":\nshot\n\n" + host_ + ":id=n1:\nReel\n"},
        {{"ls", "-R", "/Library", "--sort", "name"}, "Reel\nReel/day 1\nReel/shot\nReel/show\n"},
        {{"ls", "--sort", "frames", "/Library/Reel"}, "shot\nshow\nday 1\n"},
        {{"find", "-print0", "id=n1"}, std::string("id=n1\0id=n2\0id=n3\0id=n4\0id=n5\0", 30)},
        {{"du", "-h"}, "384 B\t3\t2\t/\n"},
        {{"tree", "/Library"},
         host_ + ":/Library\n└── Reel\n    ├── day 1\n    ├── shot\n    └── show\n"},
        {{"find", "-name", "sh*t"}, shot_ + "\n"},
        {{"find", "/Library/Reel", "--kind", "folder"}, "/Library/Reel\n/Library/Reel/day 1\n"},
        {{"du", "/Library", shot_}, "384\t3\t2\t/Library\n192\t2\t1\t" + shot_ + "\n"},
        {{"frames", shot_, "--start-number", "1001", "-f", "1002-"},
         "1002\tn4-f1\t" + scratch_ / "a server/nodes/n4/f1\n"},
        {{"call", "GetChildren", "n1"}, "n2,Reel\n"},
        {{"complete-line", "fish", "lantrix tree --de"}, "--depth\n"},
        {{"complete-line", "zsh", "true; lantrix ls /Li"}, "/Library/\n"},
        {{"complete-line", "fish", "lantrix get /Library/Reel/sh"},
         shot_ + "\n/Library/Reel/show\n"}};
    for (const auto& [words, expected] : cases)
        EXPECT_EQ(expected, output(words)) << ::testing::PrintToString(words);
}

TEST_F(BrowseTest, JsonHasStableKeys) {
    const std::tuple<Words, std::string, std::string> cases[] = {
        {{"ls"}, "nodes", "host id name path "},
        {{"ls", "-l"}, "nodes", "format frames host id name path type "},
        {{"du"}, "use", "bytes clips frames path "},
        {{"info"}, "", "host product protocol schema storageId vendor version "},
        {{"bench", shot_}, "measurements", "count megabytesPerSecond perSecond seconds what "},
        {{"tree"}, "", "children nodes path schema "}};
    for (const auto& [words, rows, keys] : cases) {
        const auto document = json(words);
        EXPECT_EQ(1, document["schema"]);
        std::string found;
        for (const auto& entry : (rows.empty() ? document : document[rows][0]).items())
            found += entry.key() + " ";
        EXPECT_EQ(keys, found);
    }
}

TEST_F(BrowseTest, AListCostsOneRequestBesidesTheWayThere) {
    // Requests on the command connection, as --trace shows them.
    const auto requests = [&](const Words& words) {
        const std::string trace = run(Words{"--trace"} + words).errors, mark = " 7549 > sync 0 ";
        std::string text;
        for (std::size_t at = 0; (at = trace.find(mark, at)) != std::string::npos;) {
            at += mark.size();
            text += trace.substr(at, trace.find('\n', at) + 1 - at);
        }
        return text;
    };
    EXPECT_EQ("GetChildren n2\n", requests({"ls", "id=n2"}));
    const std::string way = "GetRootNode \nGetChildren n0\n";
    EXPECT_EQ(way + "GetChildren n1\nGetChildren n2\n", requests({"ls", "/Library/Reel"}));
    EXPECT_EQ(way + "GetNodeType n1\nGetNodeTypeStr n1\n", requests({"ls", "-l"}));
    const std::string errors = run({"--trace", "cat", "--raw", shot_, "-f", "0"}).errors;
    EXPECT_NE(std::string::npos, errors.find(" 7550 < done, 96 bytes follow\n")) << errors;
}

TEST_F(BrowseTest, HelpAndAliasesOfHosts) {
    const std::string help = output({"help", "frames"});
    EXPECT_EQ(output({"frames", "--help"}), help);
    EXPECT_NE(std::string::npos, help.find("--start-number INT:0..=0")) << help;
    EXPECT_EQ(std::string::npos, output({"help", "put"}).find("[] "));
    std::filesystem::create_directory(path("lantrix"));
    write("lantrix/hosts", "# name host\nfarm  " + host_ + " # here\n");
    ::setenv("XDG_CONFIG_HOME", folder_.c_str(), 1);
    EXPECT_EQ("Library\n", output({"ls", "farm:"}));
    EXPECT_EQ("farm:\n", output({"complete-line", "fish", "lantrix ls fa"}));
}

TEST_F(BrowseTest, PatternsMatchCharactersAndNotBytes) {
    output({"mkdir", "/\xC3\xA9\xE6\xBC\xA2", "/\xFF"});
    EXPECT_EQ("\xC3\xA9\xE6\xBC\xA2\n", output({"ls", "/??"}));
    EXPECT_EQ("\xC3\xA9\xE6\xBC\xA2\n", output({"ls", "/[\xC3\xA8-\xC3\xAA]*"}));
    EXPECT_EQ("\xFF\n", output({"ls", "/?"}));
}

TEST_F(BrowseTest, NoDepthIsLeftOut) {
    std::string path = "/deep";
    for (int i = 1; i < 110; ++i)
        path += "/" + std::to_string(i);
    output({"mkdir", "-p", path});
    output({"mkclip", path + "/clip", "--format", "8x4x24", "--frames", "1"});
    EXPECT_EQ(path + "/clip\n", output({"find", "/deep", "--name", "clip"}));
    EXPECT_EQ(path.substr(6) + "/clip\n",
              output({"ls", "-R", "/deep", "--sort", "size"}).substr(0, path.size()));
    EXPECT_EQ("96\t1\t1\t/deep\n", output({"du", "/deep"}));
    EXPECT_EQ(110, json({"tree", "/deep"})["nodes"]);
    ScriptedServer server;
    server.commands({call("GetRootNode ", "ok n0"), call("GetChildren n0", "ok n0,a"), awaitClose});
    const ToolResult result = ToolProgram(server.host(), folder_, {"find"}).finish();
    EXPECT_NE(std::string::npos, result.errors.find("its own ancestors")) << result.errors;
}

TEST_F(BrowseTest, ConnectionsAreOpenedAsTheyAreNeeded) {
    Words folders{"mkdir", "-p"};
    for (int i = 0; i < 30; ++i)
        folders.push_back("/wide/" + std::to_string(i) + "/below");
    output(folders);
    const auto connections = [&](const Words& words, std::string& printed) {
        const int before = connected_;
        printed = output(words);
        return connected_ - before;
    };
    std::string printed, again;
    EXPECT_EQ(1, connections({"ls", "/wide"}, printed));
    EXPECT_EQ(1, connections({"ls", "-l", "/wide/1"}, printed));
    int all = 0;
    const std::vector<Words> verbs{
        {"ls", "-l", "/wide"}, {"ls", "-R"}, {"ls", "-l", "/wide/*"}, {"tree"}, {"find"},
        {"du", "/", "/wide/*"}};
    for (const Words& words : verbs) {
        EXPECT_EQ(words[0] == "du" ? 2 : 1, connections(words + Words{"-j", "1"}, printed));
        const int opened = connections(words, again);
        EXPECT_EQ(printed, again);
        EXPECT_GE(words[0] == "du" ? 16 : 8, opened);
        all += opened;
    }
    EXPECT_LT(verbs.size() + 1, static_cast<std::size_t>(all));
}

TEST_F(ToolTest, OneBadClipSpoilsNoListing) {
    ScriptedServer server;
    Script script{call("GetRootNode ", "ok n0"), call("GetChildren n0", "ok n1,bad,n2,good")};
    for (const std::string id : {"n1", "n2"}) {
        for (const auto& [method, reply] : {std::pair{"GetNodeType ", "ok 1 0"},
                                            {"GetNodeTypeStr ", "ok Clip"},
                                            {"GetFrames ", "ok f"}})
            script.push_back(call(method + id, reply));
        script.push_back(call("GetClipFormat " + id,
                              id == "n1" ? "error None" : "ok 1 1 24 3 3 1 30 x 4 none "));
    }
    script.push_back(awaitClose);
    server.commands(script);
    const ToolResult result = ToolProgram(server.host(), folder_, {"ls", "-l", "-j", "1"}).finish();
    EXPECT_EQ(6, result.status);
    const std::string reason =
        "can't ask the clip's format on " + std::string(server.host()) + ":7549: None";
    EXPECT_EQ("lantrix: " + reason + "\n", result.errors);
    EXPECT_EQ("Clip\t1\t" + reason + "\tn1\tbad\nClip\t1\t1x1x24x3@30 x progressive\tn2\tgood\n",
              result.output);
}

// Frames announced ahead would wait for delayed acknowledgements, 40 ms each.
TEST_F(BrowseTest, ATraceStallsNoTransfer) {
    output({"mkclip", "/long", "--format", "8x4x24", "--frames", "40"});
    std::istringstream trace(run({"--trace", "cat", "--raw", "/long"}).errors);
    double before = 0;
    int stalls = 0;
    for (std::string line; std::getline(trace, line);) {
        const double now = std::stod(line);
        stalls += line.find(" 7550 < done") != std::string::npos && now - before > 0.035 ? 1 : 0;
        before = now;
    }
    EXPECT_LT(stalls, 30); // some, where the machine is busy
}

TEST_F(BrowseTest, ADryRunChangesNothing) {
    write("frame", noise(96, 1));
    const std::string before = output({"ls", "-l", "-R"});
    for (const Words& words :
         {Words{"mkdir", "-p", "/a/b"}, Words{"mkclip", "/a", "--format", "8x4x24"},
          Words{"rm", "-r", "/Library"}, Words{"link", shot_, "/tmp/x"},
          Words{"meta", "set", "/Library", "note", "text"}, Words{"put", "frame", shot_, "--raw"},
          Words{"put", "frame", "/a", "--raw", "--format", "8x4x24"},
          Words{"get", shot_, "x.#.png"}, Words{"cp", shot_, "/a"}, Words{"thumb", shot_, "x.png"},
          Words{"sheet", shot_, "x.png"}, Words{"bench", "/Library"},
          Words{"call", "DestroyNode", "n1"}})
        EXPECT_EQ(0U, output(Words{"-n"} + words).find("would ")) << words[0];
    EXPECT_EQ(before, output({"ls", "-l", "-R"}));
    EXPECT_EQ("frame ", files("."));
    EXPECT_EQ(std::string(192, '\0'), output({"cat", shot_, "--raw"}));
}

TEST_F(BrowseTest, EditsDoWhatTheySay) {
    const std::string text = "a \"b\" \\ \t é\nsecond line";
    write("text", text + "\n");
    output({"meta", "set", "/Library", "note", text});
    output({"meta", "set", "/Library", "file", "--file", "text"});
    EXPECT_EQ("file\nnote\n", output({"meta", "ls", "/Library"}));
    EXPECT_EQ(text + "\n", output({"meta", "get", "/Library", "note"}));
    write("nul", std::string("a\0b", 3));
    fails(2, {"meta", "set", "/Library", "note", "--file", "nul"}, {"byte 1 is a NUL"});
    fails(2, {"meta", "set", "/Library", "note"}, {"--empty"});
    EXPECT_EQ(text, output({"meta", "get", "/Library", "note", "--raw"}));
    output({"meta", "set", "/Library", "note", "--empty"});
    EXPECT_EQ("", output({"meta", "get", "/Library", "note", "--raw"}));
    EXPECT_EQ(text + "\n", json({"meta", "get", "/Library", "file"})["text"]);
    EXPECT_EQ("removed " + host_ + ":" + shot_ + "\nremoved " + host_ + ":/Library/Reel/show\n",
              run({"rm", "-y", "/Library/Reel/sho*"}).errors);
    EXPECT_EQ("day 1\n", output({"ls", "/Library/Reel"}));
    output({"rm", "-r", "-y", "/Library"});
    EXPECT_NE("", output({"bench", "/", "--count", "2", "--format", "8x4x24"}));
    EXPECT_EQ("", output({"ls"})); // what the bench made is gone again
}

} // namespace
