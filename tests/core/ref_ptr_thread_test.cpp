#include <gtest/gtest.h>
#include <korvane/core/RefPtr.h>

#include <atomic>
#include <future>
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

class RefPtrTest : public ::testing::Test {
protected:
    void SetUp() override { g_deleterCalls = g_destroyed = 0; }
    static void countingDeleter(Tracked* object) {
        ++g_deleterCalls;
        delete object;
    }
    static RefPtr<Tracked> make() { return RefPtr<Tracked>(new Tracked, countingDeleter); }
};

}  // namespace

TEST_F(RefPtrTest, EmptyHandlesHoldNoCountAndCallNothing) {
    {
        RefPtr<Tracked> empty;
        RefPtr<Tracked> null(nullptr, countingDeleter);
        for (RefPtr<Tracked>* handle : {&empty, &null}) {
            EXPECT_EQ(handle->referenceCount(), 0u);
            EXPECT_TRUE(handle->isNull() && !*handle && !handle->isValid());
        }
    }
    EXPECT_EQ(g_deleterCalls, 0);
}

TEST_F(RefPtrTest, CopiesShareOneCountAndLastDropCallsDeleterOnce) {
    std::vector<RefPtr<Tracked>> handles{make()};
    handles.reserve(4);
    for (int i = 0; i < 3; ++i) handles.push_back(handles[i]);
    for (const auto& h : handles) EXPECT_EQ(h.referenceCount(), 4u);
    handles.resize(1);
    EXPECT_EQ(handles[0].referenceCount(), 1u);
    EXPECT_EQ(g_deleterCalls, 0);
    handles.clear();
    EXPECT_EQ(g_deleterCalls + g_destroyed, 2);
}

TEST_F(RefPtrTest, AssignmentReleasesTheOldShareAndSelfAssignmentNothing) {
    RefPtr<Tracked> a = make();
    RefPtr<Tracked> keep(a);
    RefPtr<Tracked>& alias = a;
    a = alias;
    keep = a;
    EXPECT_EQ(a.referenceCount(), 2u);
    RefPtr<Tracked> b = make();
    a = b;
    EXPECT_EQ(keep.referenceCount(), 1u);
    EXPECT_EQ(b.referenceCount(), 2u);
    EXPECT_EQ(a.rawPtr(), b.rawPtr());
    EXPECT_EQ(g_deleterCalls, 0);
    keep = RefPtr<Tracked>();  // the last holder
    EXPECT_EQ(g_deleterCalls, 1);
    EXPECT_TRUE(keep.isNull());
    EXPECT_EQ(keep.referenceCount(), 0u);
}

TEST_F(RefPtrTest, ComparisonsOrderByObjectAddress) {
    Tracked* objects = static_cast<Tracked*>(::operator new(2 * sizeof(Tracked)));
    RefPtr<Tracked> low(objects, [](Tracked*) {});
    RefPtr<Tracked> high(objects + 1, [](Tracked*) {});
    EXPECT_TRUE(low < high && low <= high && high > low && high >= low && low != high);
    EXPECT_TRUE(RefPtr<Tracked>() == RefPtr<Tracked>());
    low = high = RefPtr<Tracked>();
    ::operator delete(objects);
}

// The deleter may take other locks only because the count is gone before it runs.
TEST_F(RefPtrTest, DeleterRunsAfterTheCountIsGone) {
    static RefPtr<Tracked>* observed = nullptr;
    static unsigned countSeenByDeleter = 99;
    RefPtr<Tracked> handle(new Tracked, [](Tracked* object) {
        countSeenByDeleter = observed->referenceCount();
        delete object;
    });
    observed = &handle;
    handle = RefPtr<Tracked>();
    EXPECT_EQ(countSeenByDeleter, 0u);
}

// Without a deleter the virtual destructor runs, once, whichever thread drops last.
TEST_F(RefPtrTest, CopiesDroppedOnManyThreadsDestroyOnce) {
    for (int round = 0; round < 20; ++round) {
        g_destroyed = 0;
        std::vector<RefPtr<Tracked>> seeds(4, RefPtr<Tracked>(new Tracked, nullptr));
        std::vector<std::future<void>> workers;
        for (auto& seed : seeds) {
            workers.push_back(KorvaneTest::startDetached([seed]() mutable {
                for (int i = 0; i < 2000; ++i) {
                    RefPtr<Tracked> copy(seed);
                    RefPtr<Tracked> other;
                    other = copy;
                }
                seed = RefPtr<Tracked>();
            }));
        }
        for (auto& worker : workers)
            ASSERT_EQ(worker.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
        EXPECT_EQ(g_destroyed, 0);
        seeds.clear();
        EXPECT_EQ(g_destroyed, 1);
    }
}
