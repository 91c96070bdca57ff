#include <gtest/gtest.h>
#include <korvane/log/LogItem.h>
#include <korvane/log/ProfileLogItem.h>
#include <korvane/platform/DateTime.h>

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace Korvane;

namespace {

constexpr long long someTime = 1700000000;  // 2023-11-14, a time every C library prints

std::string printed(const LogItemInterface& item) {
    std::string line = "previous contents";
    item.print(line);
    return line;
}

std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> parts;
    std::istringstream words(line);
    for (std::string word; std::getline(words, word, ' ');) parts.push_back(word);
    return parts;
}

}  // namespace

// ---- LogLevel and LogItem ---------------------------------------------------------------

TEST(LogItem, LevelNamesAreElevenCharacters) {
    EXPECT_STREQ(logLevelName(LevelDebug), "DEBUG      ");
    EXPECT_STREQ(logLevelName(LevelProfiler), "PROFILER   ");
    EXPECT_STREQ(logLevelName(LevelInfo), "INFORMATION");
    EXPECT_STREQ(logLevelName(LevelWarning), "WARNING    ");
    EXPECT_STREQ(logLevelName(LevelError), "ERROR      ");
    EXPECT_STREQ(logLevelName(LevelCritical), "CRITICAL   ");
    EXPECT_STREQ(logLevelName(static_cast<LogLevel>(35)), "UNKNOWN    ");
    EXPECT_STREQ(logLevelName(static_cast<LogLevel>(0)), "UNKNOWN    ");
}

TEST(LogItem, PrintsLevelLocalTimeAndMessage) {
    const LogItem item(LevelInfo, std::string("Detected 3 devices."), someTime);
    const std::string time = DateTime::print(someTime, "%c", local_time);
    ASSERT_FALSE(time.empty());
    EXPECT_EQ(printed(item), "INFORMATION: " + time + ": Detected 3 devices.");
}

TEST(LogItem, LevelOutsideTheTablePrintsUnknown) {
    const LogItem item(static_cast<LogLevel>(99), std::string("m"), someTime);
    EXPECT_EQ(printed(item).substr(0, 13), "UNKNOWN    : ");
}

TEST(LogItem, TakesTheTextOfALogStringOrALiteral) {
    const LogItem item(LevelError, LogString("Could not open [%1]").arg("cam"), someTime);
    EXPECT_EQ(item.message(), "Could not open [cam]");
    EXPECT_EQ(item.level(), LevelError);
    EXPECT_EQ(LogItem(LevelInfo, "literal", someTime).message(), "literal");
    EXPECT_EQ(LogItem(LevelInfo, static_cast<const char*>(nullptr), someTime).message(), "");
}

TEST(LogItem, CopyIsALogItemWithTheSameFields) {
    const LogItem item(LevelWarning, std::string("careful"), someTime);
    const std::unique_ptr<LogItemInterface> copy(item.copy());
    const auto* same = dynamic_cast<const LogItem*>(copy.get());
    ASSERT_NE(same, nullptr);
    EXPECT_EQ(same->level(), LevelWarning);
    EXPECT_EQ(same->message(), "careful");
    EXPECT_EQ(same->time(), someTime);
    EXPECT_EQ(printed(*copy), printed(item));
}

TEST(LogItem, BaseItemPrintsNothingAndCopiesAsBase) {
    const LogItemInterface item;
    EXPECT_EQ(printed(item), "");
    const std::unique_ptr<LogItemInterface> copy(item.copy());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(dynamic_cast<const LogItem*>(copy.get()), nullptr);
    EXPECT_EQ(printed(*copy), "");
}

// ---- ProfileLogItem ---------------------------------------------------------------------

TEST(ProfileLogItem, PrintsTicksActionAddressAndMessage) {
    int target = 0;
    const ProfileLogItem item(3, &target, LogString("x"));
    char address[64];
    std::snprintf(address, sizeof address, "0x%" PRIxPTR, reinterpret_cast<std::uintptr_t>(&target));

    const std::vector<std::string> parts = fields(printed(item));
    ASSERT_EQ(parts.size(), 4u) << printed(item);
    EXPECT_EQ(parts[0], std::to_string(item.time()));
    EXPECT_EQ(parts[1], "3");
    EXPECT_EQ(parts[2], address);
    EXPECT_EQ(parts[3], "x");
}

TEST(ProfileLogItem, ActionCodesBeyondTheEnumerationAreKept) {
    const ProfileLogItem item(ProfileUser + 7, nullptr, LogString("user"));
    EXPECT_EQ(static_cast<int>(item.action()), 0x107);
    EXPECT_EQ(fields(printed(item))[1], "263");
}

TEST(ProfileLogItem, CopyKeepsAllFourFields) {
    int target = 0;
    const ProfileLogItem item(ProfileBegin, &target, LogString("frame %1").arg(12));
    const std::unique_ptr<LogItemInterface> copy(item.copy());
    const auto* same = dynamic_cast<const ProfileLogItem*>(copy.get());
    ASSERT_NE(same, nullptr);
    EXPECT_EQ(same->time(), item.time());
    EXPECT_EQ(same->action(), ProfileBegin);
    EXPECT_EQ(same->object(), &target);
    EXPECT_EQ(same->message().get(), "frame 12");
    EXPECT_EQ(printed(*copy), printed(item));
}

TEST(ProfileLogItem, LongMessagesAreCutToTheLineBuffer) {
    const ProfileLogItem item(ProfileMark, nullptr, LogString(std::string(5000, 'm')));
    const std::string line = printed(item);
    EXPECT_EQ(line.size(), 1023u);
    EXPECT_EQ(line.back(), 'm');
}
