#include <gtest/gtest.h>
#include <korvane/process/PtrWrapper.h>

#include "support/TestProcesses.h"

using namespace Korvane;
using KorvaneTest::makeOwner;
using KorvaneTest::makeProcess;
using KorvaneTest::OwnerHandle;
using KorvaneTest::ScriptedProcess;
using KorvaneTest::SlotOwner;

namespace {

// A named handle in the manner of DeviceRefPtr: a RefPtr subclass without fields.
class SlotOwnerRefPtr : public RefPtr<SlotOwner> {
public:
    using RefPtr<SlotOwner>::RefPtr;
};

}  // namespace

TEST(PtrWrapper, DefaultAndEmptyHandlesMakeNullWrappers) {
    EXPECT_TRUE(BufferSlotPtrWrapper().isNull());
    EXPECT_TRUE(!ProcessPtrWrapper());
    EXPECT_TRUE(BufferSlotPtrWrapper(OwnerHandle()).isNull());
    EXPECT_EQ(BufferSlotPtrWrapper().rawPtr(), nullptr);
}

TEST(PtrWrapper, YieldsTheInterfaceOfTheWrappedObject) {
    KorvaneTest::ProcessHandle process = makeProcess();
    ProcessPtrWrapper asProcess(process);
    BufferSlotPtrWrapper asSlots(process);
    EXPECT_EQ(asProcess.rawPtr(), static_cast<ProcessInterface*>(process.rawPtr()));
    EXPECT_EQ(asSlots.rawPtr(), static_cast<BufferSlotInterface*>(process.rawPtr()));
    EXPECT_EQ(asProcess->status(), ProcessInterface::Idle);
}

TEST(PtrWrapper, AcceptsANamedHandle) {
    SlotOwnerRefPtr owner(new SlotOwner, nullptr);
    BufferSlotPtrWrapper wrapper = owner;
    EXPECT_EQ(wrapper.rawPtr(), owner.rawPtr());
}

TEST(PtrWrapper, KeepsTheWrappedObjectAlive) {
    const int before = SlotOwner::live.load();
    BufferSlotPtrWrapper wrapper;
    {
        OwnerHandle owner = makeOwner();
        wrapper = owner;
    }
    EXPECT_EQ(SlotOwner::live.load(), before + 1);
    BufferSlotPtrWrapper copy = wrapper;
    wrapper = BufferSlotPtrWrapper();
    EXPECT_EQ(SlotOwner::live.load(), before + 1);
    copy = BufferSlotPtrWrapper();
    EXPECT_EQ(SlotOwner::live.load(), before);
}

TEST(PtrWrapper, ComparesEqualByObject) {
    OwnerHandle owner = makeOwner();
    OwnerHandle sameOwner = owner;
    BufferSlotPtrWrapper a(owner);
    BufferSlotPtrWrapper b(sameOwner);
    BufferSlotPtrWrapper other(makeOwner());
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_TRUE(a != other);
    EXPECT_FALSE(a == BufferSlotPtrWrapper());
}

TEST(PtrWrapper, ReassignmentReleasesThePreviousObject) {
    const int before = SlotOwner::live.load();
    BufferSlotPtrWrapper wrapper(makeOwner());
    OwnerHandle second = makeOwner();
    EXPECT_EQ(SlotOwner::live.load(), before + 2);
    wrapper = second;
    EXPECT_EQ(SlotOwner::live.load(), before + 1);
    EXPECT_EQ(wrapper.rawPtr(), second.rawPtr());
}
