#include <korvane/platform/Dir.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/TempDir.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Korvane::Dir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

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

// ---- parsing and building ----

TEST(DirPath, DrivePathSplitsAndBuildsInBothStyles) {
    OpenDir dir("C:\\a\\b\\file.txt");
    EXPECT_EQ(dir.drive(), "C");
    EXPECT_THAT(dir.components(), ElementsAre("a", "b"));
    EXPECT_EQ(dir.fileName(), "file");
    EXPECT_EQ(dir.extension(), "txt");
    EXPECT_TRUE(dir.isAbsolute());
    EXPECT_EQ(dir.built(Dir::native_style), "C:\\a\\b\\");
    EXPECT_EQ(dir.built(Dir::slash_style), "/C/a/b/");
}

TEST(DirPath, DoubledAndMixedSeparatorsGiveNoEmptyNames) {
    EXPECT_THAT(OpenDir("C:/a//b/").components(), ElementsAre("a", "b"));
    EXPECT_THAT(OpenDir("c:a\\/b\\\\c/").components(), ElementsAre("a", "b", "c"));
    EXPECT_EQ(OpenDir("c:a\\/b\\\\c/").drive(), "c");
    EXPECT_EQ(OpenDir("C:").built(Dir::native_style), "C:\\");
    EXPECT_EQ(OpenDir("C:").built(Dir::slash_style), "/C/");
}

TEST(DirPath, RelativePathHasNoDriveAndBuildsNothing) {
    OpenDir dir("a\\b");
    EXPECT_EQ(dir.drive(), "");
    EXPECT_FALSE(dir.isAbsolute());
    EXPECT_EQ(dir.buildPath(), "");
    EXPECT_THAT(dir.components(), ElementsAre("a"));
    EXPECT_EQ(dir.fileName(), "b");
    // A leading backslash is no root here, and a drive must be a letter.
    EXPECT_FALSE(OpenDir("\\a\\b\\").isAbsolute());
    OpenDir digit("1:/a/");
    EXPECT_FALSE(digit.isAbsolute());
    EXPECT_THAT(digit.components(), ElementsAre("1:", "a"));
}

TEST(DirPath, RootedPathIsAbsoluteAndBuildsWithSlashesInEitherStyle) {
    OpenDir dir("/usr//lib\\korvane/plugin.so");
    EXPECT_TRUE(dir.isAbsolute());
    EXPECT_EQ(dir.drive(), "");
    EXPECT_THAT(dir.components(), ElementsAre("usr", "lib", "korvane"));
    EXPECT_EQ(dir.built(Dir::native_style), "/usr/lib/korvane/");
    EXPECT_EQ(dir.built(Dir::slash_style), "/usr/lib/korvane/");
    EXPECT_EQ(OpenDir("/").buildPath(), "/");
}

TEST(DirPath, DotNamesAreKeptAsNames) {
    OpenDir dir("/a/./b/../c/");
    EXPECT_THAT(dir.components(), ElementsAre("a", ".", "b", "..", "c"));
    EXPECT_EQ(dir.buildPath(), "/a/./b/../c/");
}

TEST(DirPath, ExtensionIsCutAtTheLastDotOfTheName) {
    OpenDir archive("/d.x/archive.tar.gz");
    EXPECT_EQ(archive.fileName(), "archive.tar");
    EXPECT_EQ(archive.extension(), "gz");
    OpenDir hidden("/d/.hidden");
    EXPECT_EQ(hidden.fileName(), "");
    EXPECT_EQ(hidden.extension(), "hidden");
    OpenDir plain("/d.x/name");
    EXPECT_EQ(plain.fileName(), "name");
    EXPECT_EQ(plain.extension(), "");
}

TEST(DirPath, DefaultDirIsTheRelativeDot) {
    OpenDir dir;
    EXPECT_EQ(dir.drive(), "");
    EXPECT_THAT(dir.components(), ElementsAre("."));
    EXPECT_EQ(dir.pathStyle(), Dir::native_style);
    EXPECT_EQ(dir.buildPath(), "");
}

TEST(DirPath, StyleOtherThanSlashIsStoredAsNative) {
    EXPECT_EQ(Dir("/a/", static_cast<Dir::_path_style>(0)).pathStyle(), Dir::native_style);
    Dir dir("/a/", Dir::slash_style);
    EXPECT_EQ(dir.pathStyle(), Dir::slash_style);
    dir.setPathStyle(static_cast<Dir::_path_style>(0));
    EXPECT_EQ(dir.pathStyle(), Dir::native_style);
    dir.setPathStyle(Dir::slash_style);
    dir.setPathStyle(static_cast<Dir::_path_style>(7));
    EXPECT_EQ(dir.pathStyle(), Dir::native_style);
}

TEST(DirPath, SplitReplacesEveryPart) {
    OpenDir dir("C:\\a\\f.txt");
    dir.splitPath("b/c");
    EXPECT_EQ(dir.drive(), "");
    EXPECT_THAT(dir.components(), ElementsAre("b"));
    EXPECT_EQ(dir.fileName(), "c");
    EXPECT_EQ(dir.extension(), "");
    EXPECT_FALSE(dir.isAbsolute());
}

// ---- bad input ----

TEST(DirBadInput, EmptyNullAndSeparatorOnlyPaths) {
    for (const char* path : {static_cast<const char*>(nullptr), ""}) {
        OpenDir dir(path);
        EXPECT_FALSE(dir.isAbsolute());
        EXPECT_THAT(dir.components(), IsEmpty());
        EXPECT_EQ(dir.buildPath(), "");
    }
    EXPECT_EQ(OpenDir("////").buildPath(), "/");
    EXPECT_EQ(OpenDir("\\\\\\").buildPath(), "");
    EXPECT_EQ(OpenDir("C:\\\\/").buildPath(), "C:\\");
}

TEST(DirBadInput, PartsBeyondTheirRoomLeaveAnEmptyDir) {
    const std::string dir4095 = "/" + std::string(4093, 'd') + "/";
    EXPECT_EQ(OpenDir(dir4095.c_str()).buildPath(), dir4095);
    const std::string name259 = "/d/" + std::string(259, 'n') + ".e";
    const std::string extension259 = "/d/n." + std::string(258, 'e');
    EXPECT_EQ(OpenDir(name259.c_str()).buildPath(), "/d/");
    EXPECT_EQ(OpenDir(extension259.c_str()).extension(), std::string(258, 'e'));

    const std::string tooLong[] = {
        "/" + std::string(4094, 'd') + "/",    "/d/" + std::string(260, 'n'),
        "/d/n." + std::string(259, 'e'),       std::string(10000, '/') + "x",
        "/" + std::string(10000, 'x') + "/y/",
    };
    for (const std::string& path : tooLong) {
        OpenDir dir(path.c_str());
        EXPECT_FALSE(dir.isAbsolute()) << path.size();
        EXPECT_THAT(dir.components(), IsEmpty());
        EXPECT_EQ(dir.fileName(), "");
        EXPECT_FALSE(dir.exists());
        EXPECT_THAT(dir.dirList("*"), IsEmpty());
    }
}

TEST(DirBadInput, SpacesAndNonAsciiBytesAreOrdinaryCharacters) {
    OpenDir dir("/my dir/\xc3\xbc\xff\x01/ n .x");
    EXPECT_THAT(dir.components(), ElementsAre("my dir", "\xc3\xbc\xff\x01"));
    EXPECT_EQ(dir.fileName(), " n ");
    EXPECT_EQ(dir.buildPath(), "/my dir/\xc3\xbc\xff\x01/");
}

TEST(DirBadInput, PathEndsAtAnEmbeddedNul) {
    OpenDir dir;
    dir.splitPath(std::string("/a/b\0/c/", 8));
    EXPECT_THAT(dir.components(), ElementsAre("a"));
    EXPECT_EQ(dir.fileName(), "b");
}

// ---- the file system ----

class DirOnDisk : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name :
             {"a.so", "b.so", "libx.so.1", "notes.txt", "abcdef.txt", "abc", "axc", "ac", "[ab].so",
              "*star.so", "my file.so", "\xc3\xa9t\xc3\xa9.so"}) {
            std::ofstream(m_temp.file(name)) << "x";
        }
        fs::create_directory(m_temp.file("plug.so"));
    }

    std::vector<std::string> list(const std::string& pattern) {
        return Dir((m_temp.path() + "/").c_str()).dirList(pattern);
    }

    KorvaneTest::TempDir m_temp;
};

TEST_F(DirOnDisk, ExistsOnlyForDirectories) {
    EXPECT_TRUE(Dir((m_temp.path() + "/").c_str()).exists());
    EXPECT_TRUE(Dir((m_temp.path() + "/plug.so/../").c_str()).exists());
    EXPECT_FALSE(Dir((m_temp.file("a.so") + "/").c_str()).exists());
    EXPECT_FALSE(Dir((m_temp.file("missing") + "/").c_str()).exists());
    EXPECT_FALSE(Dir("C:\\").exists());
    EXPECT_FALSE(Dir(".").exists());  // relative: builds nothing
}

TEST_F(DirOnDisk, PatternsMatchFilesAndDirectoriesByName) {
    EXPECT_THAT(list("*.so"),
                UnorderedElementsAre("a.so", "b.so", "[ab].so", "*star.so", "my file.so",
                                     "\xc3\xa9t\xc3\xa9.so", "plug.so"));
    EXPECT_THAT(list("*.txt"), UnorderedElementsAre("notes.txt", "abcdef.txt"));
    EXPECT_THAT(list("a?c*"), UnorderedElementsAre("abc", "abcdef.txt", "axc"));
    EXPECT_THAT(list("??"), UnorderedElementsAre("..", "ac"));
    EXPECT_THAT(list("[ab].so"), ElementsAre("[ab].so"));
    EXPECT_THAT(list("*a*c*.t?t"), ElementsAre("abcdef.txt"));
    EXPECT_THAT(list("notes.txt"), ElementsAre("notes.txt"));
}

TEST_F(DirOnDisk, StarListsEverythingWithTheDotEntries) {
    const std::vector<std::string> all = list("*");
    EXPECT_EQ(all.size(), 15u);
    EXPECT_THAT(all, ::testing::Contains("."));
    EXPECT_THAT(all, ::testing::Contains(".."));
    EXPECT_THAT(list("*.*"), ::testing::UnorderedElementsAreArray(all));
}

TEST_F(DirOnDisk, NonMatchingPatternsListNothing) {
    EXPECT_THAT(list(""), IsEmpty());
    EXPECT_THAT(list("A.SO"), IsEmpty());
    EXPECT_THAT(list("plug.so/*"), IsEmpty());
    EXPECT_THAT(list("*.dll"), IsEmpty());
    EXPECT_THAT(list(std::string(10000, '*') + "x"), IsEmpty());
}

TEST_F(DirOnDisk, MissingFileOrRelativeDirectoryListsNothing) {
    EXPECT_THAT(Dir((m_temp.file("missing") + "/").c_str()).dirList("*.so"), IsEmpty());
    EXPECT_THAT(Dir((m_temp.file("a.so") + "/").c_str()).dirList("*"), IsEmpty());
    EXPECT_THAT(Dir().dirList("*"), IsEmpty());
}

TEST_F(DirOnDisk, UnreadableDirectoryListsNothing) {
    const std::string locked = m_temp.file("locked");
    fs::create_directory(locked);
    std::ofstream(locked + "/a.so") << "x";
    fs::permissions(locked, fs::perms::none);
    std::error_code error;
    fs::directory_iterator probe(locked, error);
    if (!error) {
        fs::permissions(locked, fs::perms::owner_all);
        GTEST_SKIP() << "permissions do not apply to this user";
    }
    EXPECT_THAT(Dir((locked + "/").c_str()).dirList("*"), IsEmpty());
    fs::permissions(locked, fs::perms::owner_all);
}

// ---- the working directory ----

class DirWorkingDir : public ::testing::Test {
protected:
    void TearDown() override { fs::current_path(m_saved); }

    std::string canonicalTemp() const { return fs::canonical(m_temp.path()).string(); }

    fs::path m_saved = fs::current_path();
    KorvaneTest::TempDir m_temp;
};

TEST_F(DirWorkingDir, IsTheCurrentDirectoryWithASlash) {
    EXPECT_STREQ(Dir::separator(), "/");
    EXPECT_EQ(Dir::separator(), Dir::DIR_SEPARATOR);
    fs::current_path(m_temp.path());
    EXPECT_EQ(Dir::workingDir(), canonicalTemp() + "/");
}

TEST_F(DirWorkingDir, EmptyWhenTheCurrentDirectoryIsGone) {
    fs::create_directory(m_temp.file("gone"));
    fs::current_path(m_temp.file("gone"));
    fs::remove(m_temp.file("gone"));
    EXPECT_EQ(Dir::workingDir(), "");
    OpenDir relative("x/y/");
    EXPECT_EQ(relative.absolute(), "");
    EXPECT_FALSE(relative.isAbsolute());
    EXPECT_THAT(relative.components(), ElementsAre("x", "y"));
}

TEST_F(DirWorkingDir, EmptyWhenLongerThanItsBuffer) {
    fs::path deep = m_temp.path();
    while (deep.string().size() < 512) deep /= std::string(100, 'd');
    fs::create_directories(deep);
    fs::current_path(deep);
    EXPECT_EQ(Dir::workingDir(), "");
}

TEST_F(DirWorkingDir, AbsoluteAppendsRelativeNamesToTheWorkingDirectory) {
    fs::create_directories(m_temp.file("sub/inner"));
    std::ofstream(m_temp.file("sub/inner/m.so")) << "x";
    fs::current_path(m_temp.path());
    const std::string cwd = canonicalTemp() + "/";

    EXPECT_EQ(Dir().absolute(), cwd);
    Dir relative("./sub/../sub/inner/", Dir::slash_style);
    EXPECT_EQ(relative.absolute(), cwd + "sub/../sub/inner/");
    EXPECT_TRUE(relative.isAbsolute());
    EXPECT_TRUE(relative.exists());
    EXPECT_THAT(relative.dirList("*.so"), ElementsAre("m.so"));
}

TEST_F(DirWorkingDir, AbsoluteLeavesAnAbsoluteDirAlone) {
    OpenDir dir("C:\\a\\f.txt");
    EXPECT_EQ(dir.absolute(), "C:\\a\\");
    EXPECT_EQ(dir.fileName(), "f");
}

}  // namespace
