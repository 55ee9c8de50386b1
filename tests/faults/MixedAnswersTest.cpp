// Answers that belong to another call, or to another process, and are never taken: replies that
// come late, and connections that a fork has doubled.
#include "tests/faults/Cases.h"
#include "tests/faults/Exchange.h"
#include "tests/faults/HealthyServer.h"
#include "tests/faults/PublicOperations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include <sys/wait.h>
#include <unistd.h>

namespace {

// One call that is stopped at some moment, perhaps before its late reply has come.
std::string runLate(Services& services, const WireOperation& operation, Milliseconds moment) {
    services.forgetOutputs();
    std::thread stopper([&] {
        std::this_thread::sleep_for(moment);
        services.stop();
    });
    const bool succeeded = operation.run(services);
    stopper.join();
    const std::string method = methodOf(operation), outputs = services.outputs();
    if (succeeded ? outputs == operation.outputs && !outputs.empty()
                  : outputs.empty() && (services.error == method + " command stopped." ||
                                        services.error == method + " refused"))
        return "";
    return method + (succeeded ? " gives " + outputs : " says " + services.error) + "\n";
}

TEST(LateReplies, AnswerNoOtherCall) {
    std::vector<const WireOperation*> operations;
    for (const WireOperation& each : wireOperations())
        if (each.service != WireOperation::Frame)
            operations.push_back(&each);
    HealthyServer server;
    server.answerLate(true);
    EXPECT_EQ("", runCases(250, 250, [&](std::size_t i) {
                  std::minstd_rand random(static_cast<unsigned>(i) + 1);
                  Services services(server.host());
                  std::string problems;
                  for (int call = 0; call < 4; ++call)
                      problems += runLate(services, *operations[random() % operations.size()],
                                          Milliseconds(random() % 1500));
                  return problems;
              }));
}

// Asks both connections again and again; counts the answers that are not this process's.
int wrongAnswers(Handles& handles, bool (LantrixServerHandle::*ask)(LantrixStr&) const,
                 const LantrixStr& answer, const char* bytes) {
    int wrong = 0;
    ::alarm(50); // an answer that the other process took would be waited for without end
    for (int i = 0; i < 300; ++i) {
        const bool asked = (handles.server.*ask)(handles.text);
        const bool isRight = asked && handles.text == answer;
        std::fill(handles.frame.begin(), handles.frame.end(), '\0');
        const bool isRead = handles.server.readFrame("f1", handles.frame.data(), 4096);
        wrong += isRight && isRead && std::equal(bytes, bytes + 4096, handles.frame.data()) ? 0 : 1;
    }
    ::alarm(0);
    return wrong;
}

TEST(ForkedProcess, OpensConnectionsOfItsOwn) {
    HealthyServer server;
    Handles handles(server.host());
    LantrixStr vendor, product;
    ASSERT_TRUE(handles.server.getVendor(vendor) && handles.server.getProduct(product));
    ASSERT_TRUE(handles.server.readFrame("f1", handles.frame.data(), 4));
    const pid_t child = ::fork();
    const bool isChild = child == 0;
    const int wrong = wrongAnswers(
        handles, isChild ? &LantrixServerHandle::getProduct : &LantrixServerHandle::getVendor,
        isChild ? product : vendor, healthyBytes().data());
    if (isChild)
        ::_exit(std::min(wrong, 255));
    EXPECT_EQ(0, wrong);
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

} // namespace
