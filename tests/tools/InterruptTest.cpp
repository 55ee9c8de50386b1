// Ends before the end: Ctrl-C, a time limit, a server that goes away; and going on from there.
#include "base/tcp/src/CoIoTcpDescriptor.h"
#include "tests/support/ScriptedServer.h"
#include "tests/tools/ToolProgram.h"

#include <chrono>
#include <functional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const Words get{"get", "/empty", "x.#.raw", "--raw", "--progress", "json"};
const Words copy{"cp", "/empty", "/copy", "--progress", "json"};

class InterruptTest : public ToolTest, public ::testing::WithParamInterface<Words> {
protected:
    InterruptTest() { output({"mkclip", "/empty", "--format", "64x64x24", "--frames", "1500"}); }
    // Ends the transfer at its first frames; checks what it says and leaves, and resumes it.
    void endHalfway(const Words& words, const std::function<void(ToolProgram&)>& end, int status,
                    const std::string& reason) {
        ToolProgram program(host_, folder_, words);
        ASSERT_TRUE(program.awaitError("\"progress\""));
        end(program);
        const ToolResult result = program.finish();
        EXPECT_EQ(status, result.status);
        int done = 0;
        const std::size_t at = result.errors.find("; ", result.errors.find(reason));
        ASSERT_NE(std::string::npos, at) << result.errors;
        const char* const rest = result.errors.c_str() + at;
        EXPECT_EQ(1, std::sscanf(rest, "; %d of 1500 frames are done, --resume", &done)) << rest;
        EXPECT_TRUE(done > 0 && done < 1500) << rest;
        EXPECT_EQ(std::string::npos, files(".").find(".part-"));
        serve();
        output(words + Words{"--resume"}); // takes what is there for whole
        EXPECT_EQ("", output(words[0] == "get" ? Words{"check", "/empty", "x.#.raw", "--raw"}
                                               : Words{"check", "/empty", ":/copy"}));
    }
};

TEST_P(InterruptTest, SaysHowFarItCameAndGoesOnFromThere) {
    const auto interrupt = [](const ToolProgram& program) { program.signal(SIGINT); };
    endHalfway(GetParam(), interrupt, 130, "lantrix: interrupted");
}

INSTANTIATE_TEST_SUITE_P(Transfers, InterruptTest,
                         ::testing::Values(get, get + Words{"-j", "3"}, copy));

TEST_F(InterruptTest, AServerThatGoesAwayLeavesWholeFilesOnly) {
    const auto stop = [this](const ToolProgram&) { server_->stop(); };
    endHalfway(get, stop, 5, "on " + host_ + ":7550");
}

TEST_F(ToolTest, ResumeSendsOnlyWhatIsNotThere) {
    makeClip("plate", {"8x4x24"}, 96, 6);
    write("plate.2", noise(96, 22));
    write("plate.4", noise(96, 44));
    const Words put{"put", "plate.#", "/plate", "--raw", "--resume"};
    EXPECT_EQ(2 * 96, json(put)["bytes"]);
    EXPECT_EQ(noise(96, 44), output({"cat", "/plate", "--raw", "-f", "4"}));
    write("out.1", "kept as it is");
    const Words resume{"get", "/plate", "out.#", "--raw", "--resume"};
    fails(2, resume, {"Replace 1 file?", "-y"}); // it is not a whole frame
    fails(2, {"get", "/plate", "out.#", "--raw", "-f", "1"}, {"Replace 1 file?", "-y"});
    EXPECT_EQ("kept as it is", read("out.1"));
    write("out.1", noise(96, 9));
    auto result = json(resume);
    EXPECT_EQ("5 1", result["frames"].dump() + " " + result["skipped"].dump());
    EXPECT_EQ(noise(96, 9), read("out.1"));
    result = json(resume + Words{"--verify"}); // looks into the files, too
    EXPECT_EQ("1 5", result["frames"].dump() + " " + result["skipped"].dump());
    EXPECT_EQ(noise(96, 1), read("out.1"));
}

// The server takes a request and never answers.
TEST_F(ToolTest, ASilentServerIsLeftAtAnInterruptAndAfterTheTimeLimit) {
    const Words root{"ls"}, details{"ls", "-l", "id=n2"}; // which a pool asks for
    auto fastest = std::chrono::steady_clock::duration::max();
    for (const auto& [words, isSignalled] :
         {std::pair{root, true}, {root, false}, {details, true}, {details, false}}) {
        ScriptedServer silent;
        Script script{expect("sync 0 GetRootNode \n"), gate, awaitClose};
        if (words == details)
            script = {call("GetChildren n2", "ok n3,x"), expect("sync 0 GetNodeType n3\n"), gate,
                      awaitClose};
        silent.commands(script);
        ToolProgram program(silent.host(), folder_,
                            isSignalled ? words : words + Words{"--timeout", "0.2"});
        silent.awaitGate();
        const auto start = std::chrono::steady_clock::now();
        if (isSignalled)
            program.signal(SIGHUP);
        silent.openGate();
        const ToolResult result = program.finish();
        fastest = std::min(fastest, std::chrono::steady_clock::now() - start);
        EXPECT_EQ(isSignalled ? 130 : 5, result.status);
        const char* const reason = isSignalled ? "interrupted\n" : "no answer within 0.2 s\n";
        EXPECT_NE(std::string::npos, result.errors.find(reason)) << result.errors;
    }
    EXPECT_LT(fastest, std::chrono::milliseconds(950)); // not at the end of a wait of a second
}

TEST_F(ToolTest, ATransferThatStandsStillSaysSo) {
    ScriptedServer silent;
    silent.commands({call("GetNodeType c", "ok 1 0"), call("GetNodeTypeStr c", "ok Clip"),
                     call("GetClipFormat c", "ok 1 1 24 3 3 1 30 rgb8 4 none "),
                     call("GetFrames c", "ok f"), call("GetDisplayName c", "ok c"), awaitClose});
    silent.frames({expect(std::string("ReadFrame\0f\0003\0", 14)), awaitClose});
    ToolProgram program(silent.host(), folder_, {"hash", "id=c", "--progress", "bar"});
    EXPECT_TRUE(program.awaitError("0/1 frames  nothing for "));
    program.signal(SIGINT);
    EXPECT_EQ(130, program.finish().status);
}

TEST_F(ToolTest, AnInterruptOfAStreamKeepsTheFramesThatCame) {
    ASSERT_EQ(0, ::mkfifo(path("pipe").c_str(), 0600));
    ToolProgram program(
        host_, folder_,
        {"put", "pipe", "/gray", "--raw", "--format", "2x1x8", "--progress", "json"});
    const int pipe = ::open(path("pipe").c_str(), O_WRONLY); // kept open: more could come
    ASSERT_EQ(5, ::write(pipe, "abcde", 5));
    EXPECT_TRUE(program.awaitError("\"frames\":1"));
    program.signal(SIGINT);
    const ToolResult result = program.finish();
    ::close(pipe);
    EXPECT_EQ(130, result.status) << result.errors;
    EXPECT_EQ("ab", output({"cat", "/gray", "--raw", "-f", "0"}));
    EXPECT_EQ(std::string::npos, output({"cat", "/gray", "--raw"}).find('e')); // half a frame
}

TEST_F(ToolTest, AServerOfOnesOwnEndsSilentConnections) {
    server_->stop();
    ToolProgram program(
        host_, folder_,
        {"serve", "--root", "tree", "--listen", host_, "--idle", "1", "--sync", "all"});
    ASSERT_TRUE(program.awaitError("Listening on"));
    const CoIoTcpDescriptor silent(host_.c_str(), 7549, 0, 0, 10);
    EXPECT_TRUE(program.awaitError("nothing has moved for too long"));
    program.signal(SIGINT);
    EXPECT_EQ(0, program.finish().status);
}

} // namespace
