#include "tests/support/WireOperations.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>

#include <sys/resource.h>
#include <unistd.h>

namespace {

const std::string nul(1, '\0');

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

// Builds a locale in a scratch directory where the system has none. Warnings of the builder about
// what the locale leaves out make it fail, though it has written the locale.
bool setLocaleWithDecimalComma() {
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr)
        return true;
    const std::string folder = testing::TempDir() + "locale" + std::to_string(::getpid());
    const std::string build = "mkdir -p " + folder + " && cd " + folder +
                              " && sed 's/^decimal_point.*/decimal_point \",\"/' "
                              "/usr/share/i18n/locales/POSIX >source && "
                              "localedef -c -i ./source -f UTF-8 ./comma >log 2>&1";
    static_cast<void>(std::system(build.c_str()));
    ::setenv("LOCPATH", folder.c_str(), 1);
    const bool set = std::setlocale(LC_ALL, "comma") != nullptr;
    std::filesystem::remove_all(folder);
    return set;
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
        if (operation.reply.empty())
            continue;
        SCOPED_TRACE(operation.name);
        const bool isFrame = operation.service == WireOperation::Frame;
        ScriptedServer server;
        Services services(server.host());
        operation.play(server, {expect(operation.request),
                                reply(isFrame ? "No, \\o/" + nul : "error No, \\o/\n"),
                                expect(operation.request), reply(operation.reply)});
        EXPECT_FALSE(operation.run(services));
        EXPECT_EQ(isFrame ? "No, \\o/" : "No, o/", services.error);
        EXPECT_EQ("", services.outputs());
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

} // namespace
