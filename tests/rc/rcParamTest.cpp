// Typed parameters as text and back.
#include "rc/rcParam.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace {

TEST(rcParam, TableBuildsParametersThatConvertText) {
    const struct {
        const rcParam::Type& type;
        const char *name, *set, *got;
    } cases[] = {{rcParamVoid::TYPE, "void", "1", ""},
                 {rcParamInt::TYPE, "int", "-7x", "-7"},
                 {rcParamLong::TYPE, "long", "12", "12"},
                 {rcParamFloat::TYPE, "float", "1.5", "1.500000"},
                 {rcParamBool::TYPE, "bool", "YES", "true"},
                 {rcParamBool::TYPE, "bool", "2", "false"},
                 {rcParamString::TYPE, "const char *", "a \"b\"", "a \"b\""}};
    for (const auto& each : cases) {
        const rcParam::Info table[] = {{&rcParamInt::TYPE, "one"}, {&each.type, "two"}, {}};
        rcParam::Array parameters(table);
        ASSERT_EQ(2U, parameters.size());
        EXPECT_STREQ(each.name, each.type.name());
        parameters[1].setStringValue(each.set);
        EXPECT_EQ(each.got, parameters[1].stringValue());
    }
}

TEST(rcParam, EachTypeTakesAndGivesItsOwnKindOnly) {
    const std::pair<const rcParam::Type&, const char*> cases[] = {
        {rcParamVoid::TYPE, "0 0 0 0"}, {rcParamInt::TYPE, "7 0 0 0"},
        {rcParamLong::TYPE, "0 8 0 0"}, {rcParamFloat::TYPE, "0 0 3 0"},
        {rcParamBool::TYPE, "0 0 0 1"}, {rcParamString::TYPE, "0 0 0 0"}};
    for (const auto& [type, values] : cases) {
        const std::unique_ptr<rcParam> parameter(type.alloc());
        parameter->setIntValue(7);
        parameter->setLongValue(8);
        parameter->setFloatValue(1.5F);
        parameter->setBoolValue(true);
        EXPECT_EQ(values, std::to_string(parameter->intValue()) + " " +
                              std::to_string(parameter->longValue()) + " " +
                              std::to_string(static_cast<int>(2 * parameter->floatValue())) + " " +
                              std::to_string(parameter->boolValue()));
    }
}

TEST(rcParam, QuotedTextComesBack) {
    EXPECT_EQ("\"a\\\"b\\\\c\"", rcParamStringToEscapedString("a\"b\\c"));
    EXPECT_EQ("\"\"", rcParamStringToEscapedString(""));
    EXPECT_EQ("", rcParamStringToEscapedString(nullptr));
    EXPECT_EQ("\"a\"b\\cn\"", rcParamEscapedStringToString("\"a\\\"b\\\\c\\n\"\\"));
    EXPECT_EQ("", rcParamEscapedStringToString(nullptr));
}

} // namespace
