// Processes, operators and scripts that throw on every run: each run ends, the host
// reads the exception in "SystemLog" every time, the next start works, and a
// well-behaved process beside them keeps running.
#include <gtest/gtest.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/PtrWrapper.h>
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

class ThrowingScript : public Script {
public:
    Script* createCopy() override { return new ThrowingScript(*this); }

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override { throw std::runtime_error("script broken"); }
    bool cleanup() override { return true; }
};

}  // namespace

TEST(ProcessFaults, EveryRunThatThrowsIsLoggedAndTheNextStartWorks) {
    constexpr int kRuns = 25;
    SystemLogRecorder systemLog;
    const ProcessHandle broken = makeProcess(), odd = makeProcess(), steady = makeProcess();
    broken->onSequence = [](unsigned long long) -> bool { throw std::runtime_error("broken"); };
    odd->onSequence = [](unsigned long long) -> bool { throw 42; };
    auto iterations = std::make_shared<std::atomic<int>>(0);
    steady->onSequence = [iterations](unsigned long long) { return ++*iterations > 0; };
    OperatorManager* operators = OperatorManager::get();
    std::string name = "Thrower", processName = "ThrowerProcess", scriptName = "ThrowerScript";
    auto* typed = new ScriptedOperator(std::make_shared<Journal>(), name);
    typed->onExecute = []() -> bool { throw std::runtime_error("operator broken"); };
    OperatorRefPtr op = operators->create(OperatorRefPtr(typed, nullptr), name, false);
    OperatorProcessRefPtr process = operators->createProcess(processName, false);
    ScriptRefPtr script = ScriptManager::get()->create(ScriptRefPtr(new ThrowingScript, nullptr),
                                                       -1, scriptName, false);
    ASSERT_TRUE(op.isValid() && process.isValid() && script.isValid());
    process->addOperator(op, 0);
    steady->startProcess();

    const std::vector<ProcessPtrWrapper> faulty = {broken, odd, process, script};
    for (int run = 0; run < kRuns; ++run) {
        for (const ProcessPtrWrapper& faulting : faulty) faulting->startProcess();
        for (const ProcessPtrWrapper& faulting : faulty) {
            ASSERT_TRUE(reaches(faulting)) << run;
            ASSERT_TRUE(stopProcessWithin(faulting)) << run;
            ASSERT_EQ(faulting->status(), ProcessInterface::Idle) << run;
        }
    }
    // Each run logged its exception before it ended; a process no manager made has no name.
    const std::vector<std::string> logged = systemLog.messages();
    const auto count = [&](const std::string& line) {
        return std::count(logged.begin(), logged.end(),
                          "ERROR      : An exception occurred " + line);
    };
    EXPECT_EQ(count("in process [] :broken"), kRuns);
    EXPECT_EQ(count("in process [] :"), kRuns);
    EXPECT_EQ(count("in operator [Thrower] :operator broken"), kRuns);
    EXPECT_EQ(count("in process [ThrowerProcess] :operator broken"), kRuns);
    EXPECT_EQ(count("in process [ThrowerScript] :script broken"), kRuns);
    EXPECT_EQ(logged.size(), 5u * kRuns);

    const int before = iterations->load();
    EXPECT_TRUE(eventually([&] { return iterations->load() > before; }));
    EXPECT_EQ(steady->status(), ProcessInterface::Running);
    EXPECT_TRUE(stopProcessWithin(steady));
    operators->releaseProcess(processName.c_str());
    operators->cleanUp();
    ScriptManager::get()->cleanUp();
}
