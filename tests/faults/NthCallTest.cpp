// Every operation with the first, the second, the third ... call that it makes of the system, or
// for memory, failing, until it makes no call more. All operations, all calls.
#include "base/loggerBase/src/CoMsg.h"
#include "tests/faults/CallFaults.h"
#include "tests/faults/Cases.h"
#include "tests/faults/HealthyServer.h"
#include "tests/faults/PublicOperations.h"
#include "tests/support/WireOperations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>
#include <new>

namespace {

// Messages are made, and dropped.
struct SilentRouter : CoMsg::Router {
    void post(const CoMsg&) const override {}
};

// What a failure may say: the text of the call that failed, with its place; nothing, where a read
// failed on the command connection; or what the operation says whatever it was.
bool isDescribed(Call failed, const std::string& host, const std::string& text) {
    const std::string error = std::strerror(errorOf(failed));
    const auto isOneOf = [&](std::initializer_list<std::string> texts) {
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    };
    if (text == "Functionality not supported on remote Lantrix server.")
        return true;
    switch (failed) {
    case Call::Memory: // the text itself may not find memory
        return true;
    case Call::Socket:
        return text == "Can't open socket for host '" + host + "': '" + error + "'";
    case Call::Connect:
    case Call::GetOption:
        return text == "Can't open connection to host '" + host + "': '" + error + "'";
    case Call::Fcntl:
        return text == "Couldn't set socket as nonblocking: " + error;
    case Call::Poll:
    case Call::Read:
    case Call::Send:
        return isOneOf({"", error, "Cannot read data on socket: " + error});
    case Call::Resolve:
        return text == "Unknown host '" + host + "'";
    default:
        return false;
    }
}

// The operations of the services and those of the handles, on a subject of their own.
struct ServiceSubject {
    explicit ServiceSubject(const char* host) : services(host) { services.error.reserve(1024); }
    static std::size_t operations() { return wireOperations().size(); }
    static const char* name(std::size_t i) { return wireOperations()[i].name; }
    // The frame service throws whatever fails; no exception leaves the others.
    bool run(std::size_t i) {
        try {
            return wireOperations()[i].run(services);
        } catch (const std::bad_alloc&) {
            if (wireOperations()[i].service != WireOperation::Frame)
                throw;
            return false;
        }
    }
    std::string error() const { return services.error; }
    bool hasOutputsOf(std::size_t i) { return services.outputs() == wireOperations()[i].outputs; }
    bool hasNoOutputs() {
        services.frame = "kept"; // a buffer that is being read into is no output until it is full
        return services.outputs().empty();
    }
    bool asks() { return wireOperation("queryNodePlugInVendor").run(services); }
    bool writes() { return wireOperation("writeFrame").run(services); }

    Services services;
};

struct HandleSubject {
    explicit HandleSubject(const char* host) : handles(host) {}
    static std::size_t operations() { return publicOperations().size(); }
    static const char* name(std::size_t i) { return publicOperations()[i].name; }
    bool run(std::size_t i) { return publicOperations()[i].call(handles); }
    std::string error() const { return handles.server.lastError(); }
    bool hasOutputsOf(std::size_t) const { return true; }
    bool hasNoOutputs() const { return true; }
    bool asks() { return handles.server.getVendor(handles.text); }
    bool writes() { return handles.server.writeFrame("f1", "data", 4); }

    Handles handles;
};

struct Mode {
    Failure failure;
    int times;
};

template <class Subject>
std::string problemOf(Subject& subject, std::size_t i, bool succeeded, const CallFaults& faults,
                      const std::string& host) {
    if (!succeeded && faults.failure() != Failure::Error)
        return " fails with '" + subject.error() + "'";
    if (!succeeded && !isDescribed(faults.failed(), host, subject.error()))
        return " says '" + subject.error() + "'";
    // A string that finds no memory is empty, and nobody is told.
    const bool told = faults.failed() == Call::Memory ||
                      (succeeded ? subject.hasOutputsOf(i) : subject.hasNoOutputs());
    return told ? "" : " gives other outputs";
}

// Commands work again at the third call at the latest, frames at the next.
template <class Subject>
std::string problemOfRecovery(Subject& subject) {
    if (!subject.writes() || !(subject.asks() || subject.asks() || subject.asks()))
        return " does not work again: '" + subject.error() + "'";
    return "";
}

class NthCall : public testing::Test {
protected:
    NthCall() { CoMsg::router_ = &silent_; }
    ~NthCall() override { CoMsg::router_ = &CoMsg::defaultRouter_; }

    // One operation on a new handle, and the end of that handle; counts what failed. "" when clean.
    template <class Subject>
    std::string run(std::size_t i, Mode mode, int nth) {
        auto subject = std::make_unique<Subject>(server_.host());
        CallFaults faults(mode.failure, nth, mode.times);
        const bool succeeded = subject->run(i);
        if (!faults.struck())
            subject.reset(); // makes the last calls
        faults.disarm();
        last_ = faults.failed();
        ++failures_[static_cast<std::size_t>(last_)];
        if (subject == nullptr)
            return succeeded ? "" : " fails without a fault";
        const std::string problem = problemOf(*subject, i, succeeded, faults, server_.host());
        return problem.empty() ? problemOfRecovery(*subject) : problem;
    }

    template <class Subject>
    std::string runAll(std::size_t i, Mode mode) {
        run<Subject>(i, mode, INT_MAX); // what is made once in a process is made now
        last_ = Call::Memory;
        for (int nth = 1; last_ != Call::Count; ++nth) {
            const long blocks = liveBlocks();
            std::string problem = run<Subject>(i, mode, nth);
            if (problem.empty() && liveBlocks() != blocks)
                problem = " leaks memory";
            if (!problem.empty())
                return std::string(Subject::name(i)) + ", call " + std::to_string(nth) + " (" +
                       std::to_string(static_cast<int>(last_)) + "):" + problem + "\n";
        }
        return "";
    }

    template <class Subject>
    void expectClean(Mode mode) {
        server_.awaitNoConnections();
        const std::size_t descriptors = openDescriptors();
        std::string problems;
        for (std::size_t i = 0; i < Subject::operations(); ++i)
            problems += runAll<Subject>(i, mode);
        EXPECT_EQ("", problems);
        server_.awaitNoConnections();
        EXPECT_EQ(descriptors, openDescriptors());
    }

    HealthyServer server_;
    SilentRouter silent_;
    Call last_ = Call::Count;
    std::array<int, static_cast<std::size_t>(Call::Count) + 1> failures_{};
};

TEST_F(NthCall, FailingOnceIsReportedAndRecovered) {
    expectClean<ServiceSubject>({Failure::Error, 1});
    expectClean<HandleSubject>({Failure::Error, 1});
    for (const int failures : failures_)
        EXPECT_GT(failures, 0); // every function is one that the library calls
}

TEST_F(NthCall, FailingWithAllThatFollowIsReportedAndRecovered) {
    expectClean<ServiceSubject>({Failure::Error, INT_MAX});
    expectClean<HandleSubject>({Failure::Error, INT_MAX});
}

// An interruption that never ends is no failure to be reported: what is interrupted is tried again.
TEST_F(NthCall, InterruptedByASignalGoesOn) {
    for (const int times : {1, 100}) {
        expectClean<ServiceSubject>({Failure::Interruption, times});
        expectClean<HandleSubject>({Failure::Interruption, times});
    }
}

TEST_F(NthCall, TransferringOneByteOnlyGoesOn) {
    for (const int times : {1, 100}) {
        expectClean<ServiceSubject>({Failure::ShortCount, times});
        expectClean<HandleSubject>({Failure::ShortCount, times});
    }
}

} // namespace
