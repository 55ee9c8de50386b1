#include "rc/rcCommand.h"

#include "base/loggerBase/src/CoText.h"

#include <cstdlib>

namespace {

enum ParseState : unsigned char { InType, InId, InMethod, InValue };

} // namespace

rcCommand::rcCommand() : parseState_(InType) {}

rcCommand::~rcCommand() = default;

const char* rcCommand::typeToStr(Type type) {
    switch (type) {
    case Sync:
        return "sync";
    case Async:
        return "async";
    }
    return "unknown"; // GCOVR_EXCL_LINE: only for a value that is not an enumerator
}

rcCommand::Type rcCommand::type() const {
    return type_ == typeToStr(Sync) ? Sync : Async;
}

void rcCommand::setType(Type type) {
    type_ = typeToStr(type);
}

int rcCommand::id() const {
    return std::atoi(id_.c_str());
}

void rcCommand::setId(int id) {
    id_ = std::to_string(id);
}

void rcCommand::setMethod(const char* method) {
    method_ = coTextOrEmpty(method);
}

void rcCommand::reset() {
    type_.clear();
    id_.clear();
    method_.clear();
    value_.clearText();
    parseState_ = InType;
}

std::string rcCommand::escapedCommand() const {
    const std::string value = value_.escapedValue();
    std::string line;
    line.reserve(type_.size() + id_.size() + method_.size() + value.size() + 4);
    for (const std::string* field : {&type_, &id_, &method_})
        line.append(*field).push_back(' ');
    line.append(value).push_back('\n');
    return line;
}

bool rcCommand::appendChar(char c) {
    if (c == '\n')
        return true;
    if (parseState_ == InValue) {
        value_.appendEscapedChar(c);
    } else if (c == ' ') {
        // Every blank ends a field, so that two in a row leave an empty one.
        ++parseState_;
    } else {
        std::string* const fields[] = {&type_, &id_, &method_};
        fields[parseState_]->push_back(c);
    }
    return false;
}
