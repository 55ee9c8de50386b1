// File paths: joining, cleaning, expansion, and the files behind them.
#include "base/fileUtil/src/CoFilePath.h"
#include "base/loggerBase/src/CoException.h"
#include "tests/support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// Each case is a path, a bar, and what the operation makes of the path.
void expectAll(const std::vector<std::string>& cases,
               const std::function<std::string(CoFilePath&)>& operation) {
    for (const std::string& each : cases) {
        const std::size_t bar = each.find('|');
        CoFilePath path(each.substr(0, bar).c_str());
        EXPECT_EQ(each.substr(bar + 1), operation(path)) << each;
    }
}

TEST(CoFilePath, JoinsWithExactlyOneSlash) {
    EXPECT_STREQ("/a/b/c", CoFilePath("/a/", "/b/", "/c").path());
    EXPECT_STREQ("b", CoFilePath("", "b").path());
    EXPECT_STREQ("b", CoFilePath(nullptr, "/b", nullptr).path());
    EXPECT_STREQ("a//b", CoFilePath("a", "//b").path()); // one leading slash is dropped
    CoFilePath twice("/a/fairly/long/path/for/one");
    twice.concatenate(twice.path() + 2);
    EXPECT_STREQ("/a/fairly/long/path/for/one/fairly/long/path/for/one", twice.path());
}

TEST(CoFilePath, CleanCollapsesSlashesAndDotsBetweenThemOnly) {
    expectAll({"|", "//a///b//|/a/b/", "a/./b|a/b", "a/././b|a/b", "./a/../b/.|./a/../b/.", "/./|/",
               "a/.//b|a/b", "a/.b|a/.b"},
              [](CoFilePath& path) { return path.clean(), path.path(); });
}

TEST(CoFilePath, NamesItsComponents) {
    expectAll({"/a/b.c|b.c", "a/|a", "/|/", "|."},
              [](CoFilePath& path) { return path.baseName(); });
    expectAll({"/a/b.c|/a", "a/|.", "/|/", "|.", "a/b/c|a/b"},
              [](CoFilePath& path) { return path.directoryName(); });
    expectAll({"/a.d/b|", ".profile|", ".a.b|b", "x.tar.gz|gz", "x.|"},
              [](CoFilePath& path) { return path.extension(); });
    expectAll({"x.tar.gz|x.tar", ".a|.a", "/a.d/b|/a", "ab|ab", "a.b|a"},
              [](CoFilePath& path) { return path.pruneExtension(), path.path(); });
    expectAll({"a\\b\\|a/b/"},
              [](CoFilePath& path) { return path.setGenericPath(path), path.path(); });
}

TEST(CoFilePath, ComponentsBelongToTheThreadThatAsked) {
    const char* const name = CoFilePath("/a/mine").baseName();
    std::thread([] { EXPECT_STREQ("theirs", CoFilePath("/a/theirs").baseName()); }).join();
    EXPECT_STREQ("mine", name);
}

// Is destroyed when the objects of the thread are gone.
struct UsedAtExit {
    ~UsedAtExit() {
        const CoFilePath path("/fairly/long/directory/name.extension");
        if (std::getenv("TELL_AT_EXIT") != nullptr)
            std::fprintf(stderr, "%s %s %s", path.directoryName(), path.baseName(),
                         path.extension().c_str());
    }
} usedAtExit;

TEST(CoFilePath, NamesItsComponentsInStaticDestructors) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    ::setenv("TELL_AT_EXIT", "", 1);
    EXPECT_EXIT((CoFilePath("/fairly/long/directory/of/another").directoryName(),
                 CoFilePath("another.name.that.is.not.short").baseName(), std::exit(0)),
                testing::ExitedWithCode(0),
                testing::Eq("/fairly/long/directory name.extension extension"));
    ::unsetenv("TELL_AT_EXIT");
}

TEST(CoFilePath, ExpandPutsHomesAndVariables) {
    ::setenv("HOME", "/home/me/", 1);
    ::setenv("PART", "p//q", 1);
    const std::string root = ::getpwnam("root")->pw_dir;
    expectAll({"~/a|/home/me/a", "~|/home/me/", "~root/a|" + root + "/a", "$PART/a|p/q/a",
               "/x/$PART|/x/p/q", "a/./b|a/b", "$|$", "a$/$PART|a$/p/q"},
              [](CoFilePath& path) { return path.expand(), path.path(); });
    ::unsetenv("HOME");
    EXPECT_EQ("/var/tmp", CoFilePath::homeDir());
}

// A directory that goes with the test.
class CoFilePathOnDisk : public testing::Test {
protected:
    CoFilePath at(const std::string& name) const { return CoFilePath(root.c_str(), name.c_str()); }
    std::string addFile(const std::string& name) const {
        std::ofstream(at(name).path()) << "12345";
        return at(name).path();
    }

    const ScratchDirectory scratch;
    const std::string root = scratch.path();
};

TEST_F(CoFilePathOnDisk, UniquePathTakesTheFirstFreeNumber) {
    for (const char* const existing : {"f.txt", "f_1.txt", "bare", ".hidden", "a.b.c", "d."})
        addFile(existing);
    ::setenv("PART", "bare", 1);
    expectAll({"f.txt|f_2.txt", "$PART|bare_1", "f_1.txt|f_1_1.txt", "bare|bare_1",
               ".hidden|.hidden_1", "a.b.c|a.b_1.c", "d.|d_1", "free.txt|free.txt"},
              [this](CoFilePath& name) {
                  CoFilePath path = at(name.path());
                  path.uniquePath();
                  EXPECT_EQ(root, path.directoryName());
                  return path.baseName();
              });
}

TEST_F(CoFilePathOnDisk, FilesDirectoriesAndLinksAreMadeAndRemoved) {
    ::umask(022);
    at("d").createDir({7, 3, 5}); // read is 1, execute is 4
    at("f").createFile({3, 3, 2}, true);
    at("f").createFile({7, 7, 7}, false);
    at("soft").createLink(at("f"), true);
    at("hard").createLink(at("f"), false);
    EXPECT_EQ(fs::perms(0745), fs::status(at("d").path()).permissions());
    EXPECT_EQ(fs::perms(0640), fs::status(at("f").path()).permissions());
    EXPECT_EQ(2U, fs::hard_link_count(at("f").path()));
    EXPECT_TRUE(at("soft").isSymLink() && !at("hard").isSymLink());
    EXPECT_EQ(CoFilePath::RegularFile, at("soft").type());
    EXPECT_EQ(CoFilePath::Directory, at("d").type());
    EXPECT_EQ(CoFilePath::OtherType, at("none").type());
    EXPECT_EQ(5, CoFilePath(addFile("f").c_str()).size());
    CoFilePath moving = at("f");
    moving.renameTo(at("g"));
    EXPECT_EQ(root + "/g", moving.path());
    EXPECT_FALSE(at("soft").exists()); // it leads nowhere now
    moving.removeFile();
    at("d").removeDir();
    EXPECT_FALSE(moving.exists() || at("d").exists());
}

TEST_F(CoFilePathOnDisk, FileOpensWithTheLowestDescriptorToo) {
    const int input = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    EXPECT_NO_THROW(at("f").createFile({7, 7, 7}, true));
    EXPECT_EQ(-1, ::fcntl(STDIN_FILENO, F_GETFD)); // closed again
    ::dup2(input, STDIN_FILENO);
    ::close(input);
}

TEST_F(CoFilePathOnDisk, FailuresThrowTheSystemsTextAndNameTheirPlace) {
    ::unsetenv("UNSET");
    addFile("f");
    CoFilePath none = at("none"), unset("$UNSET/a"), nobody("~no.such.user");
    const auto thrownBy = [](const std::function<void()>& operation) {
        try {
            operation();
        } catch (const CoException& e) {
            return std::string(e.what()) + " " + e.file() + " " + std::to_string(e.line());
        }
        return std::string("nothing");
    };
    const std::string missing = std::strerror(ENOENT), exists = std::strerror(EEXIST);
    const std::string general = " base/fileUtil/src/CoFilePath ";
    const std::string system = " base/fileUtil/src/CoFilePath_MACOSX ";
    EXPECT_EQ(missing + general + "190", thrownBy([&] { static_cast<void>(none.size()); }));
    EXPECT_EQ(missing + general + "227", thrownBy([&] { none.renameTo(at("x")); }));
    EXPECT_EQ(missing + system + "137", thrownBy([&] { none.removeFile(); }));
    EXPECT_EQ(exists + system + "96", thrownBy([&] { at("f").createDir({7, 7, 7}); }));
    EXPECT_EQ(missing + system + "186", thrownBy([&] { nobody.expand(); }));
    EXPECT_EQ(missing + system + "204", thrownBy([&] { unset.expand(); }));
    EXPECT_EQ(missing + system + "107", thrownBy([&] { none.removeDir(); }));
    EXPECT_EQ(exists + system + "123", thrownBy([&] { at("f").createFile({3, 3, 3}, true); }));
    EXPECT_EQ(exists + system + "152", thrownBy([&] { at("f").createLink(none, true); }));
    EXPECT_STREQ("$UNSET/a", unset.path());
}

TEST_F(CoFilePathOnDisk, WorkingDirectoryMayHaveANameOfAnyLength) {
    const fs::path before = fs::current_path();
    fs::current_path(root);
    std::string deep = fs::current_path();
    for (int depth = 0; depth < 25; ++depth) { // beyond PATH_MAX
        const std::string name(200, static_cast<char>('a' + depth));
        ASSERT_TRUE(::mkdir(name.c_str(), 0700) == 0 && ::chdir(name.c_str()) == 0);
        deep += "/" + name;
    }
    EXPECT_EQ(deep, CoFilePath::currentWorkingDir());
    fs::current_path(before);
}

} // namespace
