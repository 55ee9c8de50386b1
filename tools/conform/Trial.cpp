#include "tools/conform/Trial.h"

#include "tools/conform/WireBytes.h"

#include <algorithm>
#include <utility>

#include <unistd.h>

namespace tool {

namespace {

std::string requestLine(const std::string& method, const std::string& value) {
    return "sync 0 " + method + " " + wire::escaped(value) + "\n";
}

} // namespace

Trial::Trial(TrialPlace place, ProtocolVersion version)
    : place_(std::move(place)), version_(version) {}

Trial::~Trial() {
    if (nodeId_.empty())
        return;
    try { // The connection may be out of step, and the user may have asked for the end.
        Patience patience{place_.patience.time};
        RawConnection connection(place_.host, Port::Commands, patience);
        connection.send(requestLine("DestroyNode", nodeId_));
        (void)connection.receiveUntil('\n');
    } catch (const std::exception&) {
    }
}

bool Trial::speaks(int minor) const {
    return version_.major > 2 || (version_.major == 2 && version_.minor >= minor);
}

RawConnection& Trial::commands() {
    if (!commands_)
        commands_ = std::make_unique<RawConnection>(place_.host, Port::Commands, place_.patience);
    return *commands_;
}

RawConnection& Trial::frames() {
    if (!frames_)
        frames_ = std::make_unique<RawConnection>(place_.host, Port::Frames, place_.patience);
    return *frames_;
}

// What does not come breaks the rule, too.
template <class Receive>
std::string Trial::hear(const std::string& expected, Receive receive) {
    try {
        heard_ = receive();
        return heard_;
    } catch (const Unheard& unheard) {
        const std::string some = wire::shown(unheard.received());
        throw Broken{wire::shown(sent_), expected,
                     some + (some.empty() ? "" : " and then ") + unheard.what()};
    }
}

void Trial::require(bool holds, const std::string& expected) const {
    if (!holds)
        throw Broken{wire::shown(sent_), expected, wire::shown(heard_)};
}

void Trial::send(RawConnection& (Trial::*connection)(), const std::string& bytes,
                 std::size_t segment) {
    sent_ = bytes;
    (void)hear("a connection that takes the request", [&] {
        for (std::size_t at = 0; at < bytes.size(); at += std::min(segment, bytes.size() - at))
            (this->*connection)().send(bytes.substr(at, segment));
        return std::string();
    });
}

void Trial::sendCommand(const std::string& bytes, std::size_t segment) {
    send(&Trial::commands, bytes, segment);
}

std::string Trial::replyLine() {
    std::string line = hear("a reply line", [&] { return commands().receiveUntil('\n'); });
    const std::size_t blank = line.find(' ');
    const std::string code = line.substr(0, blank);
    require(blank != std::string::npos && (code == "ok" || code == "error"),
            "'ok' or 'error', a blank and a value");
    require(wire::unescaped(line.substr(blank + 1)).has_value(),
            "a value whose tabs, line feeds and backslashes are escaped");
    return line;
}

std::string Trial::okValue() {
    const std::string line = replyLine();
    require(line.substr(0, 3) == "ok ", "success");
    return wire::unescaped(line.substr(3)).value_or("");
}

void Trial::end(RawConnection& connection) {
    const std::string text = "the connection's end";
    require(hear(text, [&] { return connection.receiveRest(); }).empty(), text);
}

void Trial::commandEnd() {
    end(commands());
}

void Trial::errorReply() {
    require(replyLine().substr(0, 6) == "error ", "an error");
}

std::string Trial::ok(const std::string& method, const std::string& value) {
    sendCommand(requestLine(method, value));
    return okValue();
}

void Trial::ok(const std::string& method, const std::string& value, const std::string& expected) {
    require(ok(method, value) == expected, "the value '" + wire::shown(expected) + "'");
}

void Trial::error(const std::string& method, const std::string& value) {
    sendCommand(requestLine(method, value));
    errorReply();
}

void Trial::sendFrame(const std::string& bytes, std::size_t segment) {
    send(&Trial::frames, bytes, segment);
}

std::string Trial::status() {
    return hear("a status with its NUL", [&] { return frames().receiveUntil('\0'); });
}

void Trial::succeeds() {
    require(status().empty(), "success: a NUL alone");
}

void Trial::fails() {
    require(!status().empty(), "a failure: a text, and a NUL");
}

void Trial::write(const std::string& frameId, const std::string& bytes) {
    sendFrame(wire::frameRequest("WriteFrame", frameId, std::to_string(bytes.size())) + bytes);
    succeeds();
}

void Trial::read(const std::string& frameId, const std::string& expected) {
    sendFrame(wire::frameRequest("ReadFrame", frameId, std::to_string(expected.size())));
    succeeds();
    payload(expected);
}

void Trial::payload(const std::string& expected) {
    const std::string text = "the bytes '" + wire::shown(expected) + "'";
    require(hear(text, [&] { return frames().receive(expected.size()); }) == expected, text);
}

void Trial::frameEnd() {
    end(frames());
}

const std::string& Trial::nodeId() {
    if (nodeId_.empty()) {
        const std::string name = "lantrix-conform-" + std::to_string(::getpid());
        const std::string made = ok("CreateNode", place_.nodeId + " \"" + name + "\" 0 folder");
        require(wire::isId(made), "the new node's id");
        nodeId_ = made;
    }
    return nodeId_;
}

std::string Trial::makeNode(const std::string& name, const std::string& kindAndType) {
    std::string made = ok("CreateNode", nodeId() + " \"" + name + "\" " + kindAndType);
    require(wire::isId(made), "the new node's id: a word without a comma");
    return made;
}

std::string Trial::makeClip(int count, std::vector<std::string>& frameIds) {
    std::string clip = makeNode("clip", "1 clip");
    const std::string request = clip + " " + std::to_string(count) + " " + plainFormat + "\"\"";
    frameIds = wire::split(ok("AllocateFrames", request), ',');
    require(frameIds.size() == static_cast<std::size_t>(count) &&
                std::all_of(frameIds.begin(), frameIds.end(), wire::isId),
            std::to_string(count) + " ids of frames, separated by commas");
    return clip;
}

} // namespace tool
