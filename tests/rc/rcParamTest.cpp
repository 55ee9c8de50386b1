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
                 {rcParamBool::TYPE, "bool", "On", "true"},
                 {rcParamBool::TYPE, "bool", "1", "true"},
                 {rcParamBool::TYPE, "bool", "TRUE", "true"},
                 {rcParamBool::TYPE, "bool", "2", "false"},
                 {rcParamBool::TYPE, "bool", "", "false"},
                 {rcParamString::TYPE, "const char *", "a \"b\"", "a \"b\""}};
    for (const auto& each : cases) {
        const rcParam::Info table[] = {{&each.type, "one"}, {&rcParamInt::TYPE, "two"}, {}};
        rcParam::Array parameters(table);
        ASSERT_EQ(2U, parameters.size());
        EXPECT_STREQ(each.name, each.type.name());
        parameters[0].setStringValue(each.set);
        EXPECT_EQ(each.got, parameters[0].stringValue());
        EXPECT_EQ("0", parameters[1].stringValue());
    }
}

TEST(rcParam, QuotedTextComesBack) {
    const struct {
        const char *plain, *quoted, *unquoted;
    } cases[] = {{"", "\"\"", ""},
                 {"a\"b\\c", "\"a\\\"b\\\\c\"", "a\"b\\c"},
                 {"\\", "\"\\\\\"", "\\"},
                 {nullptr, "", ""}};
    for (const auto& each : cases) {
        const std::string quoted = rcParamStringToEscapedString(each.plain);
        EXPECT_EQ(each.quoted, quoted);
        const std::string inner = quoted.size() < 2 ? "" : quoted.substr(1, quoted.size() - 2);
        EXPECT_EQ(each.unquoted, rcParamEscapedStringToString(inner.c_str()));
    }
    EXPECT_EQ("\"xn", rcParamEscapedStringToString("\"x\\n\\"));
    EXPECT_EQ("", rcParamEscapedStringToString(nullptr));
}

} // namespace
