#include "rc/rcParam.h"

#include <gtest/gtest.h>

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

TEST(rcParam, QuotedTextComesBack) {
    EXPECT_EQ("\"a\\\"b\\\\c\"", rcParamStringToEscapedString("a\"b\\c"));
    EXPECT_EQ("\"\"", rcParamStringToEscapedString(""));
    EXPECT_EQ("", rcParamStringToEscapedString(nullptr));
    EXPECT_EQ("\"a\"b\\cn\"", rcParamEscapedStringToString("\"a\\\"b\\\\c\\n\"\\"));
    EXPECT_EQ("", rcParamEscapedStringToString(nullptr));
}

} // namespace
