#include "rc/rcCommand.h"
#include "rc/rcResult.h"

#include <gtest/gtest.h>

namespace {

struct Escaping {
    std::string plain, escaped;
};

const Escaping escapings[] = {{"", ""},
                              {"a\tb\nc\\d", "a\\tb\\nc\\\\d"},
                              {"\\\\n", "\\\\\\\\n"},
                              {"\r \"quoted\", \xC3\xA9\xFF", "\r \"quoted\", \xC3\xA9\xFF"}};

TEST(rcValue, EscapedTextComesBackHoweverItIsSplit) {
    for (const Escaping& each : escapings) {
        rcValue value;
        value.setValue(each.plain.c_str());
        EXPECT_EQ(each.escaped, value.escapedValue());
        for (std::size_t split = 0; split <= each.escaped.size(); ++split) {
            rcValue parsed;
            parsed.appendEscaped(each.escaped.data(), split);
            parsed.appendEscaped(each.escaped.data() + split, each.escaped.size() - split);
            EXPECT_EQ(each.plain, parsed.value()) << split;
        }
    }
}

TEST(rcValue, UnknownEscapeIsItsLetterAndClearForgetsAnOpenOne) {
    rcValue value;
    value.appendEscaped("\\q\\", 3);
    EXPECT_EQ("q", value.value());
    value.clear();
    value.appendEscapedChar('n');
    EXPECT_EQ("n", value.value());
}

TEST(rcCommand, BuildsTheLineThatItParses) {
    rcCommand command;
    command.setType(rcCommand::Sync);
    command.setId(0);
    command.setMethod("Ping");
    EXPECT_EQ("sync 0 Ping \n", command.escapedCommand());
    command.setType(rcCommand::Async);
    command.setId(-12);
    command.setValue("a b\n");
    const std::string line = command.escapedCommand();
    EXPECT_EQ("async -12 Ping a b\\n\n", line);
    command.reset();
    EXPECT_EQ("   \n", command.escapedCommand());
    for (const char c : line)
        EXPECT_EQ(c == '\n', command.appendChar(c));
    EXPECT_EQ(line, command.escapedCommand());
    EXPECT_EQ(rcCommand::Async, command.type());
    EXPECT_EQ(-12, command.id());
}

TEST(rcCommand, ConsecutiveBlanksLeaveAnEmptyField) {
    rcCommand command;
    for (const char c : std::string("sync  Ping x\n"))
        command.appendChar(c);
    EXPECT_EQ(rcCommand::Sync, command.type());
    EXPECT_STREQ("Ping", command.method());
    EXPECT_EQ("x", command.value());
}

TEST(rcResult, ReplyLinesParseAlikeInRunsAndByteByByte) {
    const struct {
        const char* line;
        rcResult::Code code;
        const char* value;
    } cases[] = {{"ok 12 34\n", rcResult::Ok, "12 34"},
                 {"ok\n", rcResult::Ok, ""},
                 {"error\n", rcResult::Error, ""},
                 {"error no \\\\o/\n", rcResult::Error, "no \\o/"},
                 {"OK fine\n", rcResult::Error, "fine"},
                 {"\n", rcResult::Error, ""},
                 {" ok\n", rcResult::Error, "ok"},
                 {"ok  two\\tblanks \n", rcResult::Ok, " two\tblanks "}};
    for (const auto& each : cases) {
        const std::string line = each.line, arrived = line + "surplus";
        for (std::size_t split = 0; split < line.size(); ++split) {
            rcResult result;
            bool complete = false;
            EXPECT_EQ(split, result.append(arrived.data(), split, complete));
            EXPECT_FALSE(complete);
            EXPECT_EQ(line.size() - split,
                      result.append(&arrived[split], arrived.size() - split, complete));
            EXPECT_TRUE(complete);
            EXPECT_EQ(each.code, result.code());
            EXPECT_EQ(each.value, result.value());
        }
        rcResult result;
        for (const char c : line)
            EXPECT_EQ(c == '\n', result.appendChar(c));
        EXPECT_EQ(each.value, result.value());
    }
}

TEST(rcResult, ResetKeepsAnEscapeThatTheLastLineLeftOpen) {
    rcResult result;
    for (const char c : std::string("ok \\"))
        result.appendChar(c);
    result.reset();
    for (const char c : std::string("ok n\n"))
        result.appendChar(c);
    EXPECT_EQ("ok \\n\n", result.escapedCommand());
}

} // namespace
