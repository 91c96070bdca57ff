// The system log's file and the profiler's. This program is the first user of the log
// manager: it makes a temporary directory the working directory and LOG_PATH before
// "SystemLog" and the profile log are made.

#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogManager.h>
#include <korvane/log/Profiler.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/WidgetManager.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

class SystemLog : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        directory = new TempDir;
        previous = std::filesystem::current_path();
        std::filesystem::current_path(directory->path());
        Registry::get()->setProperty("LOG_PATH", directory->path() + "/");
    }
    static void TearDownTestSuite() {
        LogManager::get()->cleanUp();
        std::filesystem::current_path(previous);
        delete directory;
    }

    static std::string text(const char* file) { return readFile(directory->file(file)); }

    static bool eventuallyIn(const char* file, const std::string& wanted) {
        return eventually([&] { return text(file).find(wanted) != std::string::npos; });
    }

    static inline TempDir* directory = nullptr;
    static inline std::filesystem::path previous;
};

}  // namespace

TEST_F(SystemLog, MessagesReachLogfileOnLinesOfTheirLevels) {
    korvLogDebug("quiet debug");
    korvLogInfo("first message");
    korvLogWarning("second message");
    korvLogError("third message");
    korvLogCritical("fourth message");
    ASSERT_TRUE(eventuallyIn("logfile.txt", "fourth message"));
    const std::string log = text("logfile.txt");
    const std::pair<std::string, const char*> lines[] = {{"INFORMATION: ", "first message"},
                                                         {"WARNING    : ", "second message"},
                                                         {"ERROR      : ", "third message"},
                                                         {"CRITICAL   : ", "fourth message"}};
    std::size_t previousLine = 0;
    for (const auto& [level, message] : lines) {
        const std::size_t line = log.rfind('\n', log.find(message)) + 1;  // 0 for the first
        EXPECT_EQ(log.compare(line, level.size(), level), 0) << message;
        EXPECT_GE(line, previousLine) << message;
        previousLine = line;
    }
    EXPECT_EQ(log.find("quiet debug"), std::string::npos);
}

TEST_F(SystemLog, OtherPartsReportTheirFailuresThroughIt) {
    WidgetManager::freeCallback(nullptr);
    EXPECT_TRUE(eventuallyIn(
        "logfile.txt",
        ": Manager::freeCallback: Attempt to delete a NULL pointer. Possible memory leak."));
    const std::string missing = directory->file("no-such-config.txt");
    Registry::get()->parseConfigFile(missing.c_str());
    EXPECT_TRUE(eventuallyIn("logfile.txt",
                             ": [Registry::parseConfigFile] No config file found: " + missing));
    // Once per setting the file tried to change, not for one it repeats unchanged.
    const std::string config = directory->file("build-record.cfg");
    std::ofstream(config) << "TOOLSET = GCC\nCPU = x86\n";
    Registry::get()->parseConfigFile(config.c_str());
    EXPECT_TRUE(eventuallyIn(
        "logfile.txt", ": [Registry::parseConfigFile] Read-only setting not changed: TOOLSET\n"));
    EXPECT_EQ(text("logfile.txt").find("Read-only setting not changed: CPU"), std::string::npos);
}

TEST_F(SystemLog, ProfileRecordsGoToProfileLogInTheWorkingDirectoryOnly) {
    int object = 0;
    Profiler::get()->logEvent(ProfileLogItem(3, &object, LogString("x")));
    korvLogInfo("system line");
    EXPECT_TRUE(eventuallyIn("profile.log", " 3 0x"));
    EXPECT_TRUE(eventuallyIn("logfile.txt", "system line"));
    EXPECT_EQ(text("profile.log").find("system line"), std::string::npos);
}
