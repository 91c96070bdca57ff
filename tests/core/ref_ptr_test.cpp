#include <gtest/gtest.h>
#include <korvane/core/RefPtr.h>

#include <utility>

using namespace Korvane;

namespace {

struct Tracked {
    static inline int live = 0;
    Tracked() { ++live; }
    ~Tracked() { --live; }
};

using Handle = RefPtr<Tracked>;

Handle make() {
    return Handle(new Tracked, nullptr);
}

}  // namespace

TEST(RefPtr, MovingTakesTheShareAndLeavesTheSourceEmpty) {
    Handle first = make();
    Handle copy = first;
    Tracked* const object = first.rawPtr();
    Handle moved(std::move(first));
    EXPECT_TRUE(first.isNull());
    EXPECT_EQ(first.referenceCount(), 0u);
    EXPECT_EQ(moved.rawPtr(), object);
    EXPECT_EQ(moved.referenceCount(), 2u) << "a move must not change the count";

    Handle other = make();
    EXPECT_EQ(Tracked::live, 2);
    other = std::move(moved);  // other's object had no further handle
    EXPECT_EQ(Tracked::live, 1);
    EXPECT_EQ(other.rawPtr(), object);
    EXPECT_EQ(other.referenceCount(), 2u);
    EXPECT_TRUE(moved.isNull());

    copy = std::move(other);  // the same object: one share fewer
    EXPECT_EQ(copy.referenceCount(), 1u);
    Handle& alias = copy;
    copy = std::move(alias);
    EXPECT_EQ(copy.rawPtr(), object);
    EXPECT_EQ(copy.referenceCount(), 1u);
    copy = Handle();
    EXPECT_EQ(Tracked::live, 0);
}
