// Names in mounted folders.
#include "mount/Names.h"

#include <gtest/gtest.h>

namespace {

TEST(NamesTest, EachNodeHasAnameOfItsOwnThatAfileSystemHolds) {
    const std::string longest(255, 'x');
    const auto isTaken = [](const std::string& name) { return name == "clip.json"; };
    const std::vector<std::string> names{"a", "a~2",       "a",     "a",           "b/c",  "..",
                                         "",  "clip.json", longest, longest + "y", "plain"};
    const std::vector<std::string> shown{
        "a",    "a~2", "a~3",         "a~4",   "b_c~2",
        "__~2", "_~2", "clip.json~2", longest, longest.substr(2) + "~2",
        "plain"};
    EXPECT_EQ(shown, mounted::shownNames(names, isTaken));
    std::string accents; // of two bytes each, of which none is torn apart
    for (int i = 0; i < 150; ++i)
        accents += "\xC3\xA9";
    EXPECT_EQ(accents.substr(0, 252) + "~2", mounted::shownNames({accents}, isTaken).front());
}

TEST(NamesTest, FramesAreFoundByTheirNamesAlone) {
    const mounted::FrameNames names("a.b", 9999, 3, ".tif");
    EXPECT_EQ("a.b.9999.tif", names.name(0));
    EXPECT_EQ("a.b.10001.tif", names.name(2));
    EXPECT_EQ(2, names.index("a.b.10001.tif"));
    EXPECT_EQ(3, names.index("a.b.10002.tif", 1));
    for (const char* other :
         {"a.b.10002.tif", "a.b.09999.tif", "a.b.9998.tif", "a.b.9999.tiff", "a.b.-1.tif",
          "a.b..tif", "a.b.+9999.tif", ".tif", "a.b.99999999999999999999.tif"})
        EXPECT_FALSE(names.index(other)) << other;
    EXPECT_EQ(0, mounted::FrameNames("x", 0, 1, ".dpx").index("x.0000.dpx"));
    EXPECT_GE(255U,
              mounted::FrameNames(std::string(255, 'x'), 2000000000, 9, ".tif").name(8).size());
}

} // namespace
