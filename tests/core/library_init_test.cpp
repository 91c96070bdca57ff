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
#include <string>
#include <thread>
#include <utility>
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

// Child side of LibraryLoad.SetsPathsFromTheLoadedFile: reports the path settings that
// start-up left in the registry and exits before any test runs.
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
    const std::pair<const char*, const char*> cases[] = {
        {"D:/x/y/KorvaneCore.dll", "D:/x/y/../"},
        {"C:\\a/b\\lib.dll", "C:\\a/b/../"},
        {"C:\\A\\bin\\KorvaneCore.dll", "C:\\A\\bin/../"},
        {"/usr/lib/libKorvaneCore.so", "/usr/lib/../"},
        {"lib.dll", "lib.dll/../"},
        {"", "/../"},
        {"/lib.so", "/../"}};
    for (const auto& [path, root] : cases)
        EXPECT_EQ(Korvane::libraryRootFromPath(path), root) << path;
}

TEST(LibraryIdentity, NameAndVersion) {
    int major = 0, minor = 0, patch = 0;
    korvLibraryVersion(&major, &minor, &patch);
    EXPECT_EQ((std::vector<int>{major, minor, patch}), (std::vector<int>{1, 4, 2}));
    korvLibraryVersion(nullptr, nullptr, nullptr);
    EXPECT_STREQ(korvLibraryName(), "KorvaneCore");
    EXPECT_EQ(korvLibraryName(), korvLibraryName());
    const Korvane::Version zero;
    EXPECT_EQ((std::vector<int>{zero.major, zero.minor, zero.patch}), (std::vector<int>{0, 0, 0}));
}

TEST(LibraryInit, DeinitChangesNothingAndInitRecomputesThePaths) {
    korvDeinitLibrary();
    EXPECT_EQ(setting("TOOLSET"), "MSVC");
    EXPECT_TRUE(Registry::get()->setProperty("BIN_PATH", "changed"));
    korvInitLibrary();
    const std::string root = Korvane::libraryRootFromPath(KORVANE_LIBRARY_FILE);
    for (const auto& [name, path] : expectedPaths(root)) EXPECT_EQ(setting(name), path) << name;
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
    // The preloaded copy satisfies this binary's own dependency, so it is the only one in
    // the process. ASan insists on coming first in the load order unless told otherwise.
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

    std::string expected;
    for (const char* name : kPathSettings) {
        expected += std::string(name) + "=" + expectedPaths(bin + "/../")[name] + "\n";
    }
    EXPECT_EQ(KorvaneTest::readFile(report), expected);
}

}  // namespace
