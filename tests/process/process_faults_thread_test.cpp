// Processes, operators and scripts that throw on every run: each run ends, the host
// reads the exception in "SystemLog" every time, the next start works, and a
// well-behaved process beside them keeps running.
#include <gtest/gtest.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/OperatorProcess.h>
#include <korvane/process/ProcessInterface.h>
#include <korvane/process/ScriptManager.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/SystemLogRecorder.h"
#include "support/TestOperators.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

constexpr int kRuns = 25;

class ThrowingScript : public Script {
public:
    Script* createCopy() override { return new ThrowingScript(*this); }

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override { throw std::runtime_error("script broken"); }
    bool cleanup() override { return true; }
};

// Starts and ends the process kRuns times; false when a run did not end or stop.
template <class Handle>
bool runRepeatedly(const Handle& process) {
    for (int run = 0; run < kRuns; ++run) {
        process->startProcess();
        if (!eventually([&] { return process->statusDetail() == ProcessInterface::StoppingDone; }))
            return false;
        if (!stopProcessWithin(process) || process->status() != ProcessInterface::Idle)
            return false;
    }
    return true;
}

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
    // Each run logged its exception before it ended. The processes have no name: no
    // manager made them.
    const std::vector<std::string> logged = systemLog.messages();
    const std::string report = "ERROR      : An exception occurred in process [] :";
    EXPECT_EQ(std::count(logged.begin(), logged.end(), report + "broken"), kRuns);
    EXPECT_EQ(std::count(logged.begin(), logged.end(), report), kRuns);
    EXPECT_EQ(logged.size(), 2u * kRuns);

    const int before = iterations->load();
    EXPECT_TRUE(eventually([&] { return iterations->load() > before; }));
    EXPECT_EQ(steady->status(), ProcessInterface::Running);
    EXPECT_TRUE(stopWithin(steady));
}

TEST(ProcessFaults, OperatorsAndScriptsThatThrowOnEveryRunAreLoggedEachTime) {
    SystemLogRecorder systemLog;
    OperatorManager* operators = OperatorManager::get();
    std::string name = "Thrower";
    auto* typed = new ScriptedOperator(std::make_shared<Journal>(), name);
    typed->onExecute = []() -> bool { throw std::runtime_error("operator broken"); };
    OperatorRefPtr op = operators->create(OperatorRefPtr(typed, nullptr), name, false);
    ASSERT_TRUE(op.isValid());
    std::string processName = "ThrowerProcess";
    OperatorProcessRefPtr process = operators->createProcess(processName, false);
    ASSERT_TRUE(process.isValid());
    process->addOperator(op, 0);
    ASSERT_TRUE(runRepeatedly(process));

    ScriptManager* scripts = ScriptManager::get();
    std::string scriptName = "ThrowerScript";
    ScriptRefPtr script =
        scripts->create(ScriptRefPtr(new ThrowingScript, nullptr), -1, scriptName, false);
    ASSERT_TRUE(script.isValid());
    ASSERT_TRUE(runRepeatedly(script));

    const std::vector<std::string> logged = systemLog.messages();
    const auto count = [&](const std::string& line) {
        return std::count(logged.begin(), logged.end(), "ERROR      : " + line);
    };
    EXPECT_EQ(count("An exception occurred in operator [Thrower] :operator broken"), kRuns);
    EXPECT_EQ(count("An exception occurred in process [ThrowerProcess] :operator broken"), kRuns);
    EXPECT_EQ(count("An exception occurred in process [ThrowerScript] :script broken"), kRuns);
    operators->releaseProcess(processName.c_str());
    operators->cleanUp();
    scripts->cleanUp();
}
