#include <gtest/gtest.h>
#include <korvane/core/RefPtr.h>

#include <atomic>
#include <future>
#include <utility>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"

using namespace Korvane;

namespace {

std::atomic<int> g_destroyed{0};
int g_deleterCalls = 0;

struct Tracked {
    virtual ~Tracked() { g_destroyed.fetch_add(1); }
};
using Handle = RefPtr<Tracked>;

class RefPtrTest : public ::testing::Test {
protected:
    void SetUp() override { g_deleterCalls = g_destroyed = 0; }
    static void countingDeleter(Tracked* object) {
        ++g_deleterCalls;
        delete object;
    }
    static Handle make() { return Handle(new Tracked, countingDeleter); }
};

}  // namespace

TEST_F(RefPtrTest, CopiesAndAssignmentsShareOneCountAndTheLastDropDeletesOnce) {
    Handle null(nullptr, countingDeleter);
    EXPECT_TRUE(null.isNull() && !null && null.referenceCount() == 0u);
    null = Handle();
    Handle a = make();
    std::vector<Handle> copies(3, a);
    EXPECT_EQ(a.referenceCount(), 4u);
    Handle& alias = a;
    a = alias;
    EXPECT_EQ(a.referenceCount(), 4u);
    copies.clear();
    Handle b = make();
    Handle keep = a;
    a = b;
    EXPECT_EQ(keep.referenceCount(), 1u);
    EXPECT_EQ(b.referenceCount(), 2u);
    EXPECT_EQ(g_deleterCalls, 0);
    keep = Handle();
    EXPECT_EQ(g_deleterCalls + g_destroyed, 2);
    EXPECT_EQ(keep.referenceCount(), 0u);
}

TEST_F(RefPtrTest, MovingTakesTheShareAndLeavesTheSourceEmpty) {
    Handle first = make();
    Handle copy = first;
    Tracked* const object = first.rawPtr();
    Handle moved(std::move(first));
    EXPECT_TRUE(first.isNull() && first.referenceCount() == 0u);
    EXPECT_EQ(moved.referenceCount(), 2u) << "a move must not change the count";
    Handle other = make();
    other = std::move(moved);  // other's object had no further handle
    EXPECT_EQ(g_deleterCalls, 1);
    EXPECT_TRUE(moved.isNull());
    copy = std::move(other);  // the same object: one share fewer
    Handle& alias = copy;
    copy = std::move(alias);
    EXPECT_EQ(copy.rawPtr(), object);
    EXPECT_EQ(copy.referenceCount(), 1u);
}

TEST_F(RefPtrTest, ComparisonsOrderByObjectAddress) {
    Tracked* objects = static_cast<Tracked*>(::operator new(2 * sizeof(Tracked)));
    Handle low(objects, [](Tracked*) {});
    Handle high(objects + 1, [](Tracked*) {});
    EXPECT_TRUE(low < high && low <= high && high > low && high >= low && low != high);
    EXPECT_TRUE(Handle() == Handle());
    low = high = Handle();
    ::operator delete(objects);
}

// The deleter may take other locks only because the count is gone before it runs.
TEST_F(RefPtrTest, DeleterRunsAfterTheCountIsGone) {
    static Handle* observed = nullptr;
    static unsigned countSeenByDeleter = 99;
    Handle handle(new Tracked, [](Tracked* object) {
        countSeenByDeleter = observed->referenceCount();
        delete object;
    });
    observed = &handle;
    handle = Handle();
    EXPECT_EQ(countSeenByDeleter, 0u);
}

// Without a deleter the virtual destructor runs, once, whichever thread drops last.
TEST_F(RefPtrTest, CopiesDroppedOnManyThreadsDestroyOnce) {
    for (int round = 0; round < 20; ++round) {
        g_destroyed = 0;
        std::vector<Handle> seeds(4, Handle(new Tracked, nullptr));
        std::vector<std::future<void>> workers;
        for (auto& seed : seeds) {
            workers.push_back(KorvaneTest::startDetached([seed]() mutable {
                for (int i = 0; i < 2000; ++i) {
                    Handle copy(seed), other;
                    other = copy;
                }
                seed = Handle();
            }));
        }
        for (auto& worker : workers)
            ASSERT_EQ(worker.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
        EXPECT_EQ(g_destroyed, 0);
        seeds.clear();
        EXPECT_EQ(g_destroyed, 1);
    }
}
