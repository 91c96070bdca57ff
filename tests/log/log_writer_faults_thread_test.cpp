// Log writers that throw: the log's thread survives, the other writers get every
// item, and the failure is reported once per writer, on the log's other writers and,
// for other logs than "SystemLog", on the system log.
#include <gtest/gtest.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogManager.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/RecordingWriter.h"
#include "support/SystemLogRecorder.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

class ThrowingWriter : public LogWriter {
public:
    explicit ThrowingWriter(bool standard) : m_standard(standard) {}
    void write(const LogItemInterface&) override {
        if (m_standard) throw std::runtime_error("disk gone");
        throw 7;
    }
    LogWriter* createCopy() override { return new ThrowingWriter(m_standard); }

private:
    const bool m_standard;
};

LogWriterRefPtr throwing(bool standard) {
    return LogWriterRefPtr(new ThrowingWriter(standard), nullptr);
}

}  // namespace

TEST(LogWriterFaults, ThrowingWritersAreReportedOnceAndTheOthersGetEveryLine) {
    SystemLogRecorder systemLog;
    std::string name = "FaultyLog";
    LogRefPtr log = LogManager::get()->create("DefaultLog", name, true);
    ASSERT_TRUE(log.isValid());
    auto* recorder = new RecordingWriter;  // owned by kept
    LogWriterRefPtr kept(recorder, nullptr), bad = throwing(true), odd = throwing(false);
    ASSERT_TRUE(log->addWriter("Bad", bad) && log->addWriter("Kept", kept) &&
                log->addWriter("Odd", odd));
    for (int n = 0; n < 20; ++n) log->write(LevelInfo, "line " + std::to_string(n));
    ASSERT_TRUE(recorder->waitForLines(22));
    const std::string badReport =
        "[Log] The log writer [Bad] of log [" + name + "] threw: disk gone";
    const std::string oddReport =
        "[Log] The log writer [Odd] of log [" + name + "] threw: unknown exception";
    int counts[3] = {};  // lines, reports of Bad, reports of Odd
    for (const std::string& line : recorder->lines()) {
        counts[0] += line.find(": line ") != std::string::npos;
        counts[1] += line.find(badReport) != std::string::npos;
        counts[2] += line.find(oddReport) != std::string::npos;
    }
    EXPECT_EQ(std::vector<int>(counts, counts + 3), (std::vector<int>{20, 1, 1}));
    // Logged on the log's thread right after the first item, before the others.
    const std::vector<std::string> logged = systemLog.messages();
    EXPECT_EQ(std::count(logged.begin(), logged.end(), "ERROR      : " + badReport), 1);
    EXPECT_EQ(std::count(logged.begin(), logged.end(), "ERROR      : " + oddReport), 1);
    EXPECT_EQ(log->status(), ProcessInterface::Running);
    LogManager::get()->releaseInstance(name.c_str());
}

TEST(LogWriterFaults, ThrowingWriterOfTheSystemLogIsReportedToItsOtherWriters) {
    SystemLogRecorder systemLog;
    LogRefPtr log = LogManager::systemLog();
    LogWriterRefPtr bad = throwing(true);
    ASSERT_TRUE(log->addWriter("Bad", bad));
    std::vector<std::string> expected;
    for (int n = 0; n < 20; ++n) {
        korvLogError("system line " + std::to_string(n));
        expected.push_back("ERROR      : system line " + std::to_string(n));
    }
    // The report reaches the other writers while the first line is written.
    std::vector<std::string> logged = systemLog.messages();
    const std::string report =
        "ERROR      : [Log] The log writer [Bad] of log [SystemLog] threw: disk gone";
    EXPECT_EQ(std::count(logged.begin(), logged.end(), report), 1);
    logged.erase(std::remove(logged.begin(), logged.end(), report), logged.end());
    EXPECT_EQ(logged, expected);
    EXPECT_EQ(log->status(), ProcessInterface::Running);
    log->removeWriter("Bad");
}
