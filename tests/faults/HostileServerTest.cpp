// Servers that answer nonsense, too much, or nothing: what they send is taken for no more than it
// is, within bounds of time and memory, and the handle works again afterwards.
#include "lantrix/LantrixClientAPI.h"
#include "tests/devserver/RawClient.h"
#include "tests/faults/Cases.h"
#include "tests/faults/Exchange.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>
#include <utility>

#include <unistd.h>

namespace {

const std::string nul(1, '\0');
constexpr std::size_t longestText = 511; // of an exception and of a service's error

// Bytes that parsers care for, more often than chance has it, among bytes of every kind but the
// one that ends a reply and the one that begins an escape.
std::string garbage(std::minstd_rand& random, char end) {
    static const std::string telling("0123456789-+.eE,, \tnt\"%sx\0", 26);
    std::string bytes(random() % 200, '\0');
    for (char& byte : bytes)
        do
            byte = random() % 4 != 0 ? telling[random() % telling.size()]
                                     : static_cast<char>(random() % 256);
        while (byte == end || byte == '\\');
    return bytes;
}

// The fields of a value, read as plainly as can be; behind one that does not parse are no more.
class PlainFields {
public:
    explicit PlainFields(const std::string& value) : rest_(value.c_str()) {}
    int number(int otherwise) {
        const long long value = std::strtoll(rest_, &end_, 10);
        return takes(value >= INT_MIN && value <= INT_MAX) ? static_cast<int>(value) : otherwise;
    }
    float ratio() {
        const float value = std::strtof(rest_, &end_);
        return takes(true) ? value : 0;
    }
    std::string word(const char* ends = blanks) {
        const char* const begin = rest_ + std::strspn(rest_, blanks);
        rest_ = begin + std::strcspn(begin, ends);
        return {begin, rest_};
    }

private:
    static constexpr const char* blanks = " \t\n\v\f\r";
    bool takes(bool fits) {
        const bool isTaken = fits && end_ != rest_;
        rest_ = isTaken ? end_ : "";
        return isTaken;
    }

    const char* rest_;
    char* end_ = nullptr;
};

std::string formatIn(PlainFields fields) {
    std::ostringstream out;
    for (int i = 0; i < 5; ++i)
        out << fields.number(0) << ' ';
    for (int i = 0; i < 2; ++i)
        out << fields.ratio() << ' ';
    out << fields.word() << ' ';
    out << (fields.number(0) & 255) << ' ';
    out << fields.word() << ' ';
    out << fields.word("");
    return out.str();
}

// The items of a list, or its pairs as "first:second", the first so many of them.
std::string listIn(const std::string& value, bool isOfPairs, std::size_t most) {
    std::vector<std::string> pieces(1);
    for (const char c : value)
        c == ',' ? pieces.emplace_back() : pieces.back() += c;
    const std::size_t step = isOfPairs ? 2 : 1;
    std::string list;
    for (std::size_t i = 0; i + step <= pieces.size() && most > 0; i += step) {
        if (pieces[i].empty() && !isOfPairs)
            continue;
        list += (list.empty() ? "" : ",") + pieces[i] + (isOfPairs ? ":" + pieces[i + 1] : "");
        --most;
    }
    return list;
}

std::string numbersIn(PlainFields& fields, bool isType) {
    const int type = isType ? fields.number(0) & 255 : 0;
    const int first = fields.number(-1), second = isType ? -1 : fields.number(-1);
    const std::string numbers = std::to_string(first) + "," + std::to_string(second);
    return (isType && type != 99 ? "type=" + std::to_string(type) + ";" : "") +
           (numbers == "-1,-1" ? "" : "numbers=" + numbers + ";");
}

// Services::outputs() after a reply with this value.
std::string outputsOf(const std::string& operation, const std::string& value) {
    PlainFields fields(value);
    const bool isPairs = operation == "getChildren", isPath = operation == "translatePaths";
    const std::string list = listIn(value, isPairs, isPath ? 2 : value.size() + 1);
    if (operation == "ping")
        return "";
    if (operation == "getRootNode")
        return "id=" + value + ";";
    if (operation == "getDisplayName")
        return "text=" + value + ";";
    if (operation == "getClipFormat")
        return "format=" + formatIn(fields) + ";";
    const bool isType = operation == "getNodeType";
    if (isType || operation == "queryVersion")
        return numbersIn(fields, isType);
    if (isPath) {
        const bool isBoth = list.find(',') != std::string::npos;
        return list.empty() ? "" : "paths=" + list + (isBoth ? ";" : ",kept;");
    }
    if (operation == "allocateFrames")
        return list.empty() ? "" : "frames=kept," + list + ";";
    return (isPairs ? "children=" : operation == "getFrames" ? "frames=" : "list=") + list + ";";
}

class GarbageReplies : public testing::TestWithParam<const char*> {};

// One server answers all calls on one connection.
TEST_P(GarbageReplies, AreReadAsWhatTheyAre) {
    const WireOperation& operation = wireOperation(GetParam());
    const bool isFrame = operation.service == WireOperation::Frame;
    std::minstd_rand random(1);
    struct Outcome {
        bool succeeds;
        std::string text, outputs;
    };
    std::vector<Outcome> outcomes;
    Script script;
    while (outcomes.size() < 10000) {
        const std::string value = garbage(random, isFrame ? '\0' : '\n');
        const bool succeeds = isFrame ? value.empty() : random() % 2 != 0;
        const std::string text = value.substr(0, value.find('\0'));
        outcomes.push_back({succeeds, text.substr(0, longestText),
                            !succeeds ? ""
                            : isFrame ? operation.outputs
                                      : outputsOf(operation.name, text)});
        script.push_back(expect(operation.request));
        if (isFrame)
            script.push_back(reply(succeeds ? operation.reply : value + nul));
        else
            script.push_back(reply((succeeds ? "ok " : "error ") + value + "\n"));
    }
    ScriptedServer server;
    Services services(server.host());
    operation.play(server, script);
    for (const Outcome& outcome : outcomes) {
        services.forgetOutputs();
        ASSERT_EQ(outcome.succeeds, operation.run(services));
        ASSERT_EQ(outcome.outputs, services.outputs()) << outcome.text;
        ASSERT_TRUE(outcome.succeeds || outcome.text == services.error) << services.error;
    }
}

// One operation for each way in which a reply is read.
INSTANTIATE_TEST_SUITE_P(Parser, GarbageReplies,
                         testing::Values("ping", "queryVersion", "translatePaths", "getRootNode",
                                         "getChildren", "getNodeType", "getDisplayName",
                                         "allocateFrames", "getFrames", "getFramePaths",
                                         "getClipFormat", "writeFrame", "readFrame"),
                         [](const auto& each) { return each.param; });

// A frame connection is dropped when the rest of a long status may still be on the way.
TEST(StatusOfEveryLength, IsCutWhereAnExceptionEnds) {
    for (const std::size_t length :
         {510U, 511U, 512U, 1022U, 1023U, 1024U, 2047U, 2048U, 2049U, 10000U})
        for (const char* const name : {"writeFrame", "readFrame", "getChildren", "ping"}) {
            SCOPED_TRACE(name + (" " + std::to_string(length)));
            const WireOperation& operation = wireOperation(name);
            const bool isFrame = operation.service == WireOperation::Frame;
            const bool isDropped = length >= (name == std::string("writeFrame") ? 1023 : 2048);
            const std::string status(length, 'x');
            ScriptedServer server;
            Services services(server.host());
            operation.play(server, {expect(operation.request),
                                    reply(isFrame ? status + nul : "error " + status + "\n"),
                                    isFrame && isDropped ? awaitClose : reply(""),
                                    expect(operation.request), reply(operation.reply)});
            EXPECT_FALSE(operation.run(services));
            EXPECT_EQ(status.substr(0, longestText), services.error);
            EXPECT_TRUE(operation.run(services)) << services.error;
            EXPECT_EQ(operation.outputs, services.outputs());
        }
}

// The peak of this process's memory, in KiB, since it was last reset.
long peakMemory() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stol(line.substr(6));
    return 0;
}

// How a line begins, and what follows for ever.
class EndlessLine : public testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(EndlessLine, IsGivenUpWithinItsBound) {
#ifdef LANTRIX_SANITIZED
    GTEST_SKIP() << "the sanitizer's own memory is not told from the library's";
#endif
    std::string piece;
    while (piece.size() < 1 << 20)
        piece += GetParam().second;
    asio::io_context context;
    const asio::ip::address_v4 address(0x7FFF0000U + static_cast<unsigned>(::getpid()) % 0xFFFFU);
    asio::ip::tcp::acceptor acceptor(context, {address, DevServer::commandPort});
    std::thread server([&] {
        RawClient client(acceptor.accept());
        client.send(GetParam().first);
        while (client.send(piece))
            continue;
    });
    Services services(address.to_string().c_str());
    std::ofstream("/proc/self/clear_refs") << "5"; // resets the peak
    const long before = peakMemory();
    EXPECT_FALSE(wireOperation("getDisplayName").run(services));
    const long grown = peakMemory() - before;
    EXPECT_EQ("Reply line longer than 256 MiB.", services.error);
    EXPECT_FALSE(services.commands.isConnected());
    server.join();
    EXPECT_LT(grown, (256 + 32) * 1024);
}

INSTANTIATE_TEST_SUITE_P(Of, EndlessLine,
                         testing::Values(std::pair("ok ", "x"), std::pair("error ", "\\n"),
                                         std::pair("ok ", "xxxxxxx\\n"), std::pair("", "x")));

// The reply, what its growth leaves behind, and 4 bytes for each child.
TEST(ListOfMillions, TakesLittleMoreThanItsReply) {
#ifdef LANTRIX_SANITIZED
    GTEST_SKIP() << "the sanitizer's own memory is not told from the library's";
#endif
    constexpr int children = 4 << 20;
    std::string list = "ok ";
    while (list.size() < 5 * std::size_t{children} - 2)
        list += "id,n,";
    ScriptedServer server;
    server.commands({{"sync 0 GetChildren n1\n", std::move(list) + "id,n\n"}});
    const LantrixServerHandle handle(server.host());
    const LantrixNodeHandle node(handle, "n1");
    int count = 0;
    std::ofstream("/proc/self/clear_refs") << "5"; // resets the peak
    const long before = peakMemory();
    EXPECT_TRUE(node.getNumChildren(count));
    EXPECT_EQ(children, count);
    EXPECT_LT(peakMemory() - before, (5 + 4 + 4) * (children >> 10) + 2048);
}

TEST(PeerThatDoesNotAnswer, IsGivenUpAfterTenSecondsByEveryOperation) {
    const auto& all = wireOperations();
    const Lateness lateness;
    EXPECT_EQ("", runCases(all.size(), all.size(), [&](std::size_t i) -> std::string {
                  ScriptedServer server;
                  server.ignoreConnections();
                  Services services(server.host());
                  const auto start = Clock::now();
                  const bool succeeded = all[i].run(services);
                  const auto took = Clock::now() - start;
                  const std::string host = server.host();
                  if (succeeded ||
                      services.error != "Can't open connection to host '" + host + "': Timed out")
                      return all[i].name + (" says " + services.error);
                  const bool inTime =
                      took >= Milliseconds(10000) && took <= Milliseconds(10500) + lateness.worst();
                  return inTime ? "" : all[i].name + std::string(" is not in time");
              }));
}

// Between two calls, and in the middle of one: a thousand times each, with SIGPIPE at its default.
TEST(ServerThatRestarts, IsFoundAgainAThousandTimes) {
    std::signal(SIGPIPE, SIG_DFL);
    const std::size_t descriptors = openDescriptors();
    for (const char* const name : {"getDisplayName", "writeFrame", "readFrame"}) {
        const WireOperation& operation = wireOperation(name);
        Script script;
        for (std::size_t i = 0; i < 1000; ++i) {
            script.push_back({operation.request.substr(0, i % operation.request.size()), "",
                              i % 2 != 0 ? Step::Then::Cut : Step::Then::Reset});
            script.push_back({operation.request, operation.reply, Step::Then::Cut});
        }
        ScriptedServer server;
        Services services(server.host());
        operation.play(server, script);
        int successes = 0;
        for (int failures = 0; successes < 1000 && failures <= 2;) {
            const bool succeeded = operation.run(services);
            successes += succeeded ? 1 : 0;
            failures = succeeded ? 0 : failures + 1;
        }
        EXPECT_EQ(1000, successes) << name << services.error;
        EXPECT_EQ("", server.finish());
    }
    EXPECT_EQ(descriptors, openDescriptors());
}

} // namespace
