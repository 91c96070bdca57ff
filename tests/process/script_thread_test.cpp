// Scripts made by the script manager run their iterations on their own threads, and the
// manager lists exactly those that are running.

#include <gtest/gtest.h>
#include <korvane/process/ScriptManager.h>

#include <atomic>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "support/TestOperators.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

struct Gates {
    Gate reached, release;
};

// Counts its sequence calls; with gates set, its first sequence opens reached and
// waits for release.
class CountingScript : public Script {
public:
    CountingScript() = default;
    CountingScript(const CountingScript& other) : Script(other) {}
    Script* createCopy() override { return new CountingScript(*this); }

    std::atomic<int> sequences{0};
    std::shared_ptr<Gates> gates;

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override {
        if (sequences.fetch_add(1) > 0 || !gates) return true;
        gates->reached.open();
        return gates->release.waitOpen();
    }
    bool cleanup() override { return true; }
};

// However the test ends, lets the waiting script go and stops every script.
struct StopAll {
    ~StopAll() {
        gates->release.open();
        for (const std::string& name : manager->instanceList())
            EXPECT_TRUE(stopProcessWithin(manager->instance(name.c_str())));
        manager->cleanUp();
    }
    ScriptManager* manager;
    std::shared_ptr<Gates> gates;
};

}  // namespace

TEST(Scripts, OnlyRunningScriptsAreListed) {
    ScriptManager* manager = ScriptManager::get();
    ASSERT_TRUE(manager->registerType("Counting", ScriptRefPtr(new CountingScript, nullptr)));
    const StopAll stopAll{manager, std::make_shared<Gates>()};
    EXPECT_EQ(manager->runningInstanceCount(), 0);
    ScriptRefPtr three, idle, waiting;
    for (auto [script, wanted, iterations] :
         {std::make_tuple(&three, "Three", 3), std::make_tuple(&idle, "Idle", 3),
          std::make_tuple(&waiting, "Waiting", -1)}) {
        std::string name = wanted;
        *script = manager->create("Counting", static_cast<short>(iterations), name, false);
        ASSERT_TRUE(script->isValid()) << wanted;
    }
    dynamic_cast<CountingScript&>(*waiting).gates = stopAll.gates;

    three->startProcess();
    waiting->startProcess();
    ASSERT_TRUE(reaches(three));
    EXPECT_EQ(dynamic_cast<CountingScript&>(*three).sequences.load(), 3);
    ASSERT_TRUE(stopAll.gates->reached.waitOpen());
    EXPECT_EQ(manager->runningInstanceList(), std::vector<std::string>{"Waiting"});
    EXPECT_EQ(manager->runningInstanceCount(), 1);

    stopAll.gates->release.open();
    ASSERT_TRUE(stopProcessWithin(waiting));
    EXPECT_EQ(manager->runningInstanceCount(), 0);
}
