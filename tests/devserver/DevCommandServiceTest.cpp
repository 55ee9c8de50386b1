// Requests and replies of the command connection, without sockets.
#include "devserver/DevCommandService.h"

#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

namespace {

/// The service without sockets, on a tree with the folder n1 and in it the clip n2 with two frames.
class DevCommandServiceTest : public testing::Test {
protected:
    DevCommandServiceTest() {
        reply("CreateNode", "n0 \"folder\" 0 12");
        reply("CreateNode", "n1 \"clip\" 1 R8");
        reply("AllocateFrames", "n2 2 " + format);
    }

    /// "CODE VALUE", without the escaping of the wire.
    std::string reply(const std::string& method, const std::string& arguments) {
        rcCommand request;
        request.setMethod(method.c_str());
        request.setValue(arguments.c_str());
        const rcResult result = service_.answer(request, [](std::size_t) {});
        return std::string(rcResult::codeToStr(result.code())) + " " + result.value();
    }

    const std::string format = "4 2 8 1 8 1 29.97  4  \"a \\\"b\\\" \\\\c\"";
    DevServerOptions options_;

private:
    ScratchDirectory scratch_;
    const DevLog log_{nullptr, /*verbose=*/false};
    DevTree tree_{scratch_ / "root", DevSync::None, log_};
    DevFrameCache cache_{tree_, log_, 0};
    DevCommandService service_{tree_, cache_, log_, options_};
};

TEST_F(DevCommandServiceTest, RepliesAreExact) {
    const char* const requests[][3] = {
        {"GetRootNode", "", "ok n0"},
        {"GetChildren", "n0", "ok n1,folder"},
        {"GetNodeType", "n2", "ok 1 0"},
        {"GetNodeTypeStr", "n2", "ok R8"},
        {"CreateNode", "n1 \"a \"b\" c\" 0 ", "ok n3"},
        {"GetDisplayName", "n3", "ok a \"b\" c"},
        {"GetFrames", "n2", "ok n2-f0,n2-f1"},
        {"GetClipFormat", "n2", "ok 4 2 8 1 8 1 29.97 none 4 none a \"b\" \\c"},
        {"SetMetaData", "n2 notes \"1\t\\\"2\\\"\n\\\\3 \"", "ok "},
        {"GetMetaData", "n2 notes  0", "ok 1\t\"2\"\n\\3 "},
        {"QueryMetaDataSupport", "n2", "ok notes"},
        {"TranslatePaths", "\"a\" 3 \"b\" 2 \"c:\\d\",\"e\"", "ok c:/d,e"},
        {"TranslatePaths", "\"a b\" 2 \"b\" 3 \"/c/d\"", "ok \\c\\d"},
        {"DestroyNode", "n1", "ok "},
        {"GetChildren", "n0", "ok "},
    };
    for (const auto& [method, arguments, expected] : requests)
        EXPECT_EQ(expected, reply(method, arguments)) << method << " " << arguments;
}

TEST_F(DevCommandServiceTest, BadRequestsSayWhatIsWrong) {
    const std::string longTag(256, 't');
    for (const std::string method : {"GetChildren", "GetFrames", "DestroyNode", "GetClipFormat"})
        for (const std::string id : {"", "n9", "n01", "../n2", "/etc", "n2 "})
            EXPECT_EQ("error There is no node '" + id + "'.", reply(method, id));
    const std::string requests[][3] = {
        {"Nothing", "", "Unknown method 'Nothing'."},
        {"DestroyNode", "n0", "The root node can't be destroyed."},
        {"GetFrames", "n1", "The node 'n1' is not a clip."},
        {"CreateNode", "n1 \"a", "The node's name is not a text in double quotes."},
        {"CreateNode", "n1 \"a\" x y", "The node kind 'x' is not a number."},
        {"CreateNode", "n1 \"a\" 0 y z", "The node type holds a blank."},
        {"CreateNode", "n1 \"\" 0 y", "A node needs a name."},
        {"CreateNode", "n1 \"" + std::string(1024, 'a') + "\" 0 y",
         "The node's name is longer than 1023 bytes."},
        {"CreateNode", "n1 \"a\" 0 " + std::string(1024, 't'),
         "The node's type is longer than 1023 bytes."},
        {"SetMetaData", "n2 " + std::string(1024, 's') + " \"\"",
         "The metadata stream name is longer than 1023 bytes."},
        {"CreateNode", "n1 \"a/b\" 0 y",
         "The name 'a/b' holds a comma, a slash or a line feed, which lists and paths can't "
         "carry."},
        {"CreateNode", "n2 \"a\" 0 y", "The node 'clip' is a clip, which has no nodes below it."},
        {"AllocateFrames", "n2 -1 " + format, "The number of frames is negative."},
        {"AllocateFrames", "n2 99999999999 " + format,
         "The number of frames '99999999999' is not a number."},
        {"AllocateFrames", "n2 1 4 2 8 1 0 1 30 t 4 m \"\"",
         "The frame buffer size 0 is not from 1 to 1073741824 bytes."},
        {"AllocateFrames", "n2 1 4 2 8 1 8 1 29,97 t 4 m \"\"",
         "The frame rate '29,97' is not a number."},
        {"AllocateFrames", "n2 1 4 2 8 1 8 1 30 " + longTag + " 4 m \"\"",
         "A tag of the clip format is longer than 255 bytes."},
        {"SetFramePaths", "n2 a h 0 v " + format, "The path 'a' is not absolute."},
        {"GetMetaData", "n2 notes  0", "The node 'n2' has no metadata stream 'notes'."},
        {"SetMetaData", "n2 a,b \"\"",
         "The metadata stream name 'a,b' is empty or holds a comma or white space."},
        {"TranslatePaths", "\"a\" 5 \"b\" 1 ", "The source system 5 is not from 0 to 4."},
    };
    for (const auto& [method, arguments, error] : requests)
        EXPECT_EQ("error " + error, reply(method, arguments)) << method << " " << arguments;
    EXPECT_EQ("ok n2-f0,n2-f1", reply("GetFrames", "n2"));
}

TEST_F(DevCommandServiceTest, LinkedPathsMayHoldBlanksAndQuotes) {
    ScratchDirectory files;
    const std::string path = files / "a \"b\" c";
    writeFile(path, "12345678");
    EXPECT_EQ("ok ", reply("SetFramePaths", "n2 " + path + "," + path + " h 0 v " + format));
    EXPECT_EQ("ok " + path + "," + path, reply("GetFramePaths", "n2 h 0 v"));
    EXPECT_EQ("ok ", reply("SetFramePaths", "n2  h 0 v " + format));
    EXPECT_EQ("ok ", reply("GetFrames", "n2"));
}

TEST_F(DevCommandServiceTest, OlderServersLackLaterMethods) {
    const std::pair<const char*, int> later[] = {
        {"GetFramePaths", 5}, {"SetMetaData", 5}, {"SetFramePaths", 6}, {"GetStorageId", 6}};
    for (const auto& [method, minor] : later) {
        const std::string unknown = "error Unknown method '" + std::string(method) + "'.";
        options_.protocolMinor = minor - 1;
        EXPECT_EQ(unknown, reply(method, ""));
        options_.protocolMinor = minor;
        EXPECT_NE(reply(method, ""), unknown);
    }
    options_.protocolMinor = 4;
    EXPECT_EQ("ok 2 4", reply("QueryVersion", ""));
}

} // namespace
