// The system log's file: this program is the first user of the log manager, so it
// points LOG_PATH at a temporary directory before "SystemLog" is made.

#include <korvane/config/Registry.h>
#include <korvane/core/Object.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogManager.h>

#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/WidgetManager.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace Korvane;

namespace {

class SystemLog : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        directory = new KorvaneTest::TempDir;
        Registry::get()->setProperty("LOG_PATH", directory->path() + "/");
    }
    static void TearDownTestSuite() {
        LogManager::get()->cleanUp();
        delete directory;
    }

    static std::string logText() {
        std::ifstream file(directory->file("logfile.txt"));
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    static bool eventuallyLogged(const std::string& text) {
        return KorvaneTest::eventually(
            [&] { return logText().find(text) != std::string::npos; });
    }

    static KorvaneTest::TempDir* directory;
};

KorvaneTest::TempDir* SystemLog::directory = nullptr;

}  // namespace

TEST_F(SystemLog, MessagesReachLogfileWithTheirLevels) {
    korvLogInfo("first message");
    korvLogWarning("second message");
    korvLogError("third message");
    korvLogCritical("fourth message");
    ASSERT_TRUE(eventuallyLogged("fourth message"));
    const std::string text = logText();
    EXPECT_NE(text.find("INFORMATION: "), std::string::npos);
    EXPECT_NE(text.find("WARNING    : "), std::string::npos);
    EXPECT_NE(text.find("ERROR      : "), std::string::npos);
    EXPECT_NE(text.find("CRITICAL   : "), std::string::npos);
    EXPECT_LT(text.find("first message"), text.find("second message"));
}

TEST_F(SystemLog, DebugIsBelowTheDefaultThreshold) {
    korvLogDebug("quiet debug");
    korvLogInfo("after debug");
    ASSERT_TRUE(eventuallyLogged("after debug"));
    EXPECT_EQ(logText().find("quiet debug"), std::string::npos);
}

TEST_F(SystemLog, ManagerReportsDeletingNull) {
    KorvaneTest::WidgetManager::freeCallback(nullptr);
    EXPECT_TRUE(eventuallyLogged(
        ": Manager::freeCallback: Attempt to delete a NULL pointer. Possible memory leak."));
}

TEST_F(SystemLog, MissingConfigFileIsReported) {
    const std::string missing = directory->file("no-such-config.txt");
    Registry::get()->parseConfigFile(missing.c_str());
    EXPECT_TRUE(eventuallyLogged(": [Registry::parseConfigFile] No config file found: " + missing));
}
