#include "stream/Failure.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

namespace lantrix {

namespace {

constexpr const char* stopTexts[] = {" command stopped.", "Connection stopped"};
constexpr const char* connectionTexts[] = {"Can't open connection to host",
                                           "Can't open socket for host",
                                           "Unknown host",
                                           "Connection closed",
                                           "Connection not established",
                                           "Cannot read data on socket",
                                           "Not connected.",
                                           "Operation aborted."};
constexpr int socketErrors[] = {ECONNRESET, ECONNREFUSED, ECONNABORTED, EPIPE,    ETIMEDOUT,
                                ENETDOWN,   ENETRESET,    ENETUNREACH,  ENOTCONN, EHOSTUNREACH};

// The handles report a failure by its text alone. A text that neither the library nor the system
// writes comes from the server, which has refused.
Failure::Kind kindOf(const std::string& text) {
    const auto ends = [&text](const std::string& end) {
        return text.size() >= end.size() &&
               text.compare(text.size() - end.size(), end.size(), end) == 0;
    };
    const auto begins = [&text](const char* start) { return text.rfind(start, 0) == 0; };
    const auto isSystemText = [&text](int number) {
        return text == std::generic_category().message(number);
    };
    if (std::any_of(std::begin(stopTexts), std::end(stopTexts), ends))
        return Failure::Kind::Stopped;
    if (std::any_of(std::begin(connectionTexts), std::end(connectionTexts), begins) ||
        std::any_of(std::begin(socketErrors), std::end(socketErrors), isSystemText))
        return Failure::Kind::Connection;
    return Failure::Kind::Refused;
}

} // namespace

Failure Failure::lastOf(const LantrixServerHandle& server) {
    return of(server.lastError());
}

// A reply that a closed connection cut off leaves no text.
Failure Failure::of(const std::string& text) {
    if (text.empty())
        return {Kind::Connection, "Connection closed"};
    return {kindOf(text), text};
}

} // namespace lantrix
