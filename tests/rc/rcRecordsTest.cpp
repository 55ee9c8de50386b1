// Request and reply records and their values, byte by byte.
#include "rc/rcCommand.h"
#include "rc/rcResult.h"

#include <gtest/gtest.h>

namespace {

TEST(rcValue, EscapedTextComesBackHoweverItIsSplit) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"a\tb\nc\\d", "a\\tb\\nc\\\\d"},
        {"\\\\n", "\\\\\\\\n"},
        {"\r \"quoted\", \xC3\xA9\xFF", "\r \"quoted\", \xC3\xA9\xFF"}};
    for (const auto& [plain, escaped] : cases) {
        rcValue value;
        value.setValue(plain.c_str());
        EXPECT_EQ(escaped, value.escapedValue());
        for (std::size_t split = 0; split <= escaped.size(); ++split) {
            rcValue parsed;
            parsed.appendEscaped(escaped.data(), split);
            parsed.appendEscaped(escaped.data() + split, escaped.size() - split);
            EXPECT_EQ(plain, parsed.value()) << split;
        }
    }
}

TEST(rcValue, UnknownEscapeIsItsLetterAndOnlyClearForgetsAnOpenOne) {
    rcValue value;
    value.appendEscaped("\\q\\", 3);
    EXPECT_EQ("q", value.value());
    value.clearText(); // which the end of a line does
    value.appendEscapedChar('n');
    EXPECT_EQ("\n", value.value());
    value.appendEscapedChar('\\');
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
    command.reset();
    for (const char c : std::string("sync  Ping x")) // two blanks leave an empty field
        command.appendChar(c);
    EXPECT_EQ("sync  Ping x\n", command.escapedCommand());
    EXPECT_EQ(rcCommand::Sync, command.type());
}

TEST(rcResult, ReplyLinesParseHoweverTheyAreSplit) {
    const struct {
        const char* line;
        rcResult::Code code;
        const char* value;
    } cases[] = {{"ok 12 34\n", rcResult::Ok, "12 34"},
                 {"ok\n", rcResult::Ok, ""},
                 {"error no \\\\o/\n", rcResult::Error, "no \\o/"},
                 {"OK fine\n", rcResult::Error, "fine"},
                 {" ok\n", rcResult::Error, "ok"},
                 {"ok  two\\tblanks \n", rcResult::Ok, " two\tblanks "}};
    for (const auto& each : cases) {
        const std::string line = each.line, arrived = line + "surplus";
        for (std::size_t split = 0; split < line.size(); ++split) {
            rcResult result;
            bool complete = true;
            for (std::size_t i = 0; i < split; ++i) // byte by byte, and the rest in runs
                EXPECT_FALSE(result.appendChar(line[i]));
            EXPECT_EQ(line.size() - split,
                      result.append(&arrived[split], arrived.size() - split, complete));
            EXPECT_TRUE(complete && result.appendChar('\n'));
            EXPECT_EQ(each.code, result.code());
            EXPECT_EQ(each.value, result.value());
        }
    }
}

TEST(rcResult, ALongValueIsReadWhereItStays) {
    const std::string begin = "ok " + std::string(600, 'x') + "\\", rest = "\\\\ty\\n\n";
    rcResult result;
    bool complete = false;
    EXPECT_EQ(nullptr, result.lend(1)); // which may belong to the code
    result.append(begin.data(), begin.size(), complete);
    EXPECT_EQ(nullptr, result.lend(64 << 10));
    result.append(result.lend(100), 0, complete); // nothing came
    char* const place = result.lend(100);
    ASSERT_NE(nullptr, place);
    EXPECT_EQ(rest.size(), result.append(place, (rest + "more").copy(place, 100), complete));
    EXPECT_TRUE(complete);
    EXPECT_EQ(std::string(600, 'x') + "\\\ty\n", result.value());
}

TEST(rcResult, ReplyLineIsBuiltFromItsFields) {
    rcResult result;
    result.setCode(rcResult::Error);
    result.setValue("a\tb");
    EXPECT_EQ("error a\\tb\n", result.escapedCommand());
}

} // namespace
