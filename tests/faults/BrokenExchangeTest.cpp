// Every wire operation against a server that fails at one byte of the exchange: all operations,
// all bytes. After each case the same handle must work again.
#include "tests/faults/Cases.h"
#include "tests/faults/Exchange.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

namespace {

using Then = Step::Then;

bool isOneOf(const std::string& text, std::initializer_list<std::string> texts) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// A failed read on the command connection has no text of its own there. Before anything has
// arrived the client may still be connecting or writing.
bool isDescribed(const Exchange& broken, const Services& services) {
    const std::string gone = "Connection reset by peer", read = "Cannot read data on socket: ";
    const std::string host = services.commands.host(), ended = services.commands.lastError();
    if (broken.isFrame() ? isOneOf(services.error, {"Connection closed", read + gone})
                         : services.error.empty() && isOneOf(ended, {"Connection closed", gone}))
        return true;
    const std::string refused = "Can't open connection to host '" + host + "': '" + gone + "'";
    return broken.at == 0 &&
           isOneOf(services.error, {gone, "Broken pipe", read + "Broken pipe", refused});
}

// The server fails; every later connection finds it healthy. The next call works; that a connection
// broke behind a success costs one call.
std::string runBroken(const Exchange& broken, Then fault) {
    const WireOperation& probe = probeAfter(broken);
    Script script = {{broken.received(), broken.sent(), fault}};
    if (fault == Then::HalfClose) {
        // Its receiving side lives on, and takes a request that it can't answer any more.
        script.push_back(expect(broken.unread()));
        script.push_back(expect(broken.isAnswered() ? probe.request : ""));
        script.push_back(awaitClose);
    }
    script.push_back(expect(probe.request));
    script.push_back(reply(probe.reply));
    ScriptedServer server;
    Services services(server.host());
    broken.operation->play(server, script);
    const bool succeeded = broken.operation->run(services);
    std::string problem = problemOfOutcome(broken, succeeded, services);
    if (!succeeded && !isDescribed(broken, services))
        problem += " says '" + services.error + "'";
    if (problem.empty())
        problem = problemOfRecovery(broken, services, succeeded ? 1 : 0);
    problem += server.finish();
    return placed(broken, problem);
}

void expectEveryCaseClean(Then fault) {
    const std::size_t descriptors = openDescriptors();
    const std::vector<Exchange> cases = exchangesAtEveryByte();
    EXPECT_GT(cases.size(), 1000U);
    EXPECT_EQ(
        "", runCases(cases.size(), 32, [&](std::size_t i) { return runBroken(cases[i], fault); }));
    EXPECT_EQ(descriptors, openDescriptors());
}

TEST(ExchangeBrokenAtEveryByte, ByAnOrderlyCloseIsReportedAndRecovered) {
    expectEveryCaseClean(Then::Cut);
}

TEST(ExchangeBrokenAtEveryByte, ByAResetIsReportedAndRecovered) {
    expectEveryCaseClean(Then::Reset);
}

TEST(ExchangeBrokenAtEveryByte, ByAHalfCloseIsReportedAndRecovered) {
    expectEveryCaseClean(Then::HalfClose);
}

// The two pieces arrive one after the other, each at its own read.
std::string runSplit(const Exchange& split) {
    const WireOperation& operation = *split.operation;
    ScriptedServer server;
    Services services(server.host());
    operation.play(server, {{operation.request, split.sent()}, gate, reply(split.unsent())});
    auto running = std::async(std::launch::async, [&] { return operation.run(services); });
    server.awaitGate();
    std::this_thread::sleep_for(Milliseconds(2)); // nothing tells that the first has been read
    server.openGate();
    std::string problem = problemOfOutcome(wholeExchange(operation), running.get(), services);
    problem += server.finish();
    return placed(split, problem);
}

TEST(ReplySplitAtEveryByte, IsAssembled) {
    std::vector<Exchange> cases;
    for (const Exchange& each : exchangesAtEveryByte())
        if (each.unread().empty() && !each.isAnswered())
            cases.push_back(each);
    EXPECT_GT(cases.size(), 200U);
    EXPECT_EQ("", runCases(cases.size(), 32, [&](std::size_t i) { return runSplit(cases[i]); }));
}

// Behind a reply line surplus bytes are dropped; on the frame connection, where nothing marks an
// end, they are the next call's status, and no more than that.
std::string runSurplus(const WireOperation& operation) {
    const Exchange whole = wholeExchange(operation);
    const WireOperation& probe = probeAfter(whole);
    const std::string surplus = whole.isFrame() ? std::string("surplus\0", 8) : "ok surplus\n\nerr";
    ScriptedServer server;
    Services services(server.host());
    Script script = {expect(operation.request), reply(operation.reply + surplus),
                     expect(probe.request), reply(probe.reply)};
    if (whole.isFrame())
        script.insert(script.end() - 2, expect(probe.request));
    operation.play(server, script);
    std::string problem = problemOfOutcome(whole, operation.run(services), services);
    if (whole.isFrame() && (probe.run(services) || services.error != "surplus"))
        problem += " is not told of the surplus";
    problem += problemOfRecovery(whole, services, 0);
    problem += server.finish();
    return placed(whole, problem);
}

TEST(ReplyWithSurplusBytes, AnswersOneCallOnly) {
    const auto& all = wireOperations();
    EXPECT_EQ("", runCases(all.size(), 4, [&](std::size_t i) { return runSurplus(all[i]); }));
}

} // namespace
