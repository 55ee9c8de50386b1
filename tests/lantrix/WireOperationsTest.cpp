// Each operation of the wire sends its bytes and reads its reply.
#include "tests/support/WireOperations.h"

#include <gtest/gtest.h>

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

} // namespace
