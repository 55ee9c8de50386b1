#include "base/fileUtil/src/CoFilePath.h"
#include "base/loggerBase/src/CoException.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// Applies one operation to each left text and compares with the right one.
void expectAll(const std::vector<std::pair<const char*, std::string>>& cases,
               const std::function<std::string(CoFilePath&)>& operation) {
    for (const auto& each : cases) {
        CoFilePath path(each.first);
        EXPECT_EQ(each.second, operation(path)) << each.first;
    }
}

TEST(CoFilePath, JoinsWithExactlyOneSlash) {
    EXPECT_STREQ("a/b/c", CoFilePath("a", "b", "c").path());
    EXPECT_STREQ("/a/b/c", CoFilePath("/a/", "/b/", "/c").path());
    EXPECT_STREQ("b", CoFilePath("", "b").path());
    EXPECT_STREQ("b", CoFilePath(nullptr, "/b", nullptr).path());
    EXPECT_STREQ("a//b", CoFilePath("a", "//b").path()); // one leading slash is dropped
    EXPECT_STREQ("a/", CoFilePath("a", "").path());
}

TEST(CoFilePath, CleanCollapsesSlashesAndDotsBetweenThemOnly) {
    expectAll({{"", ""},
               {"//a///b//", "/a/b/"},
               {"a/./b", "a/b"},
               {"a/././b", "a/b"},
               {"./a/../b/.", "./a/../b/."},
               {"/./", "/"},
               {"a/.//b", "a/b"},
               {"a/.b", "a/.b"}},
              [](CoFilePath& path) { return path.clean(), path.path(); });
}

TEST(CoFilePath, NamesItsComponents) {
    expectAll({{"/a/b.c", "b.c"}, {"a/", "a"}, {"/", "/"}, {"", "."}, {"a", "a"}},
              [](CoFilePath& path) { return path.baseName(); });
    expectAll({{"/a/b.c", "/a"}, {"a/", "."}, {"/", "/"}, {"", "."}, {"a/b/c", "a/b"}},
              [](CoFilePath& path) { return path.directoryName(); });
    expectAll({{"/a.d/b", ""}, {".profile", ""}, {".a.b", "b"}, {"x.tar.gz", "gz"}, {"x.", ""}},
              [](CoFilePath& path) { return path.extension(); });
    expectAll({{"x.tar.gz", "x.tar"}, {".a", ".a"}, {"/a.d/b", "/a"}, {"ab", "ab"}},
              [](CoFilePath& path) { return path.pruneExtension(), path.path(); });
    expectAll({{"a\\b\\", "a/b/"}},
              [](CoFilePath& path) { return path.setGenericPath(path), path.path(); });
}

TEST(CoFilePath, ComponentsBelongToTheThreadThatAsked) {
    const char* const name = CoFilePath("/a/mine").baseName();
    std::thread([] { EXPECT_STREQ("theirs", CoFilePath("/a/theirs").baseName()); }).join();
    EXPECT_STREQ("mine", name);
}

TEST(CoFilePath, ExpandPutsHomesAndVariables) {
    ::setenv("HOME", "/home/me/", 1);
    ::setenv("PART", "p//q", 1);
    const std::string root = ::getpwnam("root")->pw_dir;
    expectAll({{"~/a", "/home/me/a"},
               {"~", "/home/me/"},
               {"~root/a", root + "/a"},
               {"$PART/a", "p/q/a"},
               {"/x/$PART", "/x/p/q"},
               {"a/./b", "a/b"}},
              [](CoFilePath& path) { return path.expand(), path.path(); });
    ::unsetenv("HOME");
    EXPECT_EQ("/var/tmp", CoFilePath::homeDir());
}

// A directory that goes with the test.
class CoFilePathOnDisk : public testing::Test {
protected:
    CoFilePathOnDisk() {
        std::string pattern = testing::TempDir() + "pathXXXXXX";
        root = ::mkdtemp(&pattern[0]);
    }
    ~CoFilePathOnDisk() override { fs::remove_all(root); }

    CoFilePath at(const std::string& name) const { return CoFilePath(root.c_str(), name.c_str()); }
    std::string addFile(const std::string& name) const {
        std::ofstream(at(name).path()) << "12345";
        return at(name).path();
    }

    std::string root;
};

TEST_F(CoFilePathOnDisk, UniquePathTakesTheFirstFreeNumber) {
    const struct {
        const char *existing, *unique;
    } cases[] = {{"f.txt", "/f_1.txt"},
                 {"f_1.txt", "/f_1_1.txt"},
                 {"bare", "/bare_1"},
                 {".hidden", "/.hidden_1"},
                 {"a.b.c", "/a.b_1.c"}};
    for (const auto& each : cases) {
        CoFilePath path(addFile(each.existing).c_str());
        path.uniquePath();
        EXPECT_EQ(root + each.unique, path.path());
    }
    CoFilePath third = at("f.txt"), free = at("free.txt");
    third.uniquePath();
    EXPECT_EQ(root + "/f_2.txt", third.path());
    free.uniquePath();
    EXPECT_EQ(root + "/free.txt", free.path());
}

TEST_F(CoFilePathOnDisk, FilesDirectoriesAndLinksAreMadeAndRemoved) {
    ::umask(022);
    at("d").createDir({7, 3, 5}); // read is 1, execute is 4
    at("f").createFile({3, 3, 1}, true);
    at("f").createFile({7, 7, 7}, false);
    at("soft").createLink(at("f"), true);
    at("hard").createLink(at("f"), false);
    EXPECT_EQ(fs::perms(0745), fs::status(at("d").path()).permissions());
    EXPECT_EQ(fs::perms(0644), fs::status(at("f").path()).permissions());
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

TEST_F(CoFilePathOnDisk, FailuresThrowTheSystemsTextAndNameTheirPlace) {
    const char* const general = "base/fileUtil/src/CoFilePath";
    const char* const system = "base/fileUtil/src/CoFilePath_MACOSX";
    ::unsetenv("UNSET");
    addFile("f");
    CoFilePath none = at("none"), unset("$UNSET/a"), nobody("~no.such.user");
    const struct {
        std::function<void()> operation;
        const char* file;
        int line; // 0: any
        int error;
    } cases[] = {{[&] { static_cast<void>(none.size()); }, general, 190, ENOENT},
                 {[&] { none.renameTo(at("x")); }, general, 227, ENOENT},
                 {[&] { none.removeFile(); }, system, 137, ENOENT},
                 {[&] {
                      at("f").createDir({7, 7, 7});
                  },
                  system, 96, EEXIST},
                 {[&] {
                      at("f").createFile({3, 3, 3}, true);
                  },
                  system, 0, EEXIST},
                 {[&] { at("f").createLink(none, true); }, system, 0, EEXIST},
                 {[&] { none.removeDir(); }, system, 0, ENOENT},
                 {[&] { nobody.expand(); }, system, 186, ENOENT},
                 {[&] { unset.expand(); }, system, 204, ENOENT}};
    for (const auto& each : cases) {
        try {
            each.operation();
            ADD_FAILURE() << "nothing thrown for line " << each.line;
        } catch (const CoException& failure) {
            EXPECT_STREQ(std::strerror(each.error), failure.what());
            EXPECT_STREQ(each.file, failure.file());
            EXPECT_EQ(each.line != 0 ? each.line : failure.line(), failure.line());
        }
    }
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
