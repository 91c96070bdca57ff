#include <gtest/gtest.h>
#include <korvane/log/Log.h>
#include <korvane/log/LogManager.h>

#include <future>
#include <string>
#include <utility>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/RecordingWriter.h"

using namespace Korvane;
using KorvaneTest::RecordingWriter;

namespace {

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
        const bool arrived = KorvaneTest::eventually([&] {
            const auto lines = recorder->lines();
            return lines.size() > seen && lines.back().find("marker") != std::string::npos;
        });
        if (!arrived) {
            ADD_FAILURE() << "the marker did not arrive";
            return {};
        }
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

TEST_F(LogTest, AdmitsNothingWithoutWritersAndPassesFormattedLinesToThem) {
    log->write(LevelCritical, "lost");
    ASSERT_TRUE(log->addWriter("W", writer));
    log->write(LevelInfo, "Detected 3 devices.");
    const auto lines = newLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("INFORMATION: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(": Detected 3 devices."), std::string::npos) << lines[0];
}

TEST_F(LogTest, ThresholdAdmitsItsLevelAndAbove) {
    ASSERT_TRUE(log->addWriter("W", writer));
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
             {LevelDebug, LevelProfiler, LevelInfo, LevelWarning, LevelError, LevelCritical}) {
            log->write(level, "m");
        }
        EXPECT_EQ(newLines().size(), admitted);
    }
}

TEST_F(LogTest, WritersAreUniqueByNameAndCalledInNameOrder) {
    std::vector<std::string> journal;
    auto* b = new RecordingWriter;
    auto* a = new RecordingWriter;
    LogWriterRefPtr bHandle(b, nullptr);
    LogWriterRefPtr aHandle(a, nullptr);
    b->journalTo(&journal, "b");
    a->journalTo(&journal, "a");
    ASSERT_TRUE(log->addWriter("b", bHandle));
    ASSERT_TRUE(log->addWriter("a", aHandle));
    EXPECT_FALSE(log->addWriter("a", writer));
    EXPECT_EQ(log->writer("a").rawPtr(), a);
    EXPECT_TRUE(log->writer("X").isNull());
    log->write(LevelInfo, "x");
    ASSERT_TRUE(b->waitForLines(1));
    log->stopProcess();
    EXPECT_EQ(journal, (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(log->removeWriter("a"));
    EXPECT_FALSE(log->removeWriter("a"));
}

TEST_F(LogTest, ItemsFromManyThreadsAllArrive) {
    ASSERT_TRUE(log->addWriter("W", writer));
    std::vector<std::future<void>> threads;
    for (int t = 0; t < 4; ++t) {
        threads.push_back(KorvaneTest::startDetached([log = log] {
            for (int i = 0; i < 100; ++i) log->write(LevelInfo, "item");
        }));
    }
    for (auto& done : threads) {
        ASSERT_EQ(done.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    }
    EXPECT_TRUE(recorder->waitForLines(400));
}

TEST(LogManager, ReleasesEveryLogButSystemLog) {
    LogManager* manager = LogManager::get();
    EXPECT_FALSE(manager->releaseInstance("SystemLog"));
    EXPECT_TRUE(manager->instance("SystemLog").isValid());
    std::string name = "Running";
    ASSERT_TRUE(manager->create("DefaultLog", name, true).isValid());
    EXPECT_TRUE(manager->releaseInstance(name.c_str()));
    EXPECT_TRUE(manager->instance(name.c_str()).isNull());
    for (const char* type : {"NoSuchLog", static_cast<const char*>(nullptr)}) {
        name = "x";
        EXPECT_TRUE(manager->create(type, name, true).isNull());
        EXPECT_EQ(name, "");
    }
}

TEST(LogManager, WriterRegistryRefusesTakenMissingAndNullNames) {
    LogManager* manager = LogManager::get();
    EXPECT_TRUE(manager->writer("LogFileWriter").isValid());
    LogWriterRefPtr writer(new RecordingWriter, nullptr);
    EXPECT_TRUE(manager->registerWriter("Recorder", writer));
    EXPECT_FALSE(manager->registerWriter("Recorder", writer));
    EXPECT_EQ(manager->writer("Recorder").rawPtr(), writer.rawPtr());
    EXPECT_TRUE(manager->unregisterWriter("Recorder"));
    EXPECT_FALSE(manager->unregisterWriter("Recorder"));
    EXPECT_TRUE(manager->writer("Recorder").isNull());
    EXPECT_FALSE(manager->registerWriter(nullptr, writer));
    EXPECT_TRUE(manager->writer(nullptr).isNull());
}
