// The value types: their layout, copies, and texts that are pieces of themselves.
#include "lantrix/LantrixTypes.h"
#include "base/loggerBase/src/CoMsg.h"
#include "lantrix/LantrixNodeClientAPI.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

namespace {

// Code of other compilers relies on these.
static_assert(sizeof(LantrixStr) == 2 * sizeof(void*), "a virtual table and a pointer");
static_assert(sizeof(LantrixNodeId) == sizeof(LantrixStr), "one string");
static_assert(sizeof(LantrixFrameId) == sizeof(LantrixStr), "one string");
static_assert(sizeof(LantrixNodeInterface::NodeType) == 1, "one byte");
static_assert(sizeof(LantrixClipFormat::ScanFormat) == 1, "one byte");
static_assert(sizeof(CoMsg::Level) == 1, "one byte");

TEST(LantrixStr, EmptyTextsShareOneBuffer) {
    LantrixStr null(nullptr), empty(""), emptied("text");
    EXPECT_EQ(0U, null.length());
    EXPECT_EQ(null.c_str(), empty.c_str());
    emptied.reset();
    EXPECT_EQ(null.c_str(), emptied.c_str());
    EXPECT_TRUE(null == emptied && !(LantrixStr("a") == null));
}

TEST(LantrixStr, AssignmentCopiesAlsoFromItsOwnText) {
    LantrixStr text("0123456789");
    text = text.c_str() + 7;
    EXPECT_STREQ("789", text);
    EXPECT_TRUE(text[0] == '7' && text[1U] == '8' && text[std::size_t{2}] == '9');
    LantrixStr& same = text;
    text = same;
    EXPECT_STREQ("789", text.c_str());
    text = text.c_str() + text.length();
    EXPECT_STREQ("", text.c_str());
    const LantrixStr longer(std::string(5000, 'x').c_str());
    text = longer;
    EXPECT_TRUE(text == longer);
    EXPECT_NE(longer.c_str(), text.c_str());
    text = static_cast<const char*>(nullptr);
    EXPECT_EQ(0U, text.length());
    LantrixStr empty;
    empty = empty.c_str();
    EXPECT_EQ(LantrixStr().c_str(), empty.c_str());
}

TEST(LantrixStr, BuffersKeepOrDropTheirContents) {
    LantrixStr text("abcdef");
    EXPECT_STREQ("abcdef", text.reallocBuff(100));
    EXPECT_STREQ("abc", text.reallocBuff(3));
    EXPECT_STREQ("", text.allocNewBuff(3));
    std::memcpy(text.allocNewBuff(3), "xyz", 4);
    EXPECT_STREQ("xyz", text.c_str());
    text.freeBuff();
    EXPECT_STREQ("", text.reallocBuff(8));
}

TEST(LantrixStr, NullBufferAborts) {
    LantrixStr broken;
    const auto loseBuffer = [&] { // the last thing that a string holds
        std::memset(reinterpret_cast<char*>(&broken + 1) - sizeof(void*), 0, sizeof(void*));
    };
    const std::pair<std::function<void()>, int> cases[] = {
        {[&] { static_cast<void>(LantrixStr(broken)); }, 192},
        {[&] { LantrixStr().operator=(broken); }, 192},
        {[&] { static_cast<void>(broken.length()); }, 192},
        {[&] { broken = "x"; }, 238},
        {[&] { broken.reallocBuff(1); }, 238},
        {[&] { broken.reset(); }, 255},
        {[&] { broken.freeBuff(); }, 255},
        {[&] { broken.~LantrixStr(); }, 255}};
    for (const auto& [operation, line] : cases)
        EXPECT_DEATH((loseBuffer(), operation()),
                     testing::Eq("lantrix/LantrixTypes:" + std::to_string(line) +
                                 ": failed assertion `buff_ != 0'\n"));
}

TEST(LantrixIds, AreValidWithoutAComma) {
    for (const char* const id : {"", "n1", "a b", static_cast<const char*>(nullptr)})
        EXPECT_TRUE(LantrixNodeId(id).isValid() && LantrixFrameId(id).isValid());
    for (const char* const id : {",", "a,b", "a,"})
        EXPECT_FALSE(LantrixNodeId(id).isValid() || LantrixFrameId(id).isValid());
}

TEST(LantrixClipFormat, NullMetaDataTagIsNoneAndASetterTouchesOneField) {
    LantrixClipFormat format(2, 3, 4, 5, 6, 7.0F, 8.0F, LantrixClipFormat::Field2Odd, nullptr,
                             nullptr, nullptr);
    const LantrixClipFormat copy = format;
    format.setWidth(1920);
    format.setFormatTag("rgb");
    EXPECT_EQ(6, format.frameBufferSize());
    EXPECT_EQ(2, copy.width());
    EXPECT_STREQ("", copy.formatTag());
    EXPECT_STREQ("none", copy.metaDataTag());
    EXPECT_STREQ("", LantrixClipFormat().metaDataTag());
}

TEST(LantrixNames, AreFoundInAnyCase) {
    const char* const scans[] = {"Field1_odd", "field1_eveN", "FIELD2_ODD", "field2_even",
                                 "PROGRESSIVE"};
    const char* const systems[] = {"unknown", "iriX", "lINUX", "windowsnt", "macosx"};
    for (int i = 0; i < 5; ++i) {
        auto found = LantrixClipFormat::ScanFormat(9);
        EXPECT_TRUE(LantrixClipFormat::strToScanFormat(scans[i], found));
        EXPECT_FALSE(LantrixClipFormat::strToScanFormat("interlaced", found));
        EXPECT_EQ(i, found);
        EXPECT_STRCASEEQ(scans[i], LantrixClipFormat::scanFormatStr(found));
        EXPECT_EQ(i, LantrixOS::strToOsType(systems[i]));
        EXPECT_STRCASEEQ(systems[i], LantrixOS::OsTypeStr(LantrixOS::OsType(i)));
    }
    EXPECT_STREQ("unknown", LantrixClipFormat::scanFormatStr(LantrixClipFormat::ScanFormat(7)));
    EXPECT_STREQ("Unknown", LantrixOS::OsTypeStr(LantrixOS::OsType(7)));
}

} // namespace
