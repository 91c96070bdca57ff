// Scripts made by the script manager run their iterations on their own threads, and the
// manager lists exactly those that are running.

#include <gtest/gtest.h>
#include <korvane/process/ScriptManager.h>

#include <atomic>
#include <list>
#include <string>
#include <vector>

#include "support/TestOperators.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using Names = std::vector<std::string>;

// Counts its sequence calls; with a gate set, its first sequence opens reached and
// waits for release.
class CountingScript : public Script {
public:
    CountingScript() = default;
    CountingScript(const CountingScript& other) : Script(other) {}
    Script* createCopy() override { return new CountingScript(*this); }

    std::atomic<int> sequences{0};
    Gate* reached = nullptr;  // not owned
    Gate* release = nullptr;  // not owned

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override {
        if (sequences.fetch_add(1) == 0 && reached) {
            reached->open();
            return release->waitOpen();
        }
        return true;
    }
    bool cleanup() override { return true; }
};

class Scripts : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(manager->registerType("Counting", ScriptRefPtr(new CountingScript, nullptr)));
    }
    void TearDown() override {
        for (Gate& gate : m_gates) gate.open();
        for (const std::string& name : manager->instanceList()) {
            EXPECT_TRUE(stopProcessWithin(manager->instance(name.c_str())));
        }
        manager->cleanUp();
    }

    CountingScript& make(const std::string& wanted, short iterations, ScriptRefPtr* made) {
        std::string name = wanted;
        *made = manager->create("Counting", iterations, name, false);
        EXPECT_EQ(name, wanted);
        return dynamic_cast<CountingScript&>(**made);
    }

    Gate& gate() { return m_gates.emplace_back(); }

    ScriptManager* manager = ScriptManager::get();

private:
    std::list<Gate> m_gates;
};

}  // namespace

TEST_F(Scripts, OnlyRunningScriptsAreListed) {
    EXPECT_EQ(manager->runningInstanceCount(), 0);

    ScriptRefPtr finished;
    CountingScript& three = make("Three", 3, &finished);
    ScriptRefPtr idle;
    make("Idle", 3, &idle);
    ScriptRefPtr held;
    CountingScript& waiting = make("Waiting", -1, &held);
    Gate& reached = gate();
    Gate& release = gate();
    waiting.reached = &reached;
    waiting.release = &release;

    finished->startProcess();
    held->startProcess();
    ASSERT_TRUE(
        eventually([&] { return finished->statusDetail() == ProcessInterface::StoppingDone; }));
    EXPECT_EQ(three.sequences.load(), 3);
    ASSERT_TRUE(reached.waitOpen());
    EXPECT_EQ(manager->runningInstanceList(), Names{"Waiting"});
    EXPECT_EQ(manager->runningInstanceCount(), 1);

    release.open();
    ASSERT_TRUE(stopProcessWithin(held));
    EXPECT_EQ(manager->runningInstanceCount(), 0);
    EXPECT_TRUE(manager->runningInstanceList().empty());
}
