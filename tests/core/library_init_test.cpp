#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/core/LibraryInit.h>
#include <korvane/core/Version.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/TempDir.h"

namespace {

using Korvane::Registry;

constexpr const char* kReportVariable = "KORVANE_LOAD_TEST_REPORT";
constexpr const char* kPathSettings[] = {"KORVANE_PATH", "LOG_PATH",    "BIN_PATH",
                                         "CONFIG_PATH",  "PLUGIN_PATH", "DATA_PATH"};

std::string setting(const std::string& name) {
    std::string text;
    EXPECT_TRUE(Registry::get()->getProperty(name, &text)) << name;
    return text;
}

std::map<std::string, std::string> expectedPaths(const std::string& root) {
    return {{"KORVANE_PATH", root},
            {"LOG_PATH", root},
            {"BIN_PATH", root + "bin/"},
            {"CONFIG_PATH", root + "bin/"},
            {"PLUGIN_PATH", root + "plugins/"},
            {"DATA_PATH", root + "data/"}};
}

// Child side of LibraryLoad.SetsPathsFromTheLoadedFile: when this binary is started
// with the report variable set, it writes the path settings that library start-up
// left in the registry and exits before any test runs.
[[maybe_unused]] const bool kReportedAsChild = [] {
    const char* report = std::getenv(kReportVariable);
    if (!report) return false;
    std::ofstream file(report);
    for (const char* name : kPathSettings) {
        std::string text;
        Registry::get()->getProperty(name, &text);
        file << name << '=' << text << '\n';
    }
    file.close();
    std::exit(file ? 0 : 1);
}();

TEST(LibraryRoot, TakesTheTextBeforeTheLastSeparatorOfEitherKind) {
    EXPECT_EQ(Korvane::libraryRootFromPath("D:/x/y/KorvaneCore.dll"), "D:/x/y/../");
    EXPECT_EQ(Korvane::libraryRootFromPath("C:\\a/b\\lib.dll"), "C:\\a/b/../");
    EXPECT_EQ(Korvane::libraryRootFromPath("C:\\A\\bin\\KorvaneCore.dll"), "C:\\A\\bin/../");
    EXPECT_EQ(Korvane::libraryRootFromPath("/usr/lib/libKorvaneCore.so"), "/usr/lib/../");
}

TEST(LibraryRoot, WithoutSeparatorAppendsToTheWholePath) {
    EXPECT_EQ(Korvane::libraryRootFromPath("lib.dll"), "lib.dll/../");
    EXPECT_EQ(Korvane::libraryRootFromPath(""), "/../");
    EXPECT_EQ(Korvane::libraryRootFromPath("/lib.so"), "/../");
}

TEST(LibraryIdentity, VersionIs142) {
    int major = 0, minor = 0, patch = 0;
    korvLibraryVersion(&major, &minor, &patch);
    EXPECT_EQ(major, 1);
    EXPECT_EQ(minor, 4);
    EXPECT_EQ(patch, 2);
    korvLibraryVersion(nullptr, nullptr, nullptr);
}

TEST(LibraryIdentity, NameIsTheSameStaticStringEveryCall) {
    const char* name = korvLibraryName();
    EXPECT_STREQ(name, "KorvaneCore");
    EXPECT_EQ(korvLibraryName(), name);
}

TEST(Version, DefaultIsZero) {
    const Korvane::Version zero;
    EXPECT_EQ(zero.major, 0);
    EXPECT_EQ(zero.minor, 0);
    EXPECT_EQ(zero.patch, 0);
}

TEST(LibraryInit, RecomputesTheSixPathsFromTheLibraryFile) {
    Registry::get()->setProperty("BIN_PATH", "changed");
    korvInitLibrary();
    const std::string root = Korvane::libraryRootFromPath(KORVANE_LIBRARY_FILE);
    for (const auto& [name, path] : expectedPaths(root)) EXPECT_EQ(setting(name), path) << name;
}

TEST(LibraryInit, DeinitLeavesEverythingUsable) {
    korvDeinitLibrary();
    Registry* registry = Registry::get();
    ASSERT_NE(registry, nullptr);
    EXPECT_EQ(setting("TOOLSET"), "MSVC");
    EXPECT_TRUE(registry->setProperty("DATA_PATH", "/after/deinit/"));
    EXPECT_EQ(setting("DATA_PATH"), "/after/deinit/");
    korvInitLibrary();
    EXPECT_NE(setting("DATA_PATH"), "/after/deinit/");
}

// Waits at most limit for the child; kills it when the time runs out.
bool waitForChild(pid_t child, int* status, std::chrono::seconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        if (::waitpid(child, status, WNOHANG) == child) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, status, 0);
    return false;
}

std::vector<std::string> childEnvironment(const std::string& library, const std::string& report) {
    std::string asanOptions = "verify_asan_link_order=0";
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (text.rfind("ASAN_OPTIONS=", 0) == 0) {
            asanOptions = text.substr(13) + ":" + asanOptions;
        } else if (text.rfind("LD_PRELOAD=", 0) != 0) {
            environment.push_back(text);
        }
    }
    // Preloading the copy makes it satisfy this binary's own dependency on the library,
    // so the copy is the only one in the process and its start-up is what we observe.
    // ASan insists on coming first in the load order unless told otherwise.
    environment.push_back("LD_PRELOAD=" + library);
    environment.push_back("ASAN_OPTIONS=" + asanOptions);
    environment.push_back(std::string(kReportVariable) + "=" + report);
    return environment;
}

TEST(LibraryLoad, SetsPathsFromTheLoadedFile) {
    KorvaneTest::TempDir dir;
    const std::string bin = dir.path() + "/A/bin";
    std::filesystem::create_directories(bin);
    const std::string library = bin + "/libKorvaneCore.so";
    std::filesystem::copy_file(KORVANE_LIBRARY_FILE, library);
    const std::string report = dir.file("report.txt");

    std::vector<std::string> environment = childEnvironment(library, report);
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    // Should the child mode not start, the child runs no tests instead of this one.
    char program[] = "/proc/self/exe";
    char filter[] = "--gtest_filter=-*";
    char* argv[] = {program, filter, nullptr};

    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        ::execve(program, argv, envp.data());
        ::_exit(127);
    }
    int status = 0;
    ASSERT_TRUE(waitForChild(child, &status, std::chrono::seconds(60))) << "child hung";
    ASSERT_TRUE(WIFEXITED(status)) << "child status " << status;
    ASSERT_EQ(WEXITSTATUS(status), 0);

    std::ifstream file(report);
    ASSERT_TRUE(file.is_open()) << "the child wrote no report";
    std::map<std::string, std::string> found;
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) found[line.substr(0, equals)] = line.substr(equals + 1);
    }
    EXPECT_EQ(found, expectedPaths(bin + "/../"));
}

}  // namespace
