// The profiler writes "profile.log" in the working directory through its own file
// writer, while the system log keeps writing to logfile.txt.

#include <korvane/config/Registry.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogManager.h>
#include <korvane/log/Profiler.h>

#include "support/Deadline.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace Korvane;

using KorvaneTest::readFile;

TEST(Profiler, ProfileRecordsGoToProfileLogAndSystemLogStays) {
    KorvaneTest::TempDir directory;
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    Registry::get()->setProperty("LOG_PATH", directory.path() + "/");

    int object = 0;
    Profiler::get()->logEvent(ProfileLogItem(3, &object, LogString("x")));
    korvLogInfo("system line");

    EXPECT_TRUE(KorvaneTest::eventually([&] {
        return readFile(directory.file("profile.log")).find(" 3 0x") != std::string::npos;
    }));
    EXPECT_TRUE(KorvaneTest::eventually([&] {
        return readFile(directory.file("logfile.txt")).find("system line") != std::string::npos;
    }));
    EXPECT_EQ(readFile(directory.file("profile.log")).find("system line"), std::string::npos);

    LogManager::get()->cleanUp();
    std::filesystem::current_path(previous);
}
