// Exit statuses and error texts, for people and for programs.
#include "tests/support/ScriptedServer.h"
#include "tests/tools/ToolProgram.h"
#include "tools/report/Options.h"

namespace {

class StatusTest : public ToolTest {
protected:
    StatusTest() {
        makeClip("plate", {"8x4x24"}, 96, 3);
        output({"mkdir", "/Library", "/Library/Reel"});
    }
};

TEST_F(StatusTest, EachFailureHasItsStatusAndSaysWhatIsWrong) {
    write("file", "");
    fails(1, {"rm", "/Library"}, {"-r removes it"});
    fails(2, {}, {"required"});
    for (const Words& words : {Words{"lst"}, Words{"help", "lst"}})
        fails(2, words, {"no verb 'lst'", "'ls'"});
    fails(2, {"ls", "--sotr=size"}, {"no option '--sotr'", "'--sort'"});
    fails(2, {"stat", "/a", "/b", "/c"}, {"not expected: '/b' '/c'"});
    fails(2, {"get", "/plate", "x.#.png", "-f", "2-1"}, {"'2-1' is not a frame range"});
    fails(2, {"mkclip", "/x", "--format", "8x8"}, {"'8x8' is not WxHxBITS or WxHxBITSxCHANNELS"});
    fails(6, {"mkclip", "/x", "--format", "30000x30000x16"}, {"1073741824"}); // the server's bound
    fails(2, {"rm", "-r", "/Library"}, {"-y"}); // nobody is there to be asked
    fails(3, {"ls", "/Libary/Reel"}, {host_ + ":7549", "no 'Libary' in '/'", "'Library'?"});
    fails(3, {"stat", "/Library/reel"}, {"no 'reel' in '/Library'", "'Reel'?"});
    for (const char* verb : {"ls", "stat", "rm", "cat", "du", "find", "tree", "frames", "hash"})
        fails(3, {verb, "id=n99"}, {"'n99'", host_ + ":7549"});
    fails(3, {"put", "plate.#", "/none/x", "--raw", "--format", "8x4x24"}, {"'none'"});
    fails(4, {"get", "/plate", "x.#.png", "-f", "2-3"}, {"frame 3", "frames 0-2"});
    fails(4, {"put", "none.####.png", "/new"}, {"'none.####.png'"});
    fails(4, {"meta", "get", "/plate", "none"}, {"stream 'none'"});
    fails(5, {"ls", "127.0.0.0:/", "--retries", "0"}, {"127.0.0.0:7549"});
    fails(6, {"call", "Nothing"}, {"Nothing", host_ + ":7549"});
    fails(6, {"rm", "-y", "-r", "/"}, {"root"});
    fails(8, {"put", "file", "/x"}, {"(.png, .exr, .tif, .tiff, .dpx)"});
    serve(4);
    fails(7, {"meta", "set", "/plate", "note", "text"}, {"'note'", host_});
    fails(7, {"link", "/plate", "/tmp/x"}, {"'/plate'", host_});
}

TEST_F(StatusTest, AClipIsNotAFolderAndAFolderIsNotAClip) {
    for (const char* verb : {"get", "cat", "hash", "frames"})
        fails(1, {verb, "/Library"}, {":/Library' is not a clip"});
    for (const char* verb : {"thumb", "sheet", "link", "check"})
        fails(1, {verb, "/Library", "x.png"}, {":/Library' is not a clip"});
    fails(1, {"put", "--raw", "plate.#", "/Library"}, {":/Library' is not a clip"});
    for (const Words& words : {Words{"mkdir"}, Words{"mkdir", "-p"}, Words{"cp", "/plate"},
                               Words{"put", "--raw", "plate.#", "--format", "8x4x24"}})
        fails(1, words + Words{"/plate/x"}, {":/plate' is a clip"});
}

TEST_F(StatusTest, DifferencesAreListed) {
    output({"cp", "/plate", "/copy"});
    for (const char* plate : {":/plate", "/plate"})
        EXPECT_EQ("", output({"check", "/copy", plate}));
    output({"cp", "/plate", "/Library"});
    EXPECT_EQ("", output({"check", "/Library/plate", ":/plate"}));
    write("plate.1", noise(96, 9));
    const ToolResult result = run({"check", "/plate", "plate.#", "--raw"});
    EXPECT_EQ(9, result.status);
    const std::string hash = output({"hash", "/plate", "-f", "1"});
    EXPECT_EQ("1\t" + hash.substr(0, 32) + "\t", result.output.substr(0, 35));
    EXPECT_EQ(0, run({"check", "/plate", "plate.#", "--raw", "-f", "2"}).status);
}

// The server stores something else than it is sent.
TEST_F(ToolTest, WrittenFramesAreReadBackToVerifyThem) {
    const Step format{"sync 0 GetClipFormat c\n", "ok 1 1 24 3 3 1 30 rgb8 4 none \n"};
    ScriptedServer server;
    server.commands({call("GetNodeType c", "ok 1 0"), call("GetNodeTypeStr c", "ok Clip"), format,
                     call("GetFrames c", "ok f"), awaitClose});
    server.frames({{std::string("WriteFrame\0f\0003\0RGB", 18), std::string(1, '\0')},
                   {std::string("ReadFrame\0f\0003\0", 14), std::string("\0RGb", 4)},
                   awaitClose});
    write("frame", "RGB");
    ToolProgram program(server.host(), folder_,
                        {"put", "--raw", "--verify", "-j1", "frame", "id=c"});
    const ToolResult result = program.finish();
    EXPECT_EQ(9, result.status);
    EXPECT_NE(std::string::npos, result.errors.find("frame 0 reads back differently"));
}

TEST_F(ToolTest, WhatAServerSaysCantCommandTheTerminal) {
    ScriptedServer server;
    server.commands({call("GetRootNode ", "ok n0"), call("GetChildren n0", "ok n1,a\x1b[2J\tb"),
                     awaitClose, call("GetRootNode ", "failed \"\x1b]0;\xC2\x9B\x7F\""),
                     awaitClose});
    ToolResult result = ToolProgram(server.host(), folder_, {"ls", "--trace"}).finish();
    EXPECT_EQ("a\\x1b[2J\\tb\n", result.output);
    EXPECT_NE(std::string::npos, result.errors.find("ok n1,a\\x1b[2J\\tb\n")) << result.errors;
    result = ToolProgram(server.host(), folder_, {"ls"}).finish();
    EXPECT_NE(std::string::npos, result.errors.find("\\x1b]0;\\x9b\\x7f\"\n")) << result.errors;
}

// What is printed would otherwise be the server's next command.
TEST_F(StatusTest, AClosedOutputIsNeverASocket) {
    std::string frame = "\nsync 0 DestroyNode n1\n";
    frame.resize(96);
    write("plate.0", frame);
    output({"put", "--raw", "plate.0", "/plate"});
    const std::string tool = LANTRIX_PATH " --host " + host_;
    const auto status = [&](const std::string& words) {
        return WEXITSTATUS(std::system((tool + words).c_str()));
    };
    EXPECT_EQ(8, status(" cat /plate --raw >&-"));
    EXPECT_EQ(8, status(" --help >&-"));
    EXPECT_EQ(8, status(" cat /plate --raw <&- >&- 2>&-"));
    EXPECT_EQ(0, status(" cat /plate --raw --trace >/dev/null 2>&-"));
    EXPECT_EQ("plate\nLibrary\n", output({"ls"}));
}

TEST(OptionsTest, BrowsingHasALimitUnlessOneIsGiven) {
    tool::Options options;
    EXPECT_EQ(60, tool::browsingOptions(options).timeout);
    for (const double given : {0.0, 600.0}) {
        options.timeout = given;
        EXPECT_EQ(given, tool::browsingOptions(options).timeout);
    }
}

TEST_F(StatusTest, ErrorsAreJsonOnRequestAndRedOnRequest) {
    std::string error = run({"--json", "ls", "/Libary"}).errors;
    auto json = nlohmann::json::parse(error);
    EXPECT_EQ(1, json["schema"]);
    EXPECT_EQ(R"({"host":")" + host_ +
                  R"(","missing":"Libary","near":"Library","path":"/Libary",)"
                  R"("port":7549,"status":3})",
              (json["error"].erase("message"), json["error"].dump()));
    EXPECT_EQ(2, nlohmann::json::parse(run({"ls", "--json", "--none"}).errors)["error"]["status"]);
    error = run({"get", "/plate", "none/x.#.png", "--json", "-j", "2"}).errors;
    json = nlohmann::json::parse(error)["error"];
    EXPECT_EQ("none/x.", json["file"].get<std::string>().substr(0, 7));
    EXPECT_EQ(3, json["framesTotal"]);
    fails(3, {"ls", "/x", "--color", "always"}, {"\x1b[31mlantrix:\x1b[0m "});
}

} // namespace
