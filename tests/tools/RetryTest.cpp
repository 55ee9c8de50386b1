// Connections that break, and what is asked before anything is done again.
#include "tests/support/ScriptedServer.h"
#include "tests/tools/ToolProgram.h"

#include <chrono>

namespace {

// The request, whose reply is lost with the connection.
Step lost(const std::string& request) {
    return {"sync 0 " + request + "\n", "", Step::Then::Cut};
}

Script operator+(Script script, const Script& more) {
    script.insert(script.end(), more.begin(), more.end());
    return script;
}

ToolResult runAt(const Script& script, const std::string& folder, const Words& words) {
    ScriptedServer server; // reports what was asked too often or not at all
    server.commands(script);
    return ToolProgram(server.host(), folder, words).finish();
}

const Script root{call("GetRootNode ", "ok n0")};
const Script wayToNothing =
    root + Script{call("GetChildren n0", "ok "), call("GetNodeType n0", "ok 0 0"),
                  call("GetNodeTypeStr n0", "ok root")};

TEST_F(ToolTest, AQuestionIsRepeatedAsOftenAsItMayBe) {
    const Script breaks{lost("GetRootNode "), lost("GetRootNode ")};
    const Script rest{call("GetRootNode ", "ok n0"), lost("GetChildren n0"),
                      call("GetChildren n0", "ok n1,x"), awaitClose};
    ToolResult result = runAt(breaks + rest, folder_, {"ls"});
    EXPECT_EQ("0 x\n", std::to_string(result.status) + " " + result.output);
    EXPECT_EQ("", result.errors); // nothing to say but to who wants to know
    result = runAt(breaks, folder_, {"ls", "--retries", "1", "-v"});
    EXPECT_EQ(5, result.status);
    EXPECT_NE(std::string::npos, result.errors.find("; tried again in 0.2 s\n")) << result.errors;
    EXPECT_EQ(5, runAt({lost("GetRootNode ")}, folder_, {"ls", "--retries", "0"}).status);
}

TEST_F(ToolTest, AWalkRepeatsItsQuestions) {
    const ToolResult result = runAt({call("GetChildren n2", "ok n3,x"), lost("GetNodeType n3"),
                                     call("GetNodeType n3", "ok 0 0"),
                                     call("GetNodeTypeStr n3", "ok folder"), awaitClose},
                                    folder_, {"ls", "-l", "id=n2"});
    EXPECT_EQ("folder\t-\t-\tn3\tx\n", result.output) << result.errors;
}

TEST_F(ToolTest, WhatMayHaveBeenDoneIsAskedForFirst) {
    const Script made =
        wayToNothing + Script{lost("CreateNode n0 \"x\" 0 folder"),
                              call("GetChildren n0", "ok n9,x"), call("GetNodeType n9", "ok 0 0"),
                              call("GetNodeTypeStr n9", "ok folder"), awaitClose};
    EXPECT_EQ("n9", nlohmann::json::parse(
                        runAt(made, folder_, {"mkdir", "/x", "--json"}).output)["made"][0]["id"]);
    const Script notMade =
        wayToNothing + Script{lost("CreateNode n0 \"x\" 0 folder"), call("GetChildren n0", "ok "),
                              call("CreateNode n0 \"x\" 0 folder", "ok n8"), awaitClose};
    EXPECT_EQ("n8",
              nlohmann::json::parse(
                  runAt(notMade, folder_, {"mkdir", "/x", "--json"}).output)["made"][0]["id"]);

    // A clip that is found may be another user's: it stays. One that is not there is made again,
    // and its frames are not.
    const Script lostClip = wayToNothing + Script{lost("CreateNode n0 \"x\" 1 clip")};
    const Words mkclip{"mkclip", "/x", "--format", "8x4x24", "--frames", "2"};
    const Script found =
        lostClip + Script{call("GetChildren n0", "ok n9,x"), call("GetNodeType n9", "ok 1 0"),
                          call("GetNodeTypeStr n9", "ok clip"), call("GetFrames n9", "ok "),
                          awaitClose};
    const ToolResult inDoubt = runAt(found, folder_, mkclip);
    EXPECT_EQ(1, inDoubt.status);
    EXPECT_NE(std::string::npos, inDoubt.errors.find("it may be somebody else's; remove it unless"))
        << inDoubt.errors;
    const std::string allocate = R"( 2 8 4 24 3 96 1 30 rgb8 4 none "")";
    const Script clip = lostClip + Script{call("GetChildren n0", "ok "),
                                          call("CreateNode n0 \"x\" 1 clip", "ok n10"),
                                          lost("AllocateFrames n10" + allocate),
                                          call("GetFrames n10", "ok f0,f1"), awaitClose};
    EXPECT_EQ(0, runAt(clip, folder_, mkclip).status);

    const Script removed{call("GetChildren n9", "ok "),
                         call("GetNodeType n9", "ok 0 0"),
                         call("GetNodeTypeStr n9", "ok folder"),
                         lost("DestroyNode n9"),
                         call("GetNodeType n9", "error no such node"),
                         awaitClose};
    EXPECT_EQ(0, runAt(removed, folder_, {"rm", "id=n9"}).status);
}

// The wait before a repetition is a part of the time that a request may take.
TEST_F(ToolTest, ATimeLimitAndAnInterruptEndTheRepetitions) {
    const auto start = std::chrono::steady_clock::now();
    fails(5, {"ls", "127.0.0.0:/", "--retries", "100", "--timeout", "1"}, {"127.0.0.0:7549"});
    ToolProgram program(host_, folder_, {"ls", "127.0.0.0:/", "--retries", "100", "-v"});
    EXPECT_TRUE(program.awaitError("again in 1.8 s"));
    program.signal(SIGINT);
    EXPECT_EQ(130, program.finish().status);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

} // namespace
