#include "tests/support/WireOperations.h"

#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cstdlib>
#include <future>

#include <sys/resource.h>
#include <unistd.h>

namespace {

const std::string nul(1, '\0');

bool hasReply(const WireOperation& operation) {
    return !operation.reply.empty();
}

std::string refusal(const WireOperation& operation, const std::string& text) {
    return operation.service == WireOperation::Frame ? text + nul : "error " + text + "\n";
}

// A call answered by the script succeeds and gives the operation's outputs.
void expectSuccess(const WireOperation& operation, Services& services) {
    services.forgetOutputs();
    EXPECT_TRUE(operation.run(services)) << services.error;
    EXPECT_EQ(operation.outputs, services.outputs());
}

void expectGoodExchange(const WireOperation& operation, const Step& answer) {
    SCOPED_TRACE(operation.name);
    ScriptedServer server;
    Services services(server.host());
    operation.play(server, {expect(operation.request), answer});
    expectSuccess(operation, services);
}

TEST(EveryWireOperation, SendsItsRequestAndReadsItsReply) {
    EXPECT_EQ(26U, wireOperations().size());
    for (const WireOperation& operation : wireOperations())
        expectGoodExchange(operation, reply(operation.reply));
}

TEST(EveryWireOperation, AssemblesAReplyThatComesByteByByte) {
    for (const WireOperation& operation : wireOperations())
        expectGoodExchange(operation, dribble(operation.reply));
}

TEST(EveryWireOperation, WorksBeyondTheFirstThousandDescriptors) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    std::vector<int> taken;
    while (taken.empty() || taken.back() < 1100)
        taken.push_back(::dup(STDERR_FILENO));
    for (const WireOperation& operation : wireOperations())
        expectGoodExchange(operation, reply(operation.reply));
    for (const int fd : taken)
        ::close(fd);
}

// Builds the locale in a scratch directory where the system does not have it.
bool setLocaleWithDecimalComma() {
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr)
        return true;
    const std::string folder = testing::TempDir() + "locale" + std::to_string(::getpid());
    const std::string build = "mkdir " + folder + " && localedef -i de_DE -f UTF-8 " + folder +
                              "/de_DE.UTF-8 >" + folder + "/log 2>&1";
    const bool built = std::system(build.c_str()) == 0;
    ::setenv("LOCPATH", folder.c_str(), 1);
    const bool set = built && std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    return std::system(("rm -r " + folder).c_str()) == 0 && set;
}

TEST(EveryWireOperation, KeepsTheDecimalPointWhereTheLocaleHasAComma) {
    if (!setLocaleWithDecimalComma())
        GTEST_SKIP() << "no locale with a decimal comma, and no localedef to build one";
    char text[8];
    std::snprintf(text, sizeof text, "%g", 0.5);
    EXPECT_STREQ("0,5", text);
    for (const WireOperation& operation : wireOperations())
        expectGoodExchange(operation, reply(operation.reply));
    std::setlocale(LC_ALL, "C");
}

TEST(EveryWireOperation, ReportsARefusalAndGoesOnOnTheSameConnection) {
    for (const WireOperation& operation : wireOperations()) {
        if (!hasReply(operation))
            continue;
        SCOPED_TRACE(operation.name);
        ScriptedServer server;
        Services services(server.host());
        operation.play(server, {expect(operation.request), reply(refusal(operation, "No, \\o/")),
                                expect(operation.request), reply(operation.reply)});
        EXPECT_FALSE(operation.run(services));
        EXPECT_EQ(operation.service == WireOperation::Frame ? "No, \\o/" : "No, o/",
                  services.error);
        EXPECT_EQ("", services.outputs());
        expectSuccess(operation, services);
    }
}

TEST(EveryWireOperation, RecoversFromAReplyCutInTheMiddle) {
    for (const WireOperation& operation : wireOperations()) {
        if (operation.reply.size() < 2)
            continue;
        SCOPED_TRACE(operation.name);
        ScriptedServer server;
        Services services(server.host());
        const std::string half = operation.reply.substr(0, operation.reply.size() / 2);
        operation.play(server, {expect(operation.request), reply(half), cut,
                                expect(operation.request), reply(operation.reply)});
        EXPECT_FALSE(operation.run(services));
        if (operation.service == WireOperation::Frame)
            EXPECT_EQ("Connection closed", services.error);
        else
            EXPECT_EQ("", services.outputs() + services.error); // a failed read has no text here
        // A command connection is found broken by the write after next at the latest.
        for (int calls = 0; calls < 2 && operation.service != WireOperation::Frame; ++calls)
            if (operation.run(services))
                break;
        expectSuccess(operation, services);
    }
}

TEST(EveryWireOperation, TellsThatTheServerIsDown) {
    for (const WireOperation& operation : wireOperations()) {
        const ScriptedServer closed;
        Services services(closed.host());
        EXPECT_FALSE(operation.run(services)) << operation.name;
        EXPECT_EQ(std::string("Can't open connection to host '") + closed.host() +
                      "': 'Connection refused'",
                  services.error);
        EXPECT_EQ("", services.outputs());
    }
}

// Stops the operation while it waits for its reply, which then comes all the same.
void expectStopThenRecovery(const WireOperation& operation) {
    SCOPED_TRACE(operation.name);
    const bool isFrame = operation.service == WireOperation::Frame;
    ScriptedServer server;
    Services services(server.host());
    const std::string late = isFrame ? operation.reply : "ok late\n";
    operation.play(server, {expect(operation.request), gate, reply(late), gate,
                            isFrame ? awaitClose : reply(""), expect(operation.request),
                            reply(operation.reply)});
    auto running = std::async(std::launch::async, [&] { return operation.run(services); });
    server.awaitGate();
    // The operation may not wait yet, and forgets a stop that comes before it does.
    while (running.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        services.stop();
    EXPECT_FALSE(running.get());
    const std::string method = operation.request.substr(7, operation.request.find(' ', 7) - 7);
    EXPECT_EQ(isFrame ? "Cannot read data on socket: Connection stopped"
                      : method + " command stopped.",
              services.error);
    EXPECT_EQ("", services.outputs());
    server.openGate();
    server.awaitGate(); // the late reply has arrived
    server.openGate();
    expectSuccess(operation, services);
}

TEST(EveryWireOperation, EndsWhenStoppedAndDropsTheLateReply) {
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::future<void>> all;
    for (const WireOperation& operation : wireOperations())
        if (hasReply(operation))
            all.push_back(std::async(std::launch::async, expectStopThenRecovery, operation));
    all.clear(); // awaits them
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

} // namespace
