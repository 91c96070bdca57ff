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
#include <string>
#include <thread>
#include <vector>

#include "support/TempDir.h"

namespace {

using Korvane::Registry;

constexpr const char* kReportVariable = "KORVANE_LOAD_TEST_REPORT";

// The path settings, one "NAME=value" line each, as expected below root or as found.
std::string pathReport(const std::string* root = nullptr) {
    const std::pair<const char*, const char*> below[] = {
        {"KORVANE_PATH", ""},        {"LOG_PATH", ""},
        {"BIN_PATH", "bin/"},        {"CONFIG_PATH", "bin/"},
        {"PLUGIN_PATH", "plugins/"}, {"DATA_PATH", "data/"}};
    std::string report;
    for (const auto& [name, relative] : below) {
        std::string text;
        if (!root) Registry::get()->getProperty(name, &text);
        report += std::string(name) + "=" + (root ? *root + relative : text) + "\n";
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
        {"C:\\a/b\\lib.dll", "C:\\a/b/../"},
        {"/usr/lib/libKorvaneCore.so", "/usr/lib/../"},
        {"lib.dll", "lib.dll/../"},
        {"", "/../"},
        {"/lib.so", "/../"}};
    for (const auto& [path, root] : cases)
        EXPECT_EQ(Korvane::libraryRootFromPath(path), root) << path;
}

TEST(LibraryInit, IdentityAndDeinitChangesNothingAndInitRecomputesThePaths) {
    int version[3] = {};
    korvLibraryVersion(&version[0], &version[1], &version[2]);
    EXPECT_EQ(std::vector<int>(version, version + 3), (std::vector<int>{1, 4, 2}));
    korvLibraryVersion(nullptr, nullptr, nullptr);
    EXPECT_STREQ(korvLibraryName(), "KorvaneCore");
    korvDeinitLibrary();
    std::string toolset;
    EXPECT_TRUE(Registry::get()->getProperty("TOOLSET", &toolset) && toolset == "MSVC");
    EXPECT_TRUE(Registry::get()->setProperty("BIN_PATH", "changed"));
    korvInitLibrary();
    const std::string root = Korvane::libraryRootFromPath(KORVANE_LIBRARY_FILE);
    EXPECT_EQ(pathReport(), pathReport(&root));
}

// Runs this program again with a copy of the library preloaded from <dir>/A/bin, so that
// the copy is the only one in the process, and reads the paths its start-up set.
TEST(LibraryLoad, SetsPathsFromTheLoadedFile) {
    KorvaneTest::TempDir dir;
    const std::string bin = dir.path() + "/A/bin", library = bin + "/libKorvaneCore.so";
    std::filesystem::create_directories(bin);
    std::filesystem::copy_file(KORVANE_LIBRARY_FILE, library);
    const std::string report = dir.file("report.txt");
    // ASan insists on coming first in the load order unless told otherwise.
    std::string asanOptions = "verify_asan_link_order=0";
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (text.rfind("ASAN_OPTIONS=", 0) == 0)
            asanOptions = text.substr(13) + ":" + asanOptions;
        else if (text.rfind("LD_PRELOAD=", 0) != 0)
            environment.push_back(text);
    }
    environment.insert(environment.end(), {"LD_PRELOAD=" + library, "ASAN_OPTIONS=" + asanOptions,
                                           std::string(kReportVariable) + "=" + report});
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    // Should the child mode not start, the child runs no tests instead of this one.
    char program[] = "/proc/self/exe", filter[] = "--gtest_filter=-*";
    char* argv[] = {program, filter, nullptr};
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        ::execve(program, argv, envp.data());
        ::_exit(127);
    }
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
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
    const std::string root = bin + "/../";
    EXPECT_EQ(KorvaneTest::readFile(report), pathReport(&root));
}

}  // namespace
