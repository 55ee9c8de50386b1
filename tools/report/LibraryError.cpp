#include "tools/report/LibraryError.h"

#include "stream/Failure.h"

#include <algorithm>
#include <initializer_list>

namespace tool {

namespace {

bool startsWith(const std::string& text, const char* start) {
    return text.rfind(start, 0) == 0;
}

bool startsWithAny(const std::string& text, std::initializer_list<const char*> starts) {
    return std::any_of(starts.begin(), starts.end(),
                       [&](const char* start) { return startsWith(text, start); });
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
    const lantrix::Failure::Kind kind = lantrix::Failure::of(text).kind;
    if (kind == lantrix::Failure::Kind::Connection || kind == lantrix::Failure::Kind::Stopped)
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
