#include "tools/report/LibraryError.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <iterator>

namespace tool {

namespace {

bool startsWith(const std::string& text, const char* start) {
    return text.rfind(start, 0) == 0;
}

bool startsWithAny(const std::string& text, std::initializer_list<const char*> starts) {
    return std::any_of(starts.begin(), starts.end(),
                       [&](const char* start) { return startsWith(text, start); });
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isSocketError(const std::string& text) {
    constexpr int numbers[] = {ECONNRESET,   ECONNREFUSED, ECONNABORTED, EPIPE,     ETIMEDOUT,
                               EHOSTUNREACH, ENETUNREACH,  ENETDOWN,     ENETRESET, ENOTCONN};
    return std::any_of(std::begin(numbers), std::end(numbers),
                       [&](int number) { return text == std::strerror(number); });
}

bool isConnectionError(const std::string& text) {
    // A reply that a closed connection cut off leaves no text at all.
    if (text.empty() || isSocketError(text) || endsWith(text, " command stopped."))
        return true;
    return startsWithAny(text, {"Can't open connection to host", "Can't open socket for host",
                                "Unknown host", "Connection closed", "Connection stopped",
                                "Connection not established", "Cannot read data on socket",
                                "Not connected.", "Operation aborted."});
}

bool isOwnText(const std::string& text) {
    return startsWithAny(text, {"Unable to read frame: Supplied", "Unable to write frame: Supplied",
                                "Child node index out of range", "Cannot allocate",
                                "Cannot read a negative", "Cannot write a negative",
                                "Invalid node id", "Invalid source host",
                                "Invalid destination host", "Reply line longer", "Request too long",
                                "Frame id too long", "Transfer too long", "No room for a line"});
}

} // namespace

Status statusOfLibraryError(const std::string& text) {
    if (isConnectionError(text))
        return Status::NoConnection;
    if (startsWith(text, "Frame index out of range") ||
        startsWith(text, "Metadata stream index out of range"))
        return Status::FrameMissing;
    if (startsWith(text, "Server does not support") ||
        startsWith(text, "Functionality not supported"))
        return Status::ProtocolTooOld;
    return isOwnText(text) ? Status::Other : Status::Refused;
}

} // namespace tool
