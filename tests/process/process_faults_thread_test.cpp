// Processes whose sequence throws on every run: each run ends, its slots are released,
// the host reads the exception in "SystemLog" every time, the next start works, and a
// well-behaved process beside them keeps running.
#include <gtest/gtest.h>
#include <korvane/process/ProcessInterface.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/SystemLogRecorder.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

constexpr int kRuns = 25;

}  // namespace

TEST(ProcessFaults, SequenceThatThrowsOnEveryRunIsLoggedEachTimeAndTheNextStartWorks) {
    SystemLogRecorder systemLog;
    const std::vector<ProcessHandle> faulty = {makeProcess(), makeProcess()};
    faulty[0]->onSequence = [](unsigned long long) -> bool { throw std::runtime_error("broken"); };
    faulty[1]->onSequence = [](unsigned long long) -> bool { throw 42; };
    const ProcessHandle steady = makeProcess();
    auto iterations = std::make_shared<std::atomic<int>>(0);
    steady->onSequence = [iterations](unsigned long long) {
        ++*iterations;
        return true;
    };
    steady->startProcess();

    for (int run = 0; run < kRuns; ++run) {
        for (const ProcessHandle& process : faulty) process->startProcess();
        for (const ProcessHandle& process : faulty) {
            ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone)) << run;
            ASSERT_TRUE(stopWithin(process)) << run;
            ASSERT_EQ(process->status(), ProcessInterface::Idle) << run;
        }
    }
    // The processes have no name: no manager made them.
    const std::string report = ": An exception occurred in process [] :";
    ASSERT_TRUE(eventually([&] {
        return systemLog.countLinesWith(report + "broken") == kRuns &&
               systemLog.countLinesWith(report) == 2 * kRuns;
    })) << "each run of each process is reported once";

    const int before = iterations->load();
    EXPECT_TRUE(eventually([&] { return iterations->load() > before; }));
    EXPECT_EQ(steady->status(), ProcessInterface::Running);
    EXPECT_TRUE(stopWithin(steady));
}
