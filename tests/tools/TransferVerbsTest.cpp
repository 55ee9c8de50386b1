// Frames between files, clips and servers.
#include "tests/tools/ToolProgram.h"

#include <filesystem>

namespace {

class TransferVerbsTest : public ToolTest {
protected:
    TransferVerbsTest() { makeClip("plate", {"8x4x24@24"}, 96, 8); }
};

TEST_F(TransferVerbsTest, FramesAndFilesAreNumberedAlike) {
    const std::pair<Words, std::string> cases[] = {
        {{"out/a.##.png", "-f", "1-7x3"}, "a.01.png a.04.png a.07.png "},
        {{"out/b.%03d.png", "-f", "6-"}, "b.006.png b.007.png "},
        {{"out/c.@@@@.png", "-f", "1001,1008", "--start-number", "1001"}, "c.1001.png c.1008.png "},
        {{"out/single.png", "-f", "3"}, "single.png "},
        {{"out", "-f", "0-1", "--raw"}, "plate.0000.raw plate.0001.raw "}};
    for (const auto& [words, names] : cases) {
        std::filesystem::create_directory(path("out"));
        output(Words{"get", "/plate"} + words);
        EXPECT_EQ(names, files("out"));
        std::filesystem::remove_all(path("out"));
    }
    fails(2, {"get", "/plate", "single.png"}, {"no place for a frame number"});
}

TEST_F(TransferVerbsTest, PutMakesTheClipOfItsFirstImage) {
    output({"get", "/plate", "x.####.png", "--start-number", "100"});
    output({"put", "x.####.png", "/new", "--start-number", "100", "--rate", "12.5"});
    EXPECT_EQ(12.5, json({"stat", "/new"})["frameRate"]);
    EXPECT_EQ(output({"cat", "/plate"}), output({"cat", "/new"}));
    // Into a clip that is there: only the chosen frames, and more of them where needed.
    output({"put", "x.0107.png", "x.0106.png", "/new", "-f", "1,9"});
    EXPECT_EQ(10, json({"stat", "/new"})["frames"]);
    EXPECT_EQ(noise(96, 0) + noise(96, 7) + noise(96, 6),
              output({"cat", "/new", "--raw", "-f", "0-1,9"}));
}

TEST_F(TransferVerbsTest, WorkersMoveEveryFrameOnceAlsoBetweenServers) {
    DevServerOptions options;
    options.root = scratch_ + "/other";
    options.listen = "127.91" + host_.substr(6);
    const DevServer other(options);
    const std::string copy = options.listen + ":/copy";
    output({"get", "/plate", "x.#.png", "-j", "3", "--verify"});
    output({"put", "x.#.png", "/new", "-j", "3", "--verify"});
    EXPECT_EQ(5 * 96, json({"cp", "/new", copy, "-f", "2-6", "-j", "3", "--verify"})["bytes"]);
    EXPECT_EQ(output({"cat", "/plate", "--raw", "-f", "2-6"}), output({"cat", copy, "--raw"}));
    EXPECT_EQ(output({"hash", "/plate"}), output({"hash", "/new", "-j", "4"}));
}

TEST_F(TransferVerbsTest, ProgressIsJsonLinesForProgramsAndNothingOnAPipe) {
    const std::string errors = run({"-q", "get", "/plate", "x.#.png", "--progress", "json"}).errors;
    const auto line = nlohmann::json::parse(errors.substr(errors.rfind('{')));
    EXPECT_EQ(8 * 96, line["bytes"]);
    EXPECT_EQ("", run({"-q", "get", "/plate", "y.#.png"}).errors);
}

} // namespace
