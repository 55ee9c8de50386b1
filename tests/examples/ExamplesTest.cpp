// The example programs and the README's first program, run as a reader would run them, against
// development servers with one small clip each.
#include "devserver/DevServer.h"
#include "lantrix/LantrixClientAPI.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

namespace {

const std::string clipPath = " /Library/Reel/shot ";
const std::string frames[] = {"24 bytes make one frame.", std::string(24, '\0')};

// What a program prints, errors included, and behind it "[0]" when it succeeded.
std::string run(const std::string& commandLine) {
    std::FILE* const pipe = ::popen((PROGRAM_DIR "/" + commandLine + " 2>&1").c_str(), "r");
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        output += static_cast<char>(c);
    return output + "[" + std::to_string(WEXITSTATUS(::pclose(pipe))) + "]";
}

DevServerOptions options(const std::string& address) {
    DevServerOptions options;
    options.root = ::testing::TempDir() + "examples-" + address;
    options.listen = address;
    options.clips = {"/Library/Reel/shot=4x2x24"};
    return options;
}

// An address for each process and network, on which no other test listens.
struct Server {
    explicit Server(int network)
        : address("127." + std::to_string(network) + "." + std::to_string(::getpid() / 250 % 250) +
                  "." + std::to_string(::getpid() % 250 + 1)) {}
    ~Server() {
        server.stop();
        std::filesystem::remove_all(options(address).root);
    }
    LantrixNodeHandle find(const char* path) const {
        LantrixNodeHandle node;
        EXPECT_TRUE(LantrixResolveDisplayPath(handle, path, node)) << handle.lastError();
        return node;
    }

    const std::string address;
    DevServer server{options(address)};
    const LantrixServerHandle handle{address.c_str()};
};

class Examples : public ::testing::Test {
protected:
    Examples() {
        LantrixNodeHandle clip = source.find("/Library/Reel/shot");
        EXPECT_TRUE(clip.setNumFrames(2) && clip.writeFrame(0, frames[0].data(), 24));
    }

    const Server source{202}, target{203};
    const std::string host = source.address;
};

TEST_F(Examples, ReadmeProgramTellsTheClip) {
    EXPECT_EQ("lantrixd keeps 2 frames of 4 x 2 pixels\n[0]", run("readmeProgram " + host));
}

TEST_F(Examples, ListtreeListsNodesAndFormats) {
    EXPECT_EQ("Library: folder\n  Reel: folder\n    shot: clip, 2 frames of 4x2x24\n[0]",
              run("listtree " + host + " /Library"));
    EXPECT_EQ("Cannot list /none on " + host + ". \n[1]", run("listtree " + host + " /none"));
}

TEST_F(Examples, CopyclipCopiesEveryByteToAnotherServer) {
    EXPECT_EQ("2 frames of 24 bytes\n[0]",
              run("copyclip " + host + clipPath + target.address + " /Library copy"));
    LantrixNodeHandle clip = target.find("/Library/copy");
    for (int i = 0; i < 2; ++i) {
        std::string frame(24, '?');
        EXPECT_TRUE(clip.readFrame(i, frame.data(), 24)) << clip.lastError();
        EXPECT_EQ(frames[i], frame);
    }
}

TEST_F(Examples, SaveframeWritesHeaderAndPixels) {
    const std::string file = options(host).root + "/frame.pam";
    EXPECT_EQ("saveframe: cannot read the frame. Frame index out of range\n[1]",
              run("saveframe " + host + clipPath + "2 " + file));
    EXPECT_EQ("[0]", run("saveframe " + host + clipPath + "0 " + file));
    std::ifstream image(file, std::ios::binary);
    EXPECT_EQ("P7\nWIDTH 4\nHEIGHT 2\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR\n" + frames[0],
              std::string(std::istreambuf_iterator<char>(image), {}));
}

TEST_F(Examples, AbandonreadEndsAReadThatWouldGoOnForEver) {
    const std::string output = run("abandonread " + host + clipPath + "50");
    EXPECT_NE(std::string::npos, output.find("Connection stopped\n[0]")) << output;
}

#ifdef __linux__
TEST_F(Examples, AClosedOutputIsNeverASocket) {
    const std::string output =
        run("abandonread " + host + clipPath +
            "3000 >&- & for i in 1 2 3 4 5 6 7 8 9; do sleep 0.2; readlink /proc/$!/fd/1 && break; "
            "done; wait");
    EXPECT_EQ("/dev/null\n", output.substr(0, output.find('\n') + 1));
}
#endif

#ifdef HAS_STREAM_EXAMPLES
TEST_F(Examples, WalktreeListsAllNodesInOrder) {
    EXPECT_EQ(
        "root: root\n  Library: folder\n    Reel: folder\n      shot: clip, 2 frames of 4x2x24\n"
        "[0]",
        run("walktree " + host + " 3"));
}

TEST_F(Examples, ScrubplayShowsFramesFromEachJumpOn) {
    const std::string output = run("scrubplay " + host + clipPath + "1 0 2");
    EXPECT_EQ(0U, output.find("1 frames, 24 bytes from 1 on; the first after ")) << output;
    EXPECT_NE(std::string::npos, output.find("\n2 frames, 48 bytes from 0 on; ")) << output;
}
#endif

} // namespace
