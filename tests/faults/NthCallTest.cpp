// Every operation with the first, the second, the third ... call that it makes of the system, or
// for memory, failing, until it makes no more calls. All operations, all calls.
#include "base/loggerBase/src/CoMsg.h"
#include "base/tcp/src/CoIoTcpDescriptor.h"
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
#include <iterator>
#include <map>
#include <memory>
#include <new>

#include <fcntl.h>
#include <sys/socket.h>

namespace {

// Messages are made, and dropped.
struct SilentRouter : CoMsg::Router {
    void post(const CoMsg&) const override {}
};

// What a failure may say: the text of the call that failed, with its place; nothing, where a read
// failed on the command connection; or what the operation says whatever it was.
bool isDescribed(Call failed, const std::string& host, const std::string& text) {
    const std::string error = std::strerror(errorOf(failed));
    const std::string unconnected = "Can't open connection to host '" + host + "': '" + error + "'";
    const std::string unread = "Cannot read data on socket: " + error;
    const std::multimap<Call, std::string> described = {
        {Call::Socket, "Can't open socket for host '" + host + "': '" + error + "'"},
        {Call::Resolve, "Unknown host '" + host + "'"},
        {Call::Connect, unconnected},
        {Call::GetOption, unconnected},
        {Call::Fcntl, "Couldn't set socket as nonblocking: " + error},
        {Call::Poll, ""},
        {Call::Poll, error},
        {Call::Poll, unread},
        {Call::Read, ""},
        {Call::Read, unread},
        {Call::Send, error}};
    const auto [first, last] = described.equal_range(failed);
    return failed == Call::Memory || // the text itself may not find memory
           text == "Functionality not supported on remote Lantrix server." ||
           std::any_of(first, last, [&](const auto& each) { return each.second == text; });
}

// One operation of a service or of a handle, on services and handles of its own.
class Subject {
public:
    Subject(const char* host, std::size_t operation) : services_(host), handles_(host) {
        const std::size_t first = wireOperations().size();
        wire_ = operation < first ? &wireOperations()[operation] : nullptr;
        public_ = operation < first ? nullptr : &publicOperations()[operation - first];
        services_.error.reserve(1024);
    }
    static std::size_t operations() { return wireOperations().size() + publicOperations().size(); }
    bool isPublic() const { return public_ != nullptr; }
    const char* name() const { return wire_ != nullptr ? wire_->name : public_->name; }

    // The frame service throws whatever fails; no exception leaves the others.
    bool run() {
        try {
            return wire_ != nullptr ? wire_->run(services_) : public_->call(handles_);
        } catch (const std::bad_alloc&) {
            if (wire_ == nullptr || wire_->service != WireOperation::Frame)
                throw;
            return false;
        }
    }
    std::string error() const {
        return wire_ != nullptr ? services_.error : handles_.server.lastError();
    }
    std::string outputs() const {
        return wire_ != nullptr ? services_.outputs() : handles_.outputs();
    }
    void forgetFrame() { services_.frame = "kept"; } // not an output until it is full
    // What public operations give when a question that they can do without has failed, and what
    // those leave that take more than one step, is their own.
    bool mayGiveLess(Call failed) const {
        const std::string known[] = {"findChild", "resolveDisplayPath", "getFrameIdPath",
                                     "getStorageId"};
        const bool isTold = *handles_.server.lastError() != '\0';
        return (failed != Call::Memory || isTold) &&
               std::find(std::begin(known), std::end(known), name()) != std::end(known);
    }
    bool recovers() { return writes() && asks(); }

private:
    bool asks() {
        return wire_ != nullptr ? wireOperation("queryNodePlugInVendor").run(services_)
                                : handles_.server.getVendor(handles_.text);
    }
    bool writes() {
        return wire_ != nullptr ? wireOperation("writeFrame").run(services_)
                                : handles_.server.writeFrame("f1", "data", 4);
    }

    Services services_;
    Handles handles_;
    const WireOperation* wire_;
    const PublicOperation* public_;
};

struct Mode {
    Failure failure;
    int times;
};

// Of an operation: before it, and after one that no fault has disturbed.
struct Outputs {
    std::string before, undisturbed;
};

std::string problemOf(Subject& subject, bool succeeded, const CallFaults& faults,
                      const std::string& host, const Outputs& outputs) {
    if (!succeeded && faults.failure() != Failure::Error)
        return " fails with '" + subject.error() + "'";
    if (!succeeded && !isDescribed(faults.failed(), host, subject.error()))
        return " says '" + subject.error() + "'";
    if (!succeeded)
        subject.forgetFrame();
    const std::string& right = succeeded ? outputs.undisturbed : outputs.before;
    if (subject.outputs() != right && !subject.mayGiveLess(faults.failed()))
        return " gives " + subject.outputs() + " and not " + right;
    if (subject.isPublic() && !(subject.run() && subject.outputs() == outputs.undisturbed) &&
        !subject.mayGiveLess(faults.failed())) // what was kept is as good as what was given
        return " then gives " + subject.outputs() + " " + subject.error();
    return subject.recovers() ? "" : " does not work again: '" + subject.error() + "'";
}

class NthCall : public testing::Test {
protected:
    NthCall() { CoMsg::router_ = &silent_; }
    ~NthCall() override { CoMsg::router_ = &CoMsg::defaultRouter_; }

    // One operation on a new handle, and the end of that handle; counts what failed. "" when clean.
    std::string run(std::size_t operation, Mode mode, int nth) {
        auto subject = std::make_unique<Subject>(server_.host(), operation);
        CallFaults faults(mode.failure, nth, mode.times);
        const bool succeeded = subject->run();
        if (!faults.struck())
            subject.reset(); // makes the last calls
        faults.disarm();
        last_ = faults.failed();
        ++failures_[static_cast<std::size_t>(last_)];
        if (subject == nullptr)
            return succeeded ? "" : " fails without a fault";
        return problemOf(*subject, succeeded, faults, server_.host(), outputs_);
    }

    std::string runAll(std::size_t operation, Mode mode) {
        Subject calm(server_.host(), operation); // makes what is made once in a process
        outputs_.before = calm.outputs();
        calm.run();
        outputs_.undisturbed = calm.outputs();
        last_ = Call::Memory;
        for (int nth = 1; last_ != Call::Count; ++nth) {
            std::string problem;
            const auto leaks = [&] {
                const long blocks = liveBlocks();
                problem = run(operation, mode, nth);
                return problem.empty() && liveBlocks() != blocks;
            };
            // What the system keeps once it has used it is not a leak the second time.
            const bool leaked = leaks();
            if (leaked && leaks())
                problem = " leaks memory";
            if (!problem.empty())
                return Subject(server_.host(), operation).name() +
                       (", call " + std::to_string(nth)) + " (" +
                       std::to_string(static_cast<int>(last_)) + "):" + problem + "\n";
        }
        return "";
    }

    void expectClean(Mode mode) {
        server_.awaitNoConnections();
        const std::size_t descriptors = openDescriptors();
        std::string problems;
        for (std::size_t i = 0; i < Subject::operations(); ++i)
            problems += runAll(i, mode);
        EXPECT_EQ("", problems);
        server_.awaitNoConnections();
        EXPECT_GE(descriptors, openDescriptors()); // one that was just being closed has gone since
    }

    HealthyServer server_;
    SilentRouter silent_;
    Outputs outputs_;
    Call last_ = Call::Count;
    std::array<int, static_cast<std::size_t>(Call::Count) + 1> failures_{};
};

TEST(Socket, IsKeptFromOtherProgramsFromBirth) {
    const CoIoTcpDescriptor descriptor("", 7549, 0, 0, 1);
#ifdef SOCK_CLOEXEC
    EXPECT_NE(0, lastSocketType() & SOCK_CLOEXEC);
#endif
    EXPECT_NE(0, ::fcntl(descriptor.id(), F_GETFD) & FD_CLOEXEC);
}

TEST_F(NthCall, FailingOnceIsReportedAndRecovered) {
    expectClean({Failure::Error, 1});
    for (const int failures : failures_)
        EXPECT_GT(failures, 0); // every function is one that the library calls
}

TEST_F(NthCall, FailingWithAllThatFollowIsReportedAndRecovered) {
    expectClean({Failure::Error, INT_MAX});
}

// An interruption is not a failure to be reported: what is interrupted is tried again.
TEST_F(NthCall, InterruptedByASignalGoesOn) {
    for (const int times : {1, 100})
        expectClean({Failure::Interruption, times});
}

TEST_F(NthCall, TransferringOneByteOnlyGoesOn) {
    for (const int times : {1, 100})
        expectClean({Failure::ShortCount, times});
}

} // namespace
