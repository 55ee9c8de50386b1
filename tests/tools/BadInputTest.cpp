// Sequences with a bad file in the middle, full disks, and names that are hard to carry.
#include "tests/tools/ToolProgram.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

class BadInputTest : public ToolTest {
protected:
    // A clip of six frames, as the files shot.1001.EXTENSION and on.
    void makeSequence(const Words& format, std::size_t frameSize, const std::string& extension) {
        makeClip("plate", format, frameSize, 6);
        put_ = {"put", "shot.####." + extension, "/new", "--start-number", "1001"};
        output({"get", "/plate", put_[1], "--start-number", "1001"});
    }

    Words put_;
};

TEST_F(BadInputTest, ABadFileInTheMiddleIsRefusedBeforeAnythingIsMade) {
    for (const std::string extension : {"png", "exr"}) {
        extension == "exr" ? makeSequence({"32x16x48", "--tag", "rgb16f"}, 3072, extension)
                           : makeSequence({"32x16x24"}, 1536, extension);
        const std::string name = "shot.1004." + extension;
        const std::string good = read(name);
        for (const std::string& bad :
             {good.substr(0, good.size() * 4 / 5), good.substr(0, good.size() - 12),
              good.substr(0, 40), std::string(), std::string("text")}) {
            write(name, bad);
            fails(8, put_, {name});
        }
        fs::remove(path(name));
        fails(4, put_, {name, "missing: 1004", "--missing"});
        fs::create_directory(path(name));
        fails(8, put_, {name});
        EXPECT_EQ("plate\n", output({"ls"}));
        output({"rm", "-y", "/plate"});
    }
    makeClip("small", {"4x4x24"}, 48, 1);
    output({"get", "/small", "shot.1003.png", "-y"});
    put_[1] = "shot.####.png";
    fails(8, put_ + Words{"-f", "1001-1003"}, {"'shot.1003.png' is 4x4, not 32x16"});
    EXPECT_EQ("small\n", output({"ls"}));
}

TEST_F(BadInputTest, HolesAreErrorsUnlessTheyAreFilled) {
    makeSequence({"8x4x24"}, 96, "png");
    fs::remove(path("shot.1003.png"));
    const std::string one = noise(96, 0), two = noise(96, 1), four = noise(96, 3), black(96, '\0');
    output(put_ + Words{"--missing", "hold", "-f", "1001-1004"});
    EXPECT_EQ(one + two + two + four, output({"cat", "/new", "--raw"}));
    output(put_ + Words{"--missing", "black", "-f", "1003"});
    EXPECT_EQ(one + two + black + four, output({"cat", "/new", "--raw"}));
    // The frames of a clip whose linked file is gone are holes, too.
    output({"link", "/new", "plate.0", "plate.1"});
    fs::remove(path("plate.1"));
    fails(6, {"hash", "/new", "--start-number", "1001"}, {"frame 1002"});
    output({"cp", "/new", "/whole", "--missing", "black"});
    EXPECT_EQ("", output({"check", "/whole", ":/new", "--missing", "black"}));
    EXPECT_EQ(one + black, output({"cat", "/whole", "--raw"}));
    // Linked frames are never written, so that the clip is not made longer either.
    fails(6, {"put", "--raw", "plate.0", "plate.2", "plate.3", "/new"}, {"linked"});
    EXPECT_EQ(2, json({"stat", "/new"})["frames"]);
    EXPECT_EQ(6, run({"cat", "/new", "--raw"}).status);
    EXPECT_EQ(one + one, output({"cat", "/new", "--raw", "--missing", "hold"}));
    EXPECT_EQ(one + black, output({"cat", "/new", "--raw", "--missing", "black"}));
}

TEST_F(BadInputTest, AFullDiskLeavesNoHalfOfAFile) {
    makeClip("plate", {"64x64x24"}, 12288, 6);
    makeClip("half", {"64x64x48", "--tag", "rgb16f"}, 24576, 1);
    fs::create_directory(path("out"));
    for (const Words& words :
         {Words{"get", "/plate", "out"}, Words{"get", "/plate", "out", "--raw"},
          Words{"get", "/plate", "out", "-j", "2"}, Words{"get", "/half", "out"},
          Words{"sheet", "/plate", "out/sheet.png"}}) {
        fails(8, words, {"can't write 'out/"}, 4096);
        EXPECT_EQ("", files("out"));
    }
}

TEST_F(BadInputTest, NamesMayHoldBlanksQuotesCommasAndOtherLetters) {
    makeClip("plate", {"8x4x24"}, 96, 6);
    const std::string name = "a \"b\" 'c' % é [x] \\ #1", file = "f, \"g\" é *.%02d.png";
    output({"mkdir", "/" + name});
    output({"cp", "/plate", "/" + name + "/" + name});
    output({"get", "/" + name + "/" + name, file});
    output({"put", file, "/" + name + "/back"});
    EXPECT_EQ("", output({"check", ":/" + name + "/back", ":/plate"}));
    EXPECT_EQ(name + "\nback\n", output({"ls", "/" + name}));
    EXPECT_EQ(name, json({"stat", "/" + name})["name"]);
    output({"mkdir", "/\xFF"}); // not UTF-8: carried, and replaced where JSON shows it
    EXPECT_EQ("\xEF\xBF\xBD", json({"stat", "/\xFF"})["name"]);
}

} // namespace
