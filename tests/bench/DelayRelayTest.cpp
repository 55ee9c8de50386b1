// The relay that stands for a link: what passes is late by the round trip and by no more than that,
// and all of it arrives, the end too.
#include "bench/across/DelayRelay.h"
#include "bench/support/Rounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>

#include <sys/socket.h>

namespace {

using namespace bench;

constexpr std::chrono::milliseconds roundTrip(100);

// Gives back what it is sent, on an address of its own; one connection at a time.
class Echo {
public:
    Echo()
        : listeners_(0x7F500001, {0}), process_(Process::running([this] {
              listeners_.serve([](std::size_t, const Socket& client) {
                  char bytes[4096];
                  while (const std::size_t count = client.receiveSome(bytes, sizeof bytes))
                      client.sendAll(bytes, count);
              });
          })),
          relay_(listeners_.host(), {listeners_.port(0)}, roundTrip) {}
    Socket connect() const { return Socket::connectTo(relay_.host(), listeners_.port(0)); }

private:
    const Listeners listeners_;
    const Process process_;
    const DelayRelay relay_;
};

double exchange(const Socket& socket) {
    return secondsOf([&socket] {
        char byte = 'x';
        socket.sendAll(&byte, 1);
        EXPECT_TRUE(socket.receiveAll(&byte, 1));
    });
}

TEST(DelayRelay, AnExchangeTakesARoundTripAndTheFirstOneTwo) {
    const Echo echo;
    Socket socket;
    EXPECT_LE(0.2, secondsOf([&] {
                  socket = echo.connect();
                  exchange(socket);
              }));
    double fastest = 1;
    for (int i = 0; i < 5; ++i)
        fastest = std::min(fastest, exchange(socket));
    EXPECT_TRUE(0.1 <= fastest && fastest < 0.19) << fastest << " s";
}

// One parcel at a time, each behind the round trip of the one before, would take six seconds.
TEST(DelayRelay, MuchIsUnderWayAtOnceAndArrivesWhole) {
    const Echo echo;
    const Socket socket = echo.connect();
    std::string sent(std::size_t{16} << 20, '\0'), received(sent.size(), '?');
    for (std::size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<char>(i * 7 / 1000);
    const double taken = secondsOf([&] {
        std::thread sending([&] {
            socket.sendAll(sent.data(), sent.size());
            ::shutdown(socket.fd(), SHUT_WR);
        });
        EXPECT_TRUE(socket.receiveAll(received.data(), received.size()));
        sending.join();
    });
    EXPECT_EQ(sent, received);
    EXPECT_LT(taken, 4);
    char more = '\0';
    EXPECT_EQ(0U, socket.receiveSome(&more, 1)); // the end has come through both ways
}

} // namespace
