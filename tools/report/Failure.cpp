#include "tools/report/Failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <numeric>

namespace tool {

Failure& Failure::with(const std::string& key, Detail value) {
    details_.emplace_back(key, std::move(value));
    return *this;
}

Failure fileFailure(const std::string& what, const std::string& file, int errorNumber) {
    Failure failure(Status::LocalFile, what + " '" + file + "': " + std::strerror(errorNumber));
    failure.with("file", file);
    return failure;
}

namespace {

bool startsWith(const std::string& text, const char* start) {
    return text.rfind(start, 0) == 0;
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isSocketError(const std::string& text) {
    for (int number : {ECONNRESET, ECONNREFUSED, ECONNABORTED, EPIPE, ETIMEDOUT, EHOSTUNREACH,
                       ENETUNREACH, ENETDOWN, ENETRESET, ENOTCONN}) {
        if (text == std::strerror(number)) {
            return true;
        }
    }
    return false;
}

bool isConnectionError(const std::string& text) {
    // A reply that a closed connection cut off leaves no text at all.
    if (text.empty() || isSocketError(text) || endsWith(text, " command stopped.")) {
        return true;
    }
    for (const char* start :
         {"Can't open connection to host", "Can't open socket for host", "Unknown host",
          "Connection closed", "Connection stopped", "Connection not established",
          "Cannot read data on socket", "Not connected.", "Operation aborted."}) {
        if (startsWith(text, start)) {
            return true;
        }
    }
    return false;
}

bool isOwnText(const std::string& text) {
    for (const char* start :
         {"Unable to read frame: Supplied", "Unable to write frame: Supplied",
          "Child node index out of range", "Cannot allocate", "Cannot read a negative",
          "Cannot write a negative", "Invalid node id", "Invalid source host",
          "Invalid destination host", "Reply line longer", "Request too long", "Frame id too long",
          "Transfer too long", "No room for a line"}) {
        if (startsWith(text, start)) {
            return true;
        }
    }
    return false;
}

} // namespace

Status statusOfLibraryError(const std::string& text) {
    if (isConnectionError(text)) {
        return Status::NoConnection;
    }
    if (startsWith(text, "Frame index out of range") ||
        startsWith(text, "Metadata stream index out of range")) {
        return Status::FrameMissing;
    }
    if (startsWith(text, "Server does not support") ||
        startsWith(text, "Functionality not supported")) {
        return Status::ProtocolTooOld;
    }
    return isOwnText(text) ? Status::Other : Status::Refused;
}

std::string shortNumber(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

namespace {

// Levenshtein's distance, by rows.
std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return static_cast<char>(c < 0x80 ? std::tolower(c) : c);
    });
    return text;
}

} // namespace

std::string nearestName(const std::string& name, const std::vector<std::string>& candidates) {
    constexpr std::size_t longestCompared = 256; // the distance costs the product of the lengths
    const std::string wanted = lowered(name.substr(0, longestCompared));
    std::size_t best = std::max<std::size_t>(1, wanted.size() / 3) + 1;
    std::string nearest;
    for (const std::string& candidate : candidates) {
        const std::size_t distance =
            editDistance(wanted, lowered(candidate.substr(0, longestCompared)));
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace tool
