// Quoted free text and typed parameters: any text survives quoting, any quoted text is read within
// its length, and a parameter reads back what it prints.
#include "fuzz/FuzzInput.h"
#include "rc/rcParam.h"

#include <string>

namespace {

// A parameter of each type.
rcParam::Array& everyParameter() {
    static const rcParam::Info types[] = {{&rcParamVoid::TYPE, "void"},
                                          {&rcParamInt::TYPE, "int"},
                                          {&rcParamLong::TYPE, "long"},
                                          {&rcParamBool::TYPE, "bool"},
                                          {&rcParamString::TYPE, "string"},
                                          {&rcParamFloat::TYPE, "float"},
                                          {nullptr, nullptr}};
    static rcParam::Array parameters(types);
    return parameters;
}

void checkQuoting(const char* text) {
    const rcParamStringToEscapedString quoted(text);
    require(quoted.size() >= 2 && quoted.front() == '"' && quoted.back() == '"');
    const std::string inner = quoted.substr(1, quoted.size() - 2);
    require(rcParamEscapedStringToString(inner.c_str()) == text);
}

// Without backslashes nothing changes; each drops at most itself.
void checkUnquoting(const std::string& text) {
    const rcParamEscapedStringToString plain(text.c_str());
    require(plain.size() <= text.size() && 2 * plain.size() + 1 >= text.size());
    if (text.find('\\') == std::string::npos)
        require(plain == text);
}

void checkParameter(rcParam& parameter, const char* text) {
    parameter.setStringValue(text);
    const std::string printed = parameter.stringValue();
    parameter.setStringValue(printed.c_str());
    require(parameter.stringValue() == printed);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    rcParam::Array& parameters = everyParameter();
    FuzzInput input(data, size);
    const unsigned type = input.control() % 32;
    const std::string text(input.text().substr(0, input.text().find('\0')));
    checkQuoting(text.c_str());
    checkUnquoting(text);
    if (type < parameters.size())
        checkParameter(parameters[type], text.c_str());
    return 0;
}
