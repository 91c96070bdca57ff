#include <gtest/gtest.h>
#include <korvane/log/Log.h>
#include <korvane/log/LogItem.h>
#include <korvane/log/LogManager.h>
#include <korvane/log/LogString.h>
#include <korvane/log/ProfileLogItem.h>
#include <korvane/platform/DateTime.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/RecordingWriter.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

constexpr long long someTime = 1700000000;  // 2023-11-14, a time every C library prints

std::string printed(const LogItemInterface& item) {
    std::string line = "previous contents";
    item.print(line);
    return line;
}

class LogTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(log.isValid()); }
    void TearDown() override {
        if (log.isValid()) log->stopProcess();
        LogManager::get()->releaseInstance(name.c_str());
    }

    // Writes a marker that every threshold lets through and waits for it; answers the
    // lines that arrived before it since the last call.
    std::vector<std::string> newLines() {
        log->write(LevelCritical, "marker");
        const bool arrived = eventually([&] {
            const auto lines = recorder->lines();
            return lines.size() > seen && lines.back().find("marker") != std::string::npos;
        });
        EXPECT_TRUE(arrived) << "the marker did not arrive";
        if (!arrived) return {};
        auto lines = recorder->lines();
        std::vector<std::string> fresh(lines.begin() + seen, lines.end() - 1);
        seen = lines.size();
        return fresh;
    }

    std::string name = "TestLog";
    LogRefPtr log = LogManager::get()->create("DefaultLog", name, true);
    RecordingWriter* recorder = new RecordingWriter;  // owned by writer
    LogWriterRefPtr writer{recorder, nullptr};
    std::size_t seen = 0;
};

}  // namespace

TEST_F(LogTest, WritersGetTheFormattedLinesOfTheLevelsTheThresholdAdmits) {
    log->write(LevelCritical, "lost");  // no writer yet
    ASSERT_TRUE(log->addWriter("W", writer));
    log->write(LevelInfo, "Detected 3 devices.");
    const auto lines = newLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].rfind("INFORMATION: ", 0) == 0 &&
                lines[0].find(": Detected 3 devices.") != std::string::npos)
        << lines[0];
    // The initial "Info" first; "None" lets everything through, as "All" does.
    const std::pair<const char*, std::size_t> thresholds[] = {
        {nullptr, 4},   {"All", 6},   {"Debug", 6},    {"Profiler", 5},
        {"Warning", 3}, {"Error", 2}, {"Critical", 1}, {"None", 6},
    };
    for (const auto& [threshold, admitted] : thresholds) {
        SCOPED_TRACE(threshold ? threshold : "initial");
        if (threshold) {
            ASSERT_TRUE(log->setProperty("Threshold", threshold));
            ASSERT_TRUE(log->endPropertyChange());
        }
        for (const LogLevel level :
             {LevelDebug, LevelProfiler, LevelInfo, LevelWarning, LevelError, LevelCritical})
            log->write(level, "m");
        EXPECT_EQ(newLines().size(), admitted);
    }
}

TEST_F(LogTest, WritersAreUniqueByNameAndCalledInNameOrder) {
    std::vector<std::string> journal;
    auto* a = new RecordingWriter(&journal, "a");
    auto* b = new RecordingWriter(&journal, "b");
    LogWriterRefPtr aHandle(a, nullptr), bHandle(b, nullptr);
    ASSERT_TRUE(log->addWriter("b", bHandle));
    ASSERT_TRUE(log->addWriter("a", aHandle));
    EXPECT_FALSE(log->addWriter("a", writer));
    log->write(LevelInfo, "x");
    ASSERT_TRUE(b->waitForLines(1));
    log->stopProcess();
    EXPECT_EQ(journal, (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(log->removeWriter("a") && !log->removeWriter("a"));
}

TEST_F(LogTest, ItemsFromManyThreadsAllArrive) {
    ASSERT_TRUE(log->addWriter("W", writer));
    std::vector<std::future<void>> threads;
    for (int t = 0; t < 4; ++t) {
        threads.push_back(startDetached([log = log] {
            for (int i = 0; i < 100; ++i) log->write(LevelInfo, "item");
        }));
    }
    for (auto& done : threads)
        ASSERT_EQ(done.wait_for(kGenerousDeadline), std::future_status::ready);
    EXPECT_TRUE(recorder->waitForLines(400));
}

TEST(LogManager, ReleasesEveryLogButSystemLogAndRefusesTakenMissingAndNullNames) {
    LogManager* manager = LogManager::get();
    EXPECT_FALSE(manager->releaseInstance("SystemLog"));
    EXPECT_TRUE(manager->instance("SystemLog").isValid());
    std::string name = "Running";
    ASSERT_TRUE(manager->create("DefaultLog", name, true).isValid());
    EXPECT_TRUE(manager->releaseInstance(name.c_str()));
    for (const char* type : {"NoSuchLog", static_cast<const char*>(nullptr)}) {
        name = "x";
        EXPECT_TRUE(manager->create(type, name, true).isNull());
        EXPECT_EQ(name, "");
    }

    EXPECT_TRUE(manager->writer("LogFileWriter").isValid());
    LogWriterRefPtr writer(new RecordingWriter, nullptr);
    EXPECT_TRUE(manager->registerWriter("Recorder", writer));
    EXPECT_FALSE(manager->registerWriter("Recorder", writer) ||
                 manager->registerWriter(nullptr, writer));
    EXPECT_TRUE(manager->unregisterWriter("Recorder"));
    EXPECT_FALSE(manager->unregisterWriter("Recorder"));
    EXPECT_TRUE(manager->writer("Recorder").isNull() && manager->writer(nullptr).isNull());
}

TEST(LogString, ConstructorsAndArgsFillTheNextNumberedPlaceholder) {
    int target = 0;
    char pointer[32];
    std::snprintf(pointer, sizeof pointer, "%p", static_cast<void*>(&target));
    const std::pair<LogString, std::string> cases[] = {
        {LogString(), ""},
        {LogString("abcdef", 3), "abc"},
        {LogString(static_cast<const char*>(nullptr)), ""},
        {LogString(nullptr, 4), ""},
        {LogString("abc", -1), ""},
        {LogString("Detected %1 devices.").arg(3), "Detected 3 devices."},
        {LogString("%2 before %1").arg("one").arg(std::string("two")), "two before one"},
        {LogString("a %1 b %1").arg(1), "a 1 b %1"},
        {LogString("only %2").arg("lost").arg("found"), "only found"},
        {LogString("%1 %2").arg().arg("second"), " second"},
        {LogString("%10").arg("X"), "X0"},
        {LogString("%1 %2").arg("%2").arg("b"), "b %2"},
        {LogString("%1").arg(true), "true"},
        {LogString("[%1]").arg(static_cast<const char*>(nullptr)), "[]"},
        {LogString("%1").arg(static_cast<signed char>(-128)), "-128"},
        {LogString("%1").arg(std::numeric_limits<long long>::min()), "-9223372036854775808"},
        {LogString("%1").arg(static_cast<unsigned char>(255)), "255"},
        {LogString("%1").arg(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
        {LogString("%1").arg(0.5), "0.5"},
        {LogString("%1").arg(1e20), "1e+20"},
        {LogString("%1").arg(3.14159265), "3.14159"},
        {LogString("%1").arg(-std::numeric_limits<double>::max()), "-1.79769e+308"},
        {LogString("at %1").arg(static_cast<void*>(&target)), std::string("at ") + pointer},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(text.get(), expected);
}

TEST(LogString, CopiesKeepTheirOwnPlaceholderNumber) {
    LogString first("%1 %2");
    first.arg("a");
    LogString second = first;
    second.arg("b");
    first.arg("c");
    EXPECT_EQ(second.get() + "|" + first.get(), "a b|a c");
}

TEST(LogItem, PrintsTheElevenCharacterLevelNameLocalTimeAndMessage) {
    const std::pair<int, const char*> levels[] = {
        {LevelDebug, "DEBUG      "}, {LevelProfiler, "PROFILER   "},
        {LevelInfo, "INFORMATION"},  {LevelWarning, "WARNING    "},
        {LevelError, "ERROR      "}, {LevelCritical, "CRITICAL   "},
        {0, "UNKNOWN    "},          {35, "UNKNOWN    "},
        {99, "UNKNOWN    "},
    };
    const std::string time = DateTime::print(someTime, "%c", local_time);
    ASSERT_FALSE(time.empty());
    for (const auto& [level, name] : levels) {
        EXPECT_STREQ(logLevelName(static_cast<LogLevel>(level)), name);
        const LogItem item(static_cast<LogLevel>(level), std::string("Detected 3 devices."),
                           someTime);
        EXPECT_EQ(printed(item), std::string(name) + ": " + time + ": Detected 3 devices.");
    }
}

TEST(LogItem, TakesTheTextOfALogStringOrALiteral) {
    EXPECT_EQ(LogItem(LevelError, LogString("Could not open [%1]").arg("cam"), someTime).message(),
              "Could not open [cam]");
    EXPECT_EQ(LogItem(LevelInfo, static_cast<const char*>(nullptr), someTime).message(), "");
}

// A copy is what the log's queue holds: it must print as the original did.
TEST(LogItem, CopiesKeepTheirClassAndFields) {
    int target = 0;
    const LogItem item(LevelWarning, std::string("careful"), someTime);
    const ProfileLogItem profile(ProfileBegin, &target, LogString("frame %1").arg(12));
    for (const LogItemInterface* original : {static_cast<const LogItemInterface*>(&item),
                                             static_cast<const LogItemInterface*>(&profile)}) {
        const std::unique_ptr<LogItemInterface> copy(original->copy());
        EXPECT_EQ(typeid(*copy), typeid(*original));
        EXPECT_EQ(printed(*copy), printed(*original));
    }
    const std::unique_ptr<LogItemInterface> base(LogItemInterface().copy());
    EXPECT_EQ(printed(*base), "");
}

TEST(ProfileLogItem, PrintsTicksActionAddressAndMessage) {
    int target = 0;
    const ProfileLogItem item(3, &target, LogString("x"));
    char address[64];
    std::snprintf(address, sizeof address, "0x%" PRIxPTR,
                  reinterpret_cast<std::uintptr_t>(&target));
    EXPECT_EQ(printed(item), std::to_string(item.time()) + " 3 " + address + " x");
    // Codes beyond the enumeration are kept; a long message is cut to the line buffer.
    const ProfileLogItem user(ProfileUser + 7, nullptr, LogString(std::string(5000, 'm')));
    const std::string prefix = std::to_string(user.time()) + " 263 ";
    EXPECT_EQ(printed(user).compare(0, prefix.size(), prefix), 0) << printed(user);
    EXPECT_EQ(printed(user).size(), 1023u);
}
