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

// The path settings, one "NAME=value" line each, as expected below root or as found.
std::string pathReport(const std::string* root = nullptr) {
    const std::map<std::string, std::string> below = {
        {"KORVANE_PATH", ""},        {"LOG_PATH", ""},
        {"BIN_PATH", "bin/"},        {"CONFIG_PATH", "bin/"},
        {"PLUGIN_PATH", "plugins/"}, {"DATA_PATH", "data/"}};
    std::string report;
    for (const char* name : kPathSettings) {
        std::string text;
        if (!root) Registry::get()->getProperty(name, &text);
        report += std::string(name) + "=" + (root ? *root + below.at(name) : text) + "\n";
    }
    return report;
}

// Child side of LibraryLoad.SetsPathsFromTheLoadedFile: reports the path settings that
// start-up left in the registry and exits before any test runs.
[[maybe_unused]] const bool kReportedAsChild = [] {
    const char* report = std::getenv(kReportVariable);
    if (!report) return false;
    std::ofstream file(report);
    file << pathReport();
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

TEST(LibraryInit, IdentityAndDeinitChangesNothingAndInitRecomputesThePaths) {
    int major = 0, minor = 0, patch = 0;
    korvLibraryVersion(&major, &minor, &patch);
    EXPECT_EQ((std::vector<int>{major, minor, patch}), (std::vector<int>{1, 4, 2}));
    korvLibraryVersion(nullptr, nullptr, nullptr);
    EXPECT_STREQ(korvLibraryName(), "KorvaneCore");
    EXPECT_EQ(korvLibraryName(), korvLibraryName());
    korvDeinitLibrary();
    EXPECT_EQ(setting("TOOLSET"), "MSVC");
    EXPECT_TRUE(Registry::get()->setProperty("BIN_PATH", "changed"));
    korvInitLibrary();
    const std::string root = Korvane::libraryRootFromPath(KORVANE_LIBRARY_FILE);
    EXPECT_EQ(pathReport(), pathReport(&root));
}

TEST(LibraryLoad, SetsPathsFromTheLoadedFile) {
    KorvaneTest::TempDir dir;
    const std::string bin = dir.path() + "/A/bin";
    std::filesystem::create_directories(bin);
    const std::string library = bin + "/libKorvaneCore.so";
    std::filesystem::copy_file(KORVANE_LIBRARY_FILE, library);
    const std::string report = dir.file("report.txt");
    // This environment, with the copy preloaded so that it is the only one in the process.
    // ASan insists on coming first in the load order unless told otherwise.
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
    for (const std::string& variable : {"LD_PRELOAD=" + library, "ASAN_OPTIONS=" + asanOptions,
                                        std::string(kReportVariable) + "=" + report})
        environment.push_back(variable);
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
    // Waits at most a minute for the child, then kills it.
    int status = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (::waitpid(child, &status, WNOHANG) != child) {
        if (std::chrono::steady_clock::now() > end) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            FAIL() << "child hung";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_TRUE(WIFEXITED(status)) << "child status " << status;
    ASSERT_EQ(WEXITSTATUS(status), 0);
    const std::string root = bin + "/../";
    EXPECT_EQ(KorvaneTest::readFile(report), pathReport(&root));
}

}  // namespace
