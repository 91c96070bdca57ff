#include <korvane/log/Log.h>
#include <korvane/log/LogManager.h>

#include "support/RecordingWriter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using namespace Korvane;
using KorvaneTest::RecordingWriter;

namespace {

class LogTest : public ::testing::Test {
protected:
    void SetUp() override {
        name = "TestLog";
        log = LogManager::get()->create("DefaultLog", name, true);
        ASSERT_TRUE(log.isValid());
        recorder = new RecordingWriter;
        writer = LogWriterRefPtr(recorder, nullptr);
    }
    void TearDown() override {
        log->stopProcess();
        LogManager::get()->releaseInstance(name.c_str());
    }

    // Writes a marker at a level that passes and waits until it arrived, so that
    // anything written before it has been handled too. The marker is not kept.
    void drain() {
        log->write(LevelCritical, "marker");
        ASSERT_TRUE(KorvaneTest::eventually([&] {
            const auto lines = recorder->lines();
            return !lines.empty() && lines.back().find("marker") != std::string::npos;
        }));
    }

    std::vector<std::string> linesBeforeMarker() {
        auto lines = recorder->lines();
        lines.pop_back();
        return lines;
    }

    std::string name;
    LogRefPtr log;
    RecordingWriter* recorder = nullptr;  // owned by writer
    LogWriterRefPtr writer;
};

}  // namespace

TEST_F(LogTest, CreatedLogRunsAndWritesFormattedLines) {
    EXPECT_TRUE(KorvaneTest::eventually([&] { return log->isRunning(); }));
    ASSERT_TRUE(log->addWriter("W", writer));
    log->write(LevelInfo, "Detected 3 devices.");
    ASSERT_TRUE(recorder->waitForLines(1));
    const std::string line = recorder->lines().front();
    EXPECT_EQ(line.rfind("INFORMATION: ", 0), 0u) << line;
    EXPECT_NE(line.find(": Detected 3 devices."), std::string::npos) << line;
}

TEST_F(LogTest, DefaultThresholdDropsDebugAndProfiler) {
    ASSERT_TRUE(log->addWriter("W", writer));
    log->write(LevelDebug, "debug");
    log->write(LevelProfiler, "profiler");
    log->write(LevelInfo, "info");
    drain();
    const auto lines = linesBeforeMarker();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("info"), std::string::npos);
}

TEST_F(LogTest, ThresholdNoneLetsEverythingThroughAsAllDoes) {
    ASSERT_TRUE(log->addWriter("W", writer));
    for (const char* threshold : {"None", "All"}) {
        log->beginPropertyChange();
        ASSERT_TRUE(log->setProperty("Threshold", threshold));
        log->endPropertyChange();
        log->write(LevelDebug, threshold);
    }
    drain();
    EXPECT_EQ(linesBeforeMarker().size(), 2u);
}

TEST_F(LogTest, ThresholdErrorDropsWarnings) {
    ASSERT_TRUE(log->addWriter("W", writer));
    log->setProperty("Threshold", "Error");
    log->endPropertyChange();
    log->write(LevelWarning, "warning");
    log->write(LevelError, "error");
    drain();
    const auto lines = linesBeforeMarker();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("ERROR      : ", 0), 0u);
}

TEST_F(LogTest, LogWithoutWritersAdmitsNothing) {
    log->write(LevelCritical, "lost");
    ASSERT_TRUE(log->addWriter("W", writer));
    drain();
    EXPECT_TRUE(linesBeforeMarker().empty());
}

TEST_F(LogTest, WritersReceiveItemsInNameOrder) {
    std::vector<std::string> journal;
    auto* b = new RecordingWriter;
    auto* a = new RecordingWriter;
    LogWriterRefPtr bHandle(b, nullptr);
    LogWriterRefPtr aHandle(a, nullptr);
    b->journalTo(&journal, "b");
    a->journalTo(&journal, "a");
    ASSERT_TRUE(log->addWriter("b", bHandle));
    ASSERT_TRUE(log->addWriter("a", aHandle));
    log->write(LevelInfo, "x");
    ASSERT_TRUE(b->waitForLines(1));
    log->stopProcess();
    EXPECT_EQ(journal, (std::vector<std::string>{"a", "b"}));
}

TEST_F(LogTest, WriterNamesAreUnique) {
    EXPECT_TRUE(log->addWriter("W", writer));
    EXPECT_FALSE(log->addWriter("W", writer));
    EXPECT_EQ(log->writer("W").rawPtr(), writer.rawPtr());
    EXPECT_TRUE(log->writer("X").isNull());
    EXPECT_TRUE(log->removeWriter("W"));
    EXPECT_FALSE(log->removeWriter("W"));
}

TEST_F(LogTest, ItemsFromManyThreadsAllArrive) {
    ASSERT_TRUE(log->addWriter("W", writer));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this] {
            for (int i = 0; i < 100; ++i) log->write(LevelInfo, "item");
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(recorder->waitForLines(400));
}

TEST_F(LogTest, StopIsPromptForAnIdleLog) {
    const auto start = std::chrono::steady_clock::now();
    log->stopProcess();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_FALSE(log->isRunning());
}

TEST(LogManager, SystemLogCannotBeReleased) {
    EXPECT_FALSE(LogManager::get()->releaseInstance("SystemLog"));
    EXPECT_TRUE(LogManager::get()->instance("SystemLog").isValid());
    EXPECT_TRUE(LogManager::get()->typeExists("DefaultLog"));
    EXPECT_TRUE(LogManager::get()->writer("LogFileWriter").isValid());
}

TEST(LogManager, WriterRegistry) {
    auto* manager = LogManager::get();
    LogWriterRefPtr writer(new RecordingWriter, nullptr);
    EXPECT_TRUE(manager->registerWriter("Recorder", writer));
    EXPECT_FALSE(manager->registerWriter("Recorder", writer));
    EXPECT_EQ(manager->writer("Recorder").rawPtr(), writer.rawPtr());
    EXPECT_TRUE(manager->unregisterWriter("Recorder"));
    EXPECT_FALSE(manager->unregisterWriter("Recorder"));
    EXPECT_FALSE(manager->registerWriter(nullptr, writer));
    EXPECT_TRUE(manager->writer(nullptr).isNull());
}

TEST(LogManager, UnknownTypeGivesEmptyHandleAndName) {
    std::string name = "x";
    EXPECT_TRUE(LogManager::get()->create("NoSuchLog", name, true).isNull());
    EXPECT_TRUE(name.empty());
    EXPECT_TRUE(LogManager::get()->create(nullptr, name, true).isNull());
}

TEST(LogManager, ReleasingARunningLogStopsIt) {
    std::string name = "Released";
    LogRefPtr log = LogManager::get()->create("DefaultLog", name, true);
    ASSERT_TRUE(log.isValid());
    log = LogRefPtr();
    EXPECT_TRUE(LogManager::get()->releaseInstance(name.c_str()));
}
