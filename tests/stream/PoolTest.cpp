// The pool: work on several connections, its failures as values, cancelling, and that nothing is
// left of it.
#include "stream/Pool.h"
#include "tests/stream/StreamServer.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <system_error>

namespace {

using lantrix::Connection;
using lantrix::Failure;
using lantrix::Pool;
using lantrix::Retry;

Failure ping(Connection& connection) {
    return connection.server.ping() ? Failure() : Failure::lastOf(connection.server);
}

Failure findNothing(Connection& connection) {
    LantrixStr name;
    const LantrixNodeHandle node(connection.server, "none");
    return node.getDisplayName(name) ? Failure() : Failure::lastOf(connection.server);
}

TEST(Pool, OpensConnectionsAsWorkNeedsThem) {
    StreamServer server;
    Pool pool(server.host(), 3);
    EXPECT_EQ(0U, pool.opened());
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(pool.run(ping).get());
    EXPECT_EQ(1U, pool.opened()) << "who is on its way back from a callback takes what is new";

    std::promise<void> gate;
    std::vector<std::future<Failure>> works;
    const std::shared_future<void> opened = gate.get_future().share();
    for (int i = 0; i < 6; ++i)
        works.push_back(pool.run([opened](Connection& connection) {
            opened.wait();
            return ping(connection);
        }));
    EXPECT_EQ(3U, pool.opened());
    gate.set_value();
    for (auto& work : works)
        EXPECT_FALSE(work.get());
}

TEST(Pool, FailuresAreOfTheirKind) {
    StreamServer server;
    Pool pool(server.host(), 2);
    int asked = 0;
    const auto askOnce = [&asked](Connection& connection) {
        ++asked;
        return findNothing(connection);
    };
    const Failure refused = pool.run(askOnce, Retry::OnAnotherConnection).get();
    EXPECT_EQ(Kind::Refused, refused.kind) << refused.text;
    EXPECT_EQ(1, asked) << "what is refused must not be asked again";
    const Failure thrown =
        pool.run([](Connection&) -> Failure { throw std::runtime_error("thrown"); }).get();
    EXPECT_EQ(Kind::Refused, thrown.kind);
    EXPECT_EQ("thrown", thrown.text);

    const auto pretend = [](Connection&) { return Failure{Kind::Stopped, "X command stopped."}; };
    EXPECT_EQ(Kind::Connection, pool.run(pretend).get().kind) << "nobody has cancelled";

    server.stop();
    const Failure broken = pool.run(ping, Retry::OnAnotherConnection).get();
    EXPECT_EQ(Kind::Connection, broken.kind) << broken.text;
    EXPECT_FALSE(broken.text.empty());
    server.start();
    EXPECT_FALSE(pool.run(ping, Retry::OnAnotherConnection).get());
    pool.cancel();
    EXPECT_EQ(Kind::Stopped, pool.run(ping).get().kind);
}

TEST(Pool, ABrokenConnectionIsOneFailedPieceOfWork) {
    StreamServer server;
    Relayed relayed(server);
    Pool pool(relayed.host(), 2);
    for (const Fault fault : {Fault::Close, Fault::Reset}) {
        for (const Retry retry : {Retry::Never, Retry::OnAnotherConnection}) {
            relayed.relay.arm({Channel::Command, Side::Reply, fault, 1});
            std::vector<std::future<Failure>> works;
            for (int i = 0; i < 8; ++i)
                works.push_back(pool.run(ping, retry));
            int broken = 0;
            for (auto& work : works) {
                const Failure failure = work.get();
                broken += failure.kind == Kind::Connection ? 1 : 0;
                EXPECT_TRUE(!failure || failure.kind == Kind::Connection) << failure.text;
            }
            EXPECT_EQ(retry == Retry::Never ? 1 : 0, broken);
            EXPECT_TRUE(relayed.relay.disarm());
        }
    }
}

TEST(Pool, WorkEndsAtItsTimeLimitItsRetriesIncluded) {
    ScriptedServer remote;
    remote.commands(
        {{"sync 0 Ping \n", "", Step::Then::Cut}, expect("sync 0 Ping \n"), awaitClose});
    lantrix::PoolOptions options;
    options.timeLimit = std::chrono::milliseconds(500);
    std::atomic<int> retries{0};
    options.retrying = [&](const Failure&, std::chrono::milliseconds) { ++retries; };
    LantrixServerHandle first(remote.host());
    options.first = &first;
    Pool pool(remote.host(), options);
    bool isFirst = true;
    const Failure failure = pool.run(
                                    [&](Connection& connection) {
                                        isFirst = isFirst && &connection.server == &first;
                                        return ping(connection);
                                    },
                                    Retry::OnAnotherConnection)
                                .get();
    EXPECT_EQ(Kind::Connection, failure.kind);
    EXPECT_EQ("no answer within 0.5 s", failure.text);
    EXPECT_EQ(1, retries);
    EXPECT_FALSE(isFirst); // a handle that failed is not used again
}

TEST(Pool, AGroupEndsByItself) {
    StreamServer server;
    Relayed relayed(server);
    Pool pool(relayed.host(), 2);
    std::vector<Kind> kinds;
    relayed.relay.arm({Channel::Command, Side::Reply, Fault::Stall, 1});
    {
        lantrix::WorkGroup group(pool);
        group.run(ping, [&kinds](const Failure& failure) { kinds.push_back(failure.kind); });
        while (!relayed.relay.fired())
            std::this_thread::yield();
        EXPECT_FALSE(pool.run(ping).get());
    }
    EXPECT_EQ(std::vector<Kind>{Kind::Stopped}, kinds);
    EXPECT_FALSE(pool.run(ping).get());
}

// The entries of a folder that the system makes up; none where it has no such folder.
std::size_t entriesOf(const char* folder) {
    std::error_code ignored;
    const std::filesystem::directory_iterator entries(folder, ignored);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

struct Left {
    std::size_t descriptors = entriesOf("/dev/fd");
    std::size_t threads = entriesOf("/proc/self/task");

    bool operator<=(const Left& other) const {
        return descriptors <= other.descriptors && threads <= other.threads;
    }
};

// LANTRIX_TEST_POOLS pools, 2,000 unless it is set; one in ten works. That no block of memory is
// left either is AddressSanitizer's to say.
TEST(Pool, OpenedAndDestroyedPoolsLeaveNothing) {
    StreamServer server(StreamServer::Log::Off);
    const auto openAndDestroy = [&server](int count) {
        for (int i = 0; i < count; ++i) {
            Pool pool(server.host(), 2);
            const bool answers = i % 10 != 0 || !pool.run(ping).get();
            EXPECT_TRUE(answers);
        }
    };
    openAndDestroy(100);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const Left before;
    const char* const wish = std::getenv("LANTRIX_TEST_POOLS");
    openAndDestroy(wish != nullptr ? std::atoi(wish) : 2000);
    // A closed connection leaves the server a moment later.
    for (int waits = 0; waits < 5000 && !(Left() <= before); ++waits)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(Left() <= before);
}

} // namespace
