#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvane/platform/Dir.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using Korvane::Dir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;
using Names = std::vector<std::string>;

// Opens the parts a subclass sees.
class OpenDir : public Dir {
public:
    using Dir::buildPath;
    using Dir::components;
    using Dir::Dir;
    using Dir::drive;
    using Dir::extension;
    using Dir::fileName;
    using Dir::splitPath;

    std::string built(_path_style style) {
        setPathStyle(style);
        return buildPath();
    }
};

// A Dir is absolute exactly when it builds to something.
TEST(DirPath, SplitsAndBuildsInBothStyles) {
    struct Case {
        const char* path;
        const char* drive;
        Names names;
        const char* fileName;
        const char* extension;
        const char* native;
        const char* slash;
    };
    const Case cases[] = {
        {"C:\\a\\b\\file.txt", "C", {"a", "b"}, "file", "txt", "C:\\a\\b\\", "/C/a/b/"},
        {"C:/a//b/", "C", {"a", "b"}, "", "", "C:\\a\\b\\", "/C/a/b/"},
        {"c:a\\/b\\\\c/", "c", {"a", "b", "c"}, "", "", "c:\\a\\b\\c\\", "/c/a/b/c/"},
        {"C:", "C", {}, "", "", "C:\\", "/C/"},
        {"C:\\\\/", "C", {}, "", "", "C:\\", "/C/"},
        // Without a drive only a leading '/' is a root, and a drive must be a letter.
        {"a\\b", "", {"a"}, "b", "", "", ""},
        {"\\a\\b\\", "", {"a", "b"}, "", "", "", ""},
        {"\\\\\\", "", {}, "", "", "", ""},
        {"1:/a/", "", {"1:", "a"}, "", "", "", ""},
        {"/usr//lib\\k/p.so", "", {"usr", "lib", "k"}, "p", "so", "/usr/lib/k/", "/usr/lib/k/"},
        {"/", "", {}, "", "", "/", "/"},
        {"////", "", {}, "", "", "/", "/"},
        {"/a/./b/../c/", "", {"a", ".", "b", "..", "c"}, "", "", "/a/./b/../c/", "/a/./b/../c/"},
        {"/d.x/archive.tar.gz", "", {"d.x"}, "archive.tar", "gz", "/d.x/", "/d.x/"},
        {"/d/.hidden", "", {"d"}, "", "hidden", "/d/", "/d/"},
        {"/a b/\xff/ n .x", "", {"a b", "\xff"}, " n ", "x", "/a b/\xff/", "/a b/\xff/"},
        {"", "", {}, "", "", "", ""},
        {nullptr, "", {}, "", "", "", ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path ? c.path : "(null)");
        OpenDir dir(c.path);
        EXPECT_EQ(dir.drive(), c.drive);
        EXPECT_EQ(dir.components(), c.names);
        EXPECT_EQ(dir.fileName(), c.fileName);
        EXPECT_EQ(dir.extension(), c.extension);
        EXPECT_EQ(dir.isAbsolute(), *c.native != '\0');
        EXPECT_EQ(dir.built(Dir::native_style), c.native);
        EXPECT_EQ(dir.built(Dir::slash_style), c.slash);
    }
}

TEST(DirPath, SplitReplacesEveryPartStopsAtNulAndOnlySlashStyleIsNotNative) {
    OpenDir dir("C:\\a\\f.txt");
    dir.splitPath(std::string("b/c\0/d/", 7));
    EXPECT_EQ(dir.drive() + dir.fileName() + dir.extension(), "c");
    EXPECT_THAT(dir.components(), ElementsAre("b"));
    EXPECT_FALSE(dir.isAbsolute());
    OpenDir fresh;
    EXPECT_THAT(fresh.components(), ElementsAre("."));
    EXPECT_EQ(fresh.buildPath(), "");
    EXPECT_EQ(Dir("/a/", static_cast<Dir::_path_style>(0)).pathStyle(), Dir::native_style);
    for (int style : {0, 7}) {
        dir.setPathStyle(Dir::slash_style);
        dir.setPathStyle(static_cast<Dir::_path_style>(style));
        EXPECT_EQ(dir.pathStyle(), Dir::native_style) << style;
    }
}

// The directory part has room for 4095 bytes, file name and extension for 259 each.
TEST(DirPath, PartsBeyondTheirRoomLeaveAnEmptyDir) {
    const std::string dir4095 = "/" + std::string(4093, 'd') + "/";
    EXPECT_EQ(OpenDir(dir4095.c_str()).buildPath(), dir4095);
    EXPECT_EQ(OpenDir(("/d/" + std::string(259, 'n') + ".e").c_str()).buildPath(), "/d/");
    const std::string extension258 = std::string(258, 'e');
    EXPECT_EQ(OpenDir(("/d/n." + extension258).c_str()).extension(), extension258);
    const std::string tooLong[] = {"/" + std::string(4094, 'd') + "/",
                                   "/d/" + std::string(260, 'n'), "/d/n." + std::string(259, 'e'),
                                   std::string(10000, '/') + "x",
                                   "/" + std::string(10000, 'x') + "/y/"};
    for (const std::string& path : tooLong) {
        OpenDir dir(path.c_str());
        EXPECT_FALSE(dir.isAbsolute()) << path.size();
        EXPECT_THAT(dir.components(), IsEmpty());
        EXPECT_EQ(dir.fileName(), "");
        EXPECT_FALSE(dir.exists());
        EXPECT_THAT(dir.dirList("*"), IsEmpty());
    }
}

class DirOnDisk : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name :
             {"a.so", "b.so", "libx.so.1", "notes.txt", "abcdef.txt", "abc", "axc", "ac", "[ab].so",
              "*star.so", "my file.so", "\xc3\xa9t\xc3\xa9.so"})
            std::ofstream(m_temp.file(name)) << "x";
        fs::create_directory(m_temp.file("plug.so"));
    }
    void TearDown() override { fs::current_path(m_saved); }
    Dir dir(const std::string& name = "") { return Dir((m_temp.file(name) + "/").c_str()); }
    fs::path m_saved = fs::current_path();
    KorvaneTest::TempDir m_temp;
};

TEST_F(DirOnDisk, ExistsAndListsOnlyForDirectories) {
    EXPECT_TRUE(dir().exists());
    EXPECT_TRUE(dir("plug.so/../").exists());
    EXPECT_FALSE(dir("a.so").exists());
    EXPECT_FALSE(dir("missing").exists());
    EXPECT_FALSE(Dir("C:\\").exists());
    EXPECT_FALSE(Dir(".").exists());  // relative: builds nothing
    EXPECT_THAT(dir("missing").dirList("*.so"), IsEmpty());
    EXPECT_THAT(dir("a.so").dirList("*"), IsEmpty());
    EXPECT_THAT(Dir().dirList("*"), IsEmpty());
}

TEST_F(DirOnDisk, PatternsMatchEntryNamesAsBytes) {
    const std::pair<std::string, Names> cases[] = {
        {"*.so",
         {"a.so", "b.so", "[ab].so", "*star.so", "my file.so", "\xc3\xa9t\xc3\xa9.so", "plug.so"}},
        {"a?c*", {"abc", "abcdef.txt", "axc"}},
        {"??", {"..", "ac"}},
        {"[ab].so", {"[ab].so"}},
        {"*a*c*.t?t", {"abcdef.txt"}},
        {"", {}},
        {"A.SO", {}},
        {"plug.so/*", {}},
        {std::string(10000, '*') + "x", {}}};
    for (const auto& [pattern, names] : cases)
        EXPECT_THAT(dir().dirList(pattern), UnorderedElementsAreArray(names))
            << pattern.substr(0, 20);
    const Names all = dir().dirList("*");
    EXPECT_EQ(all.size(), 15u);
    EXPECT_THAT(all, ::testing::IsSupersetOf({".", ".."}));
    EXPECT_THAT(dir().dirList("*.*"), UnorderedElementsAreArray(all));
}

TEST_F(DirOnDisk, UnreadableDirectoryListsNothing) {
    fs::create_directory(m_temp.file("locked"));
    std::ofstream(m_temp.file("locked/a.so")) << "x";
    fs::permissions(m_temp.file("locked"), fs::perms::none);
    std::error_code error;
    fs::directory_iterator probe(m_temp.file("locked"), error);
    const Names listed = dir("locked").dirList("*");
    fs::permissions(m_temp.file("locked"), fs::perms::owner_all);
    if (!error) GTEST_SKIP() << "permissions do not apply to this user";
    EXPECT_THAT(listed, IsEmpty());
}

TEST_F(DirOnDisk, AbsoluteAppendsRelativeNamesToTheWorkingDirectory) {
    fs::create_directories(m_temp.file("sub/inner"));
    std::ofstream(m_temp.file("sub/inner/m.so")) << "x";
    fs::current_path(m_temp.path());
    const std::string cwd = fs::canonical(m_temp.path()).string() + "/";
    EXPECT_EQ(Dir::workingDir(), cwd);
    EXPECT_EQ(Dir().absolute(), cwd);
    Dir relative("./sub/../sub/inner/", Dir::slash_style);
    EXPECT_EQ(relative.absolute(), cwd + "sub/../sub/inner/");
    EXPECT_TRUE(relative.isAbsolute());
    EXPECT_TRUE(relative.exists());
    EXPECT_THAT(relative.dirList("*.so"), ElementsAre("m.so"));
    EXPECT_EQ(Dir("C:\\a\\f.txt").absolute(), "C:\\a\\");
}

TEST_F(DirOnDisk, EmptyWhenTheCurrentDirectoryIsGoneOrTooLong) {
    fs::create_directory(m_temp.file("gone"));
    fs::current_path(m_temp.file("gone"));
    fs::remove(m_temp.file("gone"));
    EXPECT_EQ(Dir::workingDir(), "");
    OpenDir relative("x/y/");
    EXPECT_EQ(relative.absolute(), "");
    EXPECT_FALSE(relative.isAbsolute());
    EXPECT_THAT(relative.components(), ElementsAre("x", "y"));

    fs::path deep = m_temp.path();
    while (deep.string().size() < 512) deep /= std::string(100, 'd');
    fs::create_directories(deep);
    fs::current_path(deep);
    EXPECT_EQ(Dir::workingDir(), "");
}

}  // namespace
