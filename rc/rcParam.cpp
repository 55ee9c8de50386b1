#include "rc/rcParam.h"

#include "base/loggerBase/src/CoText.h"

#include <cfloat>
#include <cstdlib>
#include <cstring>

#include <strings.h>

namespace {

// Holds the longest float, a sign, its digits and six decimals.
constexpr std::size_t numberBufferSize = FLT_MAX_10_EXP + 16;

} // namespace

rcParam::Array::Array(const Info* info) {
    for (; info->type != nullptr; ++info)
        parameters_.push_back(std::unique_ptr<rcParam>(info->type->alloc()));
}

rcParam::Array::~Array() = default;

rcParam::~rcParam() = default;

void rcParam::setIntValue(int) {}
void rcParam::setLongValue(long) {}
void rcParam::setFloatValue(float) {}
void rcParam::setStringValue(const char*) {}
void rcParam::setBoolValue(bool) {}

int rcParam::intValue() const {
    return 0;
}
long rcParam::longValue() const {
    return 0;
}
float rcParam::floatValue() const {
    return 0.0F;
}
bool rcParam::boolValue() const {
    return false;
}
std::string rcParam::stringValue() const {
    return std::string();
}

const rcParamVoid::VoidType rcParamVoid::TYPE{};
const char* rcParamVoid::VoidType::name() const {
    return "void";
}
rcParam* rcParamVoid::VoidType::alloc() const {
    return std::make_unique<rcParamVoid>().release();
}

const rcParamInt::IntType rcParamInt::TYPE{};
const char* rcParamInt::IntType::name() const {
    return "int";
}
rcParam* rcParamInt::IntType::alloc() const {
    return std::make_unique<rcParamInt>().release();
}
void rcParamInt::setIntValue(int value) {
    value_ = value;
}
void rcParamInt::setStringValue(const char* value) {
    value_ = std::atoi(coTextOrEmpty(value));
}
int rcParamInt::intValue() const {
    return value_;
}
std::string rcParamInt::stringValue() const {
    return std::to_string(value_);
}

const rcParamLong::LongType rcParamLong::TYPE{};
const char* rcParamLong::LongType::name() const {
    return "long";
}
rcParam* rcParamLong::LongType::alloc() const {
    return std::make_unique<rcParamLong>().release();
}
void rcParamLong::setLongValue(long value) {
    value_ = value;
}
void rcParamLong::setStringValue(const char* value) {
    value_ = std::atol(coTextOrEmpty(value));
}
long rcParamLong::longValue() const {
    return value_;
}
std::string rcParamLong::stringValue() const {
    return std::to_string(value_);
}

const rcParamFloat::FloatType rcParamFloat::TYPE{};
const char* rcParamFloat::FloatType::name() const {
    return "float";
}
rcParam* rcParamFloat::FloatType::alloc() const {
    return std::make_unique<rcParamFloat>().release();
}
void rcParamFloat::setFloatValue(float value) {
    value_ = value;
}
void rcParamFloat::setStringValue(const char* value) {
    const CoCLocale neutral;
    value_ = static_cast<float>(std::atof(coTextOrEmpty(value)));
}
float rcParamFloat::floatValue() const {
    return value_;
}
std::string rcParamFloat::stringValue() const {
    return coFormatCut(numberBufferSize, "%f", static_cast<double>(value_));
}

const rcParamBool::BoolType rcParamBool::TYPE{};
const char* rcParamBool::BoolType::name() const {
    return "bool";
}
rcParam* rcParamBool::BoolType::alloc() const {
    return std::make_unique<rcParamBool>().release();
}
void rcParamBool::setBoolValue(bool value) {
    value_ = value;
}
void rcParamBool::setStringValue(const char* value) {
    value_ = false;
    for (const char* const yes : {"1", "yes", "on", "true"})
        if (strcasecmp(coTextOrEmpty(value), yes) == 0)
            value_ = true;
}
bool rcParamBool::boolValue() const {
    return value_;
}
std::string rcParamBool::stringValue() const {
    return value_ ? "true" : "false";
}

const rcParamString::StringType rcParamString::TYPE{};
const char* rcParamString::StringType::name() const {
    return "const char *";
}
rcParam* rcParamString::StringType::alloc() const {
    return std::make_unique<rcParamString>().release();
}
void rcParamString::setStringValue(const char* value) {
    value_ = coTextOrEmpty(value);
}
std::string rcParamString::stringValue() const {
    return value_;
}

rcParamStringToEscapedString::rcParamStringToEscapedString(const char* text) {
    if (text == nullptr)
        return;
    push_back('"');
    for (std::size_t run = std::strcspn(text, "\"\\"); text[run] != '\0';
         run = std::strcspn(text, "\"\\")) {
        append(text, run).push_back('\\');
        push_back(text[run]);
        text += run + 1;
    }
    append(text).push_back('"');
}

rcParamEscapedStringToString::rcParamEscapedStringToString(const char* text) {
    for (text = coTextOrEmpty(text); *text != '\0'; ++text) {
        if (*text == '\\' && *++text == '\0')
            return;
        push_back(*text);
    }
}
