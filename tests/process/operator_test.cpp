// The operator manager's tables of operators and processes, the levels
// of an operator process and the script manager, without running any process.

#include <gtest/gtest.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/ScriptManager.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "support/BufferFixture.h"
#include "support/TestOperators.h"

using namespace Korvane;
using KorvaneTest::PassThrough;
using KorvaneTest::textOf;

namespace {

class IdleScript : public Script {
public:
    Script* createCopy() override { return new IdleScript(*this); }

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override { return true; }
    bool cleanup() override { return true; }
};

// Empties the managers' tables, which outlive every test.
class Managers : public ::testing::Test {
protected:
    void TearDown() override {
        for (const std::string& name : operators->processList()) {
            operators->releaseProcess(name.c_str());
        }
        operators->cleanUp();
        scripts->cleanUp();
    }

    OperatorManager* operators = OperatorManager::get();
    ScriptManager* scripts = ScriptManager::get();
};

long long maxIterationsOf(const ScriptRefPtr& script) {
    long long value = 0;
    EXPECT_TRUE(script->getProperty("MaxIterations", &value));
    return value;
}

}  // namespace

TEST_F(Managers, CreateCopiesAnOperatorAndAnnouncesNothingOnFailure) {
    ASSERT_TRUE(operators->registerType("PassThrough", OperatorRefPtr(new PassThrough, nullptr)));
    std::string name = "pass";
    OperatorRefPtr op = operators->create("PassThrough", name, false);
    ASSERT_TRUE(op.isValid());
    EXPECT_EQ(op->type(), "PassThrough");
    EXPECT_EQ(textOf(*op, "ComponentType"), "Operator");

    // The prototype form takes the prototype's type.
    std::string second = "pass";
    OperatorRefPtr copy = operators->create(op, second, true);
    ASSERT_TRUE(copy.isValid());
    EXPECT_EQ(copy->type(), "PassThrough");
    EXPECT_EQ(second.rfind("pass{", 0), 0u) << second;

    std::string unknown = "x";
    EXPECT_TRUE(operators->create("NoSuchOperator", unknown, true).isNull());
    EXPECT_TRUE(operators->create(OperatorRefPtr(), unknown, true).isNull());
    EXPECT_EQ(operators->instanceCount(), 2u);
}

TEST_F(Managers, ATakenProcessNameFailsOrIsCutAtItsBraceAndGetsASixGroupKey) {
    std::string name = "Proc";
    OperatorProcessRefPtr first = operators->createProcess(name, false);
    ASSERT_TRUE(first.isValid());
    EXPECT_EQ(first->type(), "OperatorProcess");

    std::string again = "Proc";
    EXPECT_TRUE(operators->createProcess(again, false).isNull());
    EXPECT_EQ(again, "Proc");

    std::string keyed = "Proc{OLD-KEY}";
    ASSERT_TRUE(operators->createProcess(keyed, false).isValid());
    std::string cut = "Proc{OLD-KEY}";
    OperatorProcessRefPtr third = operators->createProcess(cut, true);
    ASSERT_TRUE(third.isValid());
    // "Proc" and a key of six groups of four: 4 + 31 characters.
    EXPECT_EQ(cut.size(), 35u) << cut;
    EXPECT_EQ(cut.rfind("Proc{", 0), 0u) << cut;
    EXPECT_EQ(operators->process(cut.c_str()).rawPtr(), third.rawPtr());

    // An empty name counts as taken: a key alone, or nothing.
    std::string empty;
    EXPECT_TRUE(operators->createProcess(empty, false).isNull());
    ASSERT_TRUE(operators->createProcess(empty, true).isValid());
    EXPECT_EQ(empty.size(), 31u);
    EXPECT_EQ(operators->processList().size(), 4u);
}

// The keys of the tries are drawn from rand() and the time in seconds: with the same
// seed in the same second, the tries meet the names taken beforehand. With 20 of the
// 21 keys taken the 21st try succeeds; with all 21 taken the name is given up.
TEST_F(Managers, AProcessNameGivesUpAfterTwentyOneTakenKeys) {
    std::string base = "Busy";
    ASSERT_TRUE(operators->createProcess(base, false).isValid());
    bool sameSecond = false;
    for (int attempt = 0; attempt < 5 && !sameSecond; ++attempt) {
        const std::time_t start = std::time(nullptr);
        std::srand(7);
        std::vector<std::string> keys;
        for (int i = 0; i < 21; ++i) keys.push_back("Busy" + generateKey(4, 6));
        for (int i = 0; i < 20; ++i) operators->createProcess(keys[i], false);
        std::srand(7);
        std::string last = "Busy";
        const bool lastFree = operators->createProcess(last, true).isValid();
        std::srand(7);
        std::string none = "Busy";
        const bool noneFree = operators->createProcess(none, true).isNull();
        sameSecond = std::time(nullptr) == start;
        if (!sameSecond) continue;
        EXPECT_TRUE(lastFree);
        EXPECT_EQ(last, keys[20]);
        EXPECT_TRUE(noneFree);
        EXPECT_EQ(none, "");
    }
    EXPECT_TRUE(sameSecond) << "the clock turned over in every attempt";
}

TEST_F(Managers, AReleasedProcessIsGoneFromTheMapButHeldHandlesStayUsable) {
    EXPECT_TRUE(operators->process("nobody").isNull());
    EXPECT_TRUE(operators->process(nullptr).isNull());
    EXPECT_FALSE(operators->releaseProcess("nobody"));
    EXPECT_FALSE(operators->releaseProcess(nullptr));

    std::string name = "Kept";
    OperatorProcessRefPtr held = operators->createProcess(name, false);
    ASSERT_TRUE(operators->releaseProcess("Kept"));
    EXPECT_TRUE(operators->process("Kept").isNull());
    EXPECT_EQ(held.referenceCount(), 1u);
    // The name is free again.
    EXPECT_TRUE(operators->createProcess(name, false).isValid());
}

TEST(OperatorProcessLevels, LevelsGrowOnDemandAndAreNeverRemovedUntilClear) {
    using Levels = std::vector<OperatorProcess::Level>;
    OperatorProcess process;
    EXPECT_EQ(process.levelCount(), 2);
    EXPECT_EQ(process.levels(), Levels(2));

    OperatorRefPtr op(new PassThrough, nullptr);
    OperatorRefPtr other(new PassThrough, nullptr);
    process.addOperator(op, 5);
    EXPECT_EQ(process.levelCount(), 7);
    Levels expected(7);
    expected[5] = {op};
    EXPECT_EQ(process.levels(), expected);

    // A smaller limit keeps the levels; adding within them does not grow them, the same
    // operator may be added twice, and a negative level is ignored.
    process.setMaxLevel(2);
    EXPECT_EQ(process.levelCount(), 3);
    process.addOperator(other, 4);
    process.addOperator(op, 5);
    process.addOperator(op, -1);
    expected[4] = {other};
    expected[5] = {op, op};
    EXPECT_EQ(process.levels(), expected);

    process.clear();
    EXPECT_EQ(process.levelCount(), 2);
    EXPECT_EQ(process.levels(), Levels(2));
    expected.clear();
    EXPECT_EQ(op.referenceCount(), 1u);
}

TEST_F(Managers, BothScriptCreateFormsSetMaxIterations) {
    ASSERT_TRUE(scripts->registerType("Idle", ScriptRefPtr(new IdleScript, nullptr)));
    std::string name = "s";
    ScriptRefPtr byType = scripts->create("Idle", 3, name, false);
    ASSERT_TRUE(byType.isValid());
    EXPECT_EQ(maxIterationsOf(byType), 3);
    EXPECT_EQ(textOf(*byType, "ComponentType"), "Script");

    ASSERT_TRUE(byType->setProperty("MaxIterations", 99LL));
    std::string copyName = "s";
    ScriptRefPtr byPrototype = scripts->create(byType, -1, copyName, true);
    ASSERT_TRUE(byPrototype.isValid());
    EXPECT_EQ(maxIterationsOf(byPrototype), -1);

    std::string unknown = "u";
    EXPECT_TRUE(scripts->create("NoSuchScript", 1, unknown, true).isNull());
    EXPECT_EQ(unknown, "");
}
