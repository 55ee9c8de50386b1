// Frames between files, clips and servers.
#include "tests/tools/ToolProgram.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#endif
#include <sstream>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

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
    output({"get", "/plate", "made/here/", "-f", "0"});
    EXPECT_EQ("plate.0000.png ", files("made/here"));
    EXPECT_EQ("would write frames 0-1 to made/here/plate.####.png, replacing 1 file\n",
              output({"-n", "get", "/plate", "made/here", "-f", "0-1"}));
    fails(2, {"get", "/plate", "x.#.png", "-f", ""}, {"range is empty"});
    fails(4, {"put", "made/here/plate.##.png", "/new"}, {"files like 'made/here/plate.####.png'"});
}

TEST_F(TransferVerbsTest, NoFileAndNoOptionIsIgnoredInSilence) {
    fails(2, {"put", "--raw", "plate.#", "/plate", "--start-number", "3"},
          {"0-2", "--start-number 0"});
    fails(4, {"put", "--raw", "plate.#", "/plate", "-f", "9-"}, {"frames 9-", "there are 0-7"});
    fails(1, {"put", "--raw", "plate.#", "/plate", "--rate", "30"}, {"24 frames per second"});
    fails(1, {"put", "--raw", "plate.#", "/plate", "--tag", "gray8"}, {"the tag rgb8"});
    output({"put", "--raw", "plate.#", "--rate", "24", "--", "/plate"});
    const ToolResult put = run({"put", "--raw", "plate.1", "plate.2", "/plate", "-f", "7-8"});
    EXPECT_EQ(0U, put.errors.find("put: replaces 1 of the 8 frames of " + host_ + ":/plate\n"));
    EXPECT_NE(std::string::npos, put.errors.find("; 1 frame replaced\n")) << put.errors;
}

TEST_F(TransferVerbsTest, CopiesWithinAClipReadNothingThatTheyWrote) {
    const std::string all = output({"cat", "/plate", "--raw"});
    for (const Words& words : {Words{"-f", "1-7"}, Words{"-f", "4-7,0-3"}, Words{"--to", "1"},
                               Words{"-f", "4-7", "--missing", "hold"}})
        fails(1, Words{"cp", "/plate", ":/plate"} + words, {"before they are copied"});
    EXPECT_EQ(all, output({"cat", "/plate", "--raw"}));
    output(
        {"cp", "/plate", "id=" + json({"stat", "/plate"})["id"].get<std::string>(), "-f", "4-7"});
    EXPECT_EQ(all.substr(384) + all.substr(384), output({"cat", "/plate", "--raw"}));
    output({"cp", "/plate", "/plate", "--to", "8", "-j", "2"});
    EXPECT_EQ(16, json({"stat", "/plate"})["frames"]);
}

TEST_F(TransferVerbsTest, ClipsWithFramesAreRemovedOnRequestOnly) {
    output({"mkclip", "/empty", "--format", "8x4x24", "--type", "shot"});
    EXPECT_EQ("shot", json({"stat", "/empty"})["type"]);
    fails(2, {"rm", "/empty", "/plate"}, {":/plate with its 8 frames?", "-y"});
    fails(3, {"rm", "-y", "/empty", "/plate", "/none"}, {"'/none'"});
    EXPECT_EQ("plate\nempty\n", output({"ls"}));
    const std::string error = run({"rm", "--json", "-y", "-r", "/empty", "id=n0"}).errors;
    EXPECT_EQ(R"(["/empty"])", nlohmann::json::parse(error)["error"]["removed"].dump());
}

TEST_F(TransferVerbsTest, ManifestsStandInForFrames) {
    write("sums", output({"hash", "/plate", "--start-number", "1001"}));
    EXPECT_EQ("  plate.1001.raw\n", read("sums").substr(32, 17));
    const Words check{"check", "/plate", "--manifest", "sums", "--start-number", "1001"};
    EXPECT_EQ("", output(check));
    write("plate.3", noise(96, 33));
    const Words put{"put",        "--raw", "plate.#",        "/plate",
                    "--manifest", "sums",  "--start-number", "0"};
    write("sums", output({"hash", "/plate"}));
    const auto result = json(put);
    EXPECT_EQ("1 7", result["frames"].dump() + " " + result["skipped"].dump());
    EXPECT_EQ(noise(96, 33), output({"cat", "/plate", "--raw", "-f", "3"}));
    fails(4, check, {"frame 1001 is not in 'sums'"});
    EXPECT_EQ(9, run({"check", "/plate", "--manifest", "sums"}).status);
    write("sums", "no hash\n");
    fails(8, check, {"line 1 of 'sums'"});
}

TEST_F(TransferVerbsTest, FilesOfDeadRunsAreRemoved) {
    write(".part-abcdef-x.0.png", "of a dead run");
    write(".part-fedcba-x.1.png", "of a living one");
    const int living = ::open(path(".part-fedcba-x.1.png").c_str(), O_RDONLY);
    ASSERT_EQ(0, ::flock(living, LOCK_EX));
    output({"get", "/plate", "x.#.png"});
    EXPECT_EQ(0U, files(".").find(".part-fedcba-x.1.png plate.0 "));
    ::close(living);
}

TEST_F(TransferVerbsTest, TheBarFitsTheTerminalFromTheFirstMoment) {
    winsize size{};
    size.ws_col = 20;
    int terminal = -1;
    const pid_t program = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (program == 0) {
        ::execl(LANTRIX_PATH, "lantrix", "get", "/plate", (scratch_ / "x.#.png").c_str(), "--color",
                "never", nullptr);
        ::_exit(127);
    }
    std::string shown;
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(terminal, bytes, sizeof bytes)) > 0;)
        shown.append(bytes, static_cast<std::size_t>(count));
    ::waitpid(program, nullptr, 0);
    ::close(terminal);
    EXPECT_EQ(0U, shown.find("\rget [.........] 0/8")) << shown;
    EXPECT_NE(std::string::npos, shown.find("\rget [#########] 8/8")) << shown;
    std::istringstream lines(shown.substr(0, shown.find('\n')));
    for (std::string line; std::getline(lines, line, '\r');)
        EXPECT_LT(line.substr(0, line.find('\x1b')).size(), 20U) << line;
}

TEST_F(TransferVerbsTest, PutMakesTheClipOfItsFirstImage) {
    output({"get", "/plate", "x.####.png", "--start-number", "100"});
    output(
        {"put", "x.####.png", "/new", "--start-number", "100", "--rate", "25/2", "--type", "shot"});
    EXPECT_EQ("shot", json({"stat", "/new"})["type"]);
    EXPECT_EQ(12.5, json({"stat", "/new"})["frameRate"]);
    EXPECT_EQ(output({"cat", "/plate"}), output({"cat", "/new"}));
    // Into a clip that is there: only the chosen frames, and more of them where needed.
    output({"put", "x.0107.png", "x.0106.png", "/new", "-f", "1,9"});
    EXPECT_EQ(10, json({"stat", "/new"})["frames"]);
    EXPECT_EQ(noise(96, 0) + noise(96, 7) + noise(96, 6),
              output({"cat", "/new", "--raw", "-f", "0-1,9"}));
}

TEST_F(TransferVerbsTest, PutMakesTheClipOfWhatAPipeBrings) {
    const auto pipe = [this](const std::string& bytes, const std::string& words) {
        write("in", bytes);
        return WEXITSTATUS(std::system(("cd '" + path("") + "' && cat in | LANTRIX_HOST=" + host_ +
                                        " " LANTRIX_PATH " put - " + words + " 2>errors")
                                           .c_str()));
    };
    const std::string pam = "P7\nWIDTH 2\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\nENDHDR\nab";
    EXPECT_EQ(0, pipe(pam + "P5 2 1 255\ncd" + "P5 2 1 255\nef", "/gray --verify -j 4"));
    EXPECT_EQ("abcdef", output({"cat", "/gray", "--raw"}));
    EXPECT_EQ(0, pipe("P6\n1 1\n65535\n123456", "/deep"));
    EXPECT_EQ("214365", output({"cat", "/deep", "--raw"}));
    EXPECT_EQ(0, pipe(output({"cat", "/plate", "--png"}), "/plate -f 1004- --start-number 1000"));
    const std::string all = output({"cat", "/plate", "--raw"});
    constexpr std::size_t piped = 4 * std::size_t{96};
    EXPECT_EQ(all.substr(0, piped), all.substr(piped, piped));
    EXPECT_EQ(12U * 96, all.size());
    EXPECT_EQ(0, pipe("abcdef", "/gray --raw -f 2-"));
    write("many", "ghijkl");
    output({"put", "--raw", "many", "/gray"});
    EXPECT_EQ("ghijklcdef", output({"cat", "/gray", "--raw"}));
    // What came whole stays; the clip is no longer than that.
    EXPECT_EQ(8, pipe("mnopq", "/gray --raw -f 4-"));
    EXPECT_EQ("ghijklcdmnop", output({"cat", "/gray", "--raw"}));
    EXPECT_EQ(8, pipe(pam + pam + pam + pam.substr(0, 47), "/cut"));
    EXPECT_NE(std::string::npos, read("errors").find("image 4: ")) << read("errors");
    EXPECT_NE(std::string::npos, read("errors").find("; 3 frames are done")) << read("errors");
    EXPECT_EQ("ababab", output({"cat", "/cut", "--raw"}));
    EXPECT_EQ(8, pipe(pam + "P5 3 1 255\nabc", "/cut"));
    EXPECT_NE(std::string::npos, read("errors").find("(image 2)' is 3x1, not 2x1"));
    EXPECT_EQ(8, pipe("", "/none"));
    EXPECT_EQ(2, pipe(pam, "/none --missing hold"));
    EXPECT_EQ(2, pipe(pam, "/none -f 1-2"));
    EXPECT_EQ(3, run({"stat", "/none"}).status);
}

TEST_F(TransferVerbsTest, ConnectionsMoveEveryFrameOnceAlsoBetweenServers) {
    DevServerOptions options;
    options.root = scratch_ / "other";
    options.listen = "127.91" + host_.substr(6);
    const DevServer other(options);
    const std::string copy = options.listen + ":/copy";
    output({"get", "/plate", "x.#.png", "-j", "3", "--verify"});
    output({"put", "x.#.png", "/new", "-j", "3", "--verify"});
    const auto copied = json({"cp", "/new", copy, "-f", "2-6", "-j", "3", "--verify"});
    EXPECT_EQ(5 * 96, copied["bytes"]);
    EXPECT_LT(copied["seconds"], 60.0);
    EXPECT_EQ(output({"cat", "/plate", "--raw", "-f", "2-6"}), output({"cat", copy, "--raw"}));
    EXPECT_EQ(json({"hash", "/plate"}), json({"hash", "/new", "-j", "4"}));
}

TEST_F(TransferVerbsTest, ProgressIsJsonLinesForProgramsAndNothingOnAPipe) {
    const std::string errors = run({"-q", "get", "/plate", "x.#.png", "--progress", "json"}).errors;
    const auto line = nlohmann::json::parse(errors.substr(errors.rfind('{')));
    EXPECT_EQ(8 * 96, line["bytes"]);
    EXPECT_EQ("", run({"-q", "get", "/plate", "y.#.png"}).errors);
}

} // namespace
