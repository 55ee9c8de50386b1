// Request lines: every line against a plain split at its blanks, and what is built from a record
// against what is parsed from that.
#include "fuzz/FuzzInput.h"
#include "rc/rcCommand.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace {

// The field before the next blank; moves the line behind that blank.
std::string_view takeField(std::string_view& line) {
    const std::string_view field = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(field.size() + 1, line.size()));
    return field;
}

bool feed(rcCommand& command, std::string_view line) {
    return std::any_of(line.begin(), line.end(), [&](char c) { return command.appendChar(c); });
}

void checkFields(const rcCommand& command, std::string_view line) {
    require(command.type() == (takeField(line) == "sync" ? rcCommand::Sync : rcCommand::Async));
    require(command.id() == std::atoi(std::string(takeField(line)).c_str()));
    const std::string_view method = takeField(line);
    require(method.substr(0, method.find('\0')) == command.method());
    require(command.value().size() <= line.size());
    if (line.find('\\') == std::string_view::npos)
        require(command.value() == line);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = FuzzInput(data, size).text();
    static rcCommand command;
    command = rcCommand();
    const bool complete = feed(command, text);
    require(complete == (text.find('\n') != std::string_view::npos));
    checkFields(command, text.substr(0, text.find('\n')));

    const std::string line = command.escapedCommand();
    static rcCommand parsed;
    parsed = rcCommand();
    require(feed(parsed, line));
    require(parsed.escapedCommand() == line);
    return 0;
}
