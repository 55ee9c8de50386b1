// The log: levels, filters, the two forms of a line, and routers.
#include "base/loggerBase/src/CoMsg.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <unistd.h>

namespace {

using testing::Eq;
using testing::ExitedWithCode;

// What the router writes to standard output, made visible to the death test.
[[noreturn]] void postAndExit(void (*post)()) {
    std::fflush(stdout);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    post();
    std::exit(0);
}

void postEveryLevel() {
    CoMsg::postUser("U");
    CoMsg::postError("E");
    CoMsg::postWarning("W");
    CoMsg::postNotice("N");
    CoMsg::postDebug("D");
}

// The settings are read while the library is loaded: each statement runs in a process of its own,
// which is loaded with the environment of this one.
class CoMsgEnvironment : public testing::Test {
protected:
    CoMsgEnvironment() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
    ~CoMsgEnvironment() override {
        ::unsetenv("MZ_MSG_LEVEL");
        ::unsetenv("MZ_MSG_VERBOSE");
    }
};

TEST_F(CoMsgEnvironment, LevelFiltersWhatIsLessImportant) {
    EXPECT_EXIT(postAndExit(postEveryLevel), ExitedWithCode(0), Eq("U\nE\nW\nN\n"));
    const struct {
        const char *level, *printed;
    } cases[] = {{"user", "U\n"},
                 {"error", "U\nE\n"},
                 {"warn", "U\nE\nW\n"},
                 {"notice", "U\nE\nW\nN\n"},
                 {"debug", "U\nE\nW\nN\nD\n"},
                 {"Debug", "U\nE\nW\nN\nD\n"},
                 {"", "U\nE\nW\nN\nD\n"}};
    for (const auto& each : cases) {
        ::setenv("MZ_MSG_LEVEL", each.level, 1);
        EXPECT_EXIT(postAndExit(postEveryLevel), ExitedWithCode(0), Eq(each.printed));
    }
}

TEST_F(CoMsgEnvironment, EmptyVerboseVariableGivesFullLines) {
    ::setenv("MZ_MSG_VERBOSE", "", 1);
    const auto post = [] {
        CoMsg::mod_ = "some/folder/Module.x";
        CoMsg::lineNo_ = 7;
        CoMsg::postError("100%%%% of %s \n\t", "it"); // the line is a format once more
    };
    EXPECT_EXIT(postAndExit(post), ExitedWithCode(0),
                "^\\[error\\] 0 Module.x:7 ../../..:..:..:..\\.[0-9][0-9][0-9] 100% of it\n$");
    const auto postLong = [] { CoMsg::postError("%s", std::string(600, 'x').c_str()); };
    EXPECT_EXIT(postAndExit(postLong), ExitedWithCode(0), "^\\[error\\] 0 :0 .{498}$");
}

TEST_F(CoMsgEnvironment, PlainTextLosesTrailingBlanksOnly) {
    const auto post = [] {
        CoMsg::postError(" x  \n\t");
        CoMsg::postError(" \n");
        CoMsg::postConsole("%d ", 1);
        CoMsg::postShell("%s", "2");
    };
    EXPECT_EXIT(postAndExit(post), ExitedWithCode(0), Eq(" x\n\n1 \n2\n"));
}

TEST(CoMsg, RecordHasTheProcessAsItIsToldThen) {
    const CoMsg before("", "x", 1, CoMsg::Error);
    CoMsg::setCurrentPIDCallback([] { return 77; });
    EXPECT_EQ(77U, CoMsg("", "x", 1, CoMsg::Error).pid());
    CoMsg::setCurrentPIDCallback([] { return 0; });
    EXPECT_EQ(before.pid(), CoMsg("", "x", 1, CoMsg::Error).pid());
}

TEST(CoMsg, LineFollowsTheTimeZone) {
    const CoMsg message("text", "file", 1, CoMsg::Error);
    char utc[256], elsewhere[256];
    ::setenv("TZ", "UTC0", 1);
    message.format(utc, sizeof utc);
    const std::time_t seconds = message.seconds();
    char date[64], time[64];
    std::strftime(date, sizeof date, "%Y %m/%d/", std::gmtime(&seconds)); // 4 digits, a blank, ...
    std::strftime(time, sizeof time, ":%H:%M:%S.", std::gmtime(&seconds));
    const std::string whole = date + 4 + std::string(date + 2, 2) + time;
    EXPECT_NE(nullptr, std::strstr(utc, whole.c_str())) << utc;
    ::setenv("TZ", "TST-5", 1);
    message.format(elsewhere, sizeof elsewhere);
    ::unsetenv("TZ");
    EXPECT_STRNE(utc, elsewhere);
}

TEST(CoMsg, RecordNamesItsPlaceAndKeepsAtMost2047Characters) {
    const LogCapture log;
    char line[16];
    CoMsg::mod_ = "a/b/Source.cpp";
    CoMsg::lineNo_ = 12;
    CoMsg::postWarning("%s", std::string(2047, 'w').c_str());
    CoMsg::postUser("%s", std::string(2048, 'u').c_str());
    EXPECT_EQ("warn Source.cpp:12 " + std::string(2047, 'w') + "\nuser Source.cpp:12 " +
                  std::string(2047, 'u') + "\n",
              log.lines);
    EXPECT_STREQ("[unknown] 0 x:1", CoMsg("", "x", 1, CoMsg::Level(5)).format(line, sizeof line));
}

TEST(CoMsg, NullFormatAbortsOnlyWhenItPassesTheFilter) {
    // By pointers, through which compilers do not check formats.
    void (*const postDebug)(const char*, ...) = CoMsg::postDebug;
    void (*const postError)(const char*, ...) = CoMsg::postError;
    postDebug(nullptr);
    EXPECT_DEATH(postError(nullptr),
                 Eq("base/loggerBase/src/CoMsg:91: failed assertion `fmt != 0'\n"));
}

} // namespace
