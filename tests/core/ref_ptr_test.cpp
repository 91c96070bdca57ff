#include <korvane/core/Handles.h>
#include <korvane/core/Object.h>
#include <korvane/core/RefPtr.h>

#include <gtest/gtest.h>

using namespace Korvane;

namespace {

struct Tracked {
    explicit Tracked(int* destroyed) : m_destroyed(destroyed) {}
    virtual ~Tracked() { ++*m_destroyed; }
    int* m_destroyed;
};

int g_deleterCalls = 0;
void countingDeleter(Tracked* object) {
    ++g_deleterCalls;
    delete object;
}

class RefPtrTest : public ::testing::Test {
protected:
    void SetUp() override { g_deleterCalls = 0; }
    int destroyed = 0;
};

}  // namespace

TEST_F(RefPtrTest, DefaultHandleIsEmptyAndCallsNothing) {
    {
        RefPtr<Tracked> empty;
        EXPECT_EQ(empty.referenceCount(), 0u);
        EXPECT_TRUE(empty.isNull());
        EXPECT_TRUE(!empty);
        EXPECT_FALSE(empty.isValid());
    }
    EXPECT_EQ(g_deleterCalls, 0);
}

TEST_F(RefPtrTest, NullObjectWithDeleterCreatesNoCount) {
    {
        RefPtr<Tracked> handle(nullptr, countingDeleter);
        EXPECT_EQ(handle.referenceCount(), 0u);
    }
    EXPECT_EQ(g_deleterCalls, 0);
}

TEST_F(RefPtrTest, CopiesShareOneCountAndLastDropCallsDeleterOnce) {
    auto* first = new RefPtr<Tracked>(new Tracked(&destroyed), countingDeleter);
    auto* a = new RefPtr<Tracked>(*first);
    auto* b = new RefPtr<Tracked>(*first);
    auto* c = new RefPtr<Tracked>(*a);
    for (auto* h : {first, a, b, c}) EXPECT_EQ(h->referenceCount(), 4u);
    delete a;
    delete b;
    delete c;
    EXPECT_EQ(first->referenceCount(), 1u);
    EXPECT_EQ(g_deleterCalls, 0);
    delete first;
    EXPECT_EQ(g_deleterCalls, 1);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(RefPtrTest, WithoutDeleterTheVirtualDestructorRuns) {
    { RefPtr<Tracked> handle(new Tracked(&destroyed), nullptr); }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(RefPtrTest, SelfAssignmentAndSameObjectAssignmentChangeNothing) {
    RefPtr<Tracked> handle(new Tracked(&destroyed), countingDeleter);
    RefPtr<Tracked> copy(handle);
    RefPtr<Tracked>& alias = handle;
    handle = alias;
    EXPECT_EQ(handle.referenceCount(), 2u);
    copy = handle;
    EXPECT_EQ(handle.referenceCount(), 2u);
    EXPECT_EQ(g_deleterCalls, 0);
}

TEST_F(RefPtrTest, AssigningEmptyToLastHolderDestroysTheObject) {
    RefPtr<Tracked> handle(new Tracked(&destroyed), countingDeleter);
    handle = RefPtr<Tracked>();
    EXPECT_EQ(g_deleterCalls, 1);
    EXPECT_TRUE(handle.isNull());
    EXPECT_EQ(handle.referenceCount(), 0u);
}

TEST_F(RefPtrTest, AssigningAnotherObjectReleasesTheOldShare) {
    RefPtr<Tracked> a(new Tracked(&destroyed), countingDeleter);
    RefPtr<Tracked> keep(a);
    RefPtr<Tracked> b(new Tracked(&destroyed), countingDeleter);
    a = b;
    EXPECT_EQ(keep.referenceCount(), 1u);
    EXPECT_EQ(b.referenceCount(), 2u);
    EXPECT_EQ(a.rawPtr(), b.rawPtr());
    EXPECT_EQ(g_deleterCalls, 0);
}

TEST_F(RefPtrTest, ComparisonsOrderByObjectAddress) {
    Tracked* objects = static_cast<Tracked*>(::operator new(2 * sizeof(Tracked)));
    RefPtr<Tracked> low(objects, [](Tracked*) {});
    RefPtr<Tracked> high(objects + 1, [](Tracked*) {});
    EXPECT_TRUE(low < high);
    EXPECT_TRUE(low <= high);
    EXPECT_TRUE(high > low);
    EXPECT_TRUE(high >= low);
    EXPECT_TRUE(low != high);
    EXPECT_TRUE(RefPtr<Tracked>() == RefPtr<Tracked>());
    low = RefPtr<Tracked>();
    high = RefPtr<Tracked>();
    ::operator delete(objects);
}

TEST_F(RefPtrTest, DeleterRunsAfterTheCountIsGone) {
    static RefPtr<Tracked>* observed = nullptr;
    static unsigned countSeenByDeleter = 99;
    RefPtr<Tracked> handle(new Tracked(&destroyed), [](Tracked* object) {
        countSeenByDeleter = observed->referenceCount();
        delete object;
    });
    observed = &handle;
    handle = RefPtr<Tracked>();
    EXPECT_EQ(countSeenByDeleter, 0u);
}
