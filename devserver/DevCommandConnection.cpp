#include "devserver/DevCommandConnection.h"

#include "devserver/DevError.h"
#include "devserver/DevLimits.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace {

// Beside a line stands what it was read into, which grows in steps.
constexpr std::size_t copiesOfRequest = 2;
// A reply's text or line, its record, its escaped text.
constexpr std::size_t copiesOfReply = 3;

rcResult failure(const std::string& text) {
    rcResult result;
    result.setCode(rcResult::Error);
    result.setValue(text.c_str());
    return result;
}

} // namespace

DevCommandConnection::End DevCommandConnection::serve() {
    std::array<char, 16384> buffer;
    Next next = Next::Request;
    try {
        while (next == Next::Request) {
            const std::size_t count = stream_.read(buffer.data(), buffer.size());
            next = count == 0 ? Next::Close : take({buffer.data(), count});
        }
    } catch (const DevError& error) {
        refuse(error.what());
    }
    return next == Next::ServerEnd ? End::ServerShallEnd : End::Closed;
}

DevCommandConnection::Next DevCommandConnection::take(std::string_view bytes) {
    if (!beginsAsRequest(bytes)) {
        log_("The connection of " + stream_.peer() +
             " is closed: what it sent is not a request, but " + devQuoted(bytes.substr(0, 40)));
        return Next::Close;
    }
    for (;;) {
        const std::size_t end = bytes.find('\n');
        takeText(bytes.substr(0, end));
        if (end == std::string_view::npos)
            return Next::Request;
        const Next next = takeLineEnd();
        if (next != Next::Request)
            return next;
        bytes.remove_prefix(end + 1);
    }
}

// A page that a browser shows may have it send anything but the first bytes of what it sends, of
// which it may choose the first word: behind that stands a path, and in a request a number.
bool DevCommandConnection::beginsAsRequest(std::string_view bytes) {
    constexpr std::string_view starts[] = {"sync ", "async "};
    constexpr std::string_view signsOfNumber = "-0123456789 "; // or of an empty field
    constexpr std::size_t longest = 7;
    if (start_.size() == longest)
        return true;
    start_.append(bytes.substr(0, longest - start_.size()));
    return std::any_of(std::begin(starts), std::end(starts), [&](std::string_view start) {
        const std::size_t known = std::min(start.size(), start_.size());
        return start.substr(0, known) == std::string_view(start_).substr(0, known) &&
               (start_.size() == known ||
                signsOfNumber.find(start_[known]) != std::string_view::npos);
    });
}

void DevCommandConnection::takeText(std::string_view bytes) {
    length_ += bytes.size();
    if (length_ > DevLimits::requestLine)
        throw DevError("The request line is longer than " + std::to_string(DevLimits::requestLine) +
                       " bytes.");
    share_.resize(length_ * copiesOfRequest);
    holdsNul_ = holdsNul_ || bytes.find('\0') != std::string_view::npos;
    for (const char byte : bytes)
        request_.appendChar(byte);
}

DevCommandConnection::Next DevCommandConnection::takeLineEnd() {
    bool wantsReply = false;
    bool asksForEnd = false;
    const std::string line = answer(wantsReply, asksForEnd);
    share_.resize(line.capacity()); // all that is left of the request while it is sent
    if (wantsReply && !stream_.write(line))
        return Next::Close;
    share_.resize(0);
    return asksForEnd ? Next::ServerEnd : Next::Request;
}

std::string DevCommandConnection::answer(bool& wantsReply, bool& asksForEnd) {
    const rcCommand request = std::exchange(request_, rcCommand());
    const std::size_t held = std::exchange(length_, 0) * copiesOfRequest;
    wantsReply = request.type() == rcCommand::Sync;
    if (std::exchange(holdsNul_, false))
        return failure("The request holds a NUL byte.").escapedCommand();
    asksForEnd = DevCommandService::asksForEnd(request);
    return service_
        .answer(request, [&](std::size_t reply) { share_.resize(held + reply * copiesOfReply); })
        .escapedCommand();
}

void DevCommandConnection::refuse(const std::string& problem) {
    log_("The connection of " + stream_.peer() + " is closed: " + problem);
    if (stream_.write(failure(problem).escapedCommand()))
        stream_.finish();
}
