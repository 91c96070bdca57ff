#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/process/BufferSlotInterface.h>
#include <korvane/process/PtrWrapper.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

#include "support/BufferFixture.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using KorvaneTest::OwnerHandle;
using KorvaneTest::SlotOwner;
using KorvaneTest::textOf;
using Ids = std::vector<std::string>;

namespace {

FifoTemplate<std::string>& asText(const BufferRefPtr& buffer) {
    return dynamic_cast<FifoTemplate<std::string>&>(*buffer);
}

OwnerHandle ownerWith(const char* id, const char* elementType, buffer_slot_type direction) {
    OwnerHandle owner = KorvaneTest::makeOwner();
    EXPECT_TRUE(owner->addBufferSlot(id, elementType, direction, "", false));
    return owner;
}

// A plain slot owner, a source with an "Image" output slot "Out" and a sink with an
// "Image" input slot "In".
class BufferSlotTest : public KorvaneTest::BufferManagerFixture {
protected:
    BufferRefPtr makeBuffer(const char* type = "ImageFifo", std::string name = std::string()) {
        BufferRefPtr buffer = manager->create(type, 4, name, true);
        EXPECT_TRUE(buffer.isValid()) << type;
        return buffer;
    }
    // A "string" slot of owner bound by name to a new StringFifo.
    BufferRefPtr boundSlot(const char* id, buffer_slot_type direction) {
        EXPECT_TRUE(owner.addBufferSlot(id, "string", direction, "", false));
        BufferRefPtr buffer = makeBuffer("StringFifo");
        EXPECT_TRUE(owner.setBufferSlot(id, buffer.rawPtr(), direction));
        return buffer;
    }

    SlotOwner owner;
    OwnerHandle source = ownerWith("Out", "Image", slot_output);
    OwnerHandle sink = ownerWith("In", "Image", slot_input);
};

TEST_F(BufferSlotTest, AddBufferSlotDeclaresAReadOnlyTextPropertyOnce) {
    ASSERT_TRUE(owner.addBufferSlot("b", "Image", slot_input, "Images to show", false));
    EXPECT_FALSE(owner.addBufferSlot("b", "Object", slot_output, "second", true));
    EXPECT_FALSE(owner.addBufferSlot("Name", "Image", slot_input, "", false));
    ASSERT_TRUE(owner.addBufferSlot("C", "Image", slot_input, "", false));
    EXPECT_EQ(owner.bufferSlotIds(), (Ids{"C", "b"}));
    PropertyInfo info;
    ASSERT_TRUE(owner.propertyInfo("b", &info));
    EXPECT_TRUE(info.type == string_property && info.access == read_access && info.category == 2);
    EXPECT_EQ(info.description, "Images to show");
    EXPECT_FALSE(owner.setProperty("b", "SomeBuffer"));
    std::string elementType;
    buffer_slot_type direction = slot_output;
    ASSERT_TRUE(owner.bufferSlotInfo("b", &elementType, &direction, nullptr, nullptr));
    EXPECT_TRUE(elementType == "Image" && direction == slot_input) << "the first slot stays";
    EXPECT_FALSE(owner.bufferSlotInfo("Out", &elementType, nullptr, nullptr, nullptr));
}

TEST_F(BufferSlotTest, SetBufferSlotChecksTheBufferAndRecordsItsName) {
    owner.addBufferSlot("In", "Image", slot_input, "", false);
    ASSERT_TRUE(owner.setBufferSlot("In", makeBuffer("ImageFifo", "Images").rawPtr(), slot_input));
    EXPECT_EQ(textOf(owner, "In"), "Images");
    EXPECT_TRUE(owner.bufferSlot("In").isNull()) << "binding waits for the start";
    EXPECT_FALSE(owner.setBufferSlot("In", makeBuffer("ObjectFifo").rawPtr(), slot_input));
    EXPECT_FALSE(owner.setBufferSlot("In", makeBuffer("ImageFifo").rawPtr(), slot_output));
    EXPECT_FALSE(owner.setBufferSlot("In", nullptr, slot_input));
    EXPECT_FALSE(owner.setBufferSlot("Other", makeBuffer("ImageFifo").rawPtr(), slot_input));
    EXPECT_EQ(textOf(owner, "In"), "Images");
    EXPECT_TRUE(owner.unsetBufferSlot("In"));
    EXPECT_EQ(textOf(owner, "In"), "");
    EXPECT_TRUE(owner.unsetBufferSlot("Unknown"));
}

TEST_F(BufferSlotTest, InitBindsAndFlushesAndACopyHasNoBoundBuffer) {
    BufferRefPtr buffer = boundSlot("In", slot_input);
    asText(buffer).push("left over");
    buffer->notifyAndAbort();
    owner.addBufferSlot("Opt", "string", slot_input, "", true);
    ASSERT_TRUE(owner.initBufferSlots());
    EXPECT_EQ(owner.bufferSlot("In"), buffer);
    EXPECT_EQ(buffer->size(), 0);
    EXPECT_TRUE(asText(buffer).push("fresh")) << "the abort of an earlier stop is cleared";
    SlotOwner copy(owner);
    EXPECT_EQ(copy.bufferSlotIds(), (Ids{"In", "Opt"}));
    EXPECT_EQ(textOf(copy, "In"), textOf(owner, "In"));
    EXPECT_TRUE(copy.bufferSlot("In").isNull());
    EXPECT_TRUE(owner.releaseBufferSlots());
    EXPECT_TRUE(owner.bufferSlot("In").isNull());
    EXPECT_NE(textOf(owner, "In"), "") << "the name stays for the next start";
}

TEST_F(BufferSlotTest, InitBufferSlotsFailsForAMissingRequiredBufferButBindsTheOthers) {
    owner.addBufferSlot("A", "string", slot_input, "", false);
    BufferRefPtr gone = boundSlot("B", slot_input);
    BufferRefPtr kept = boundSlot("C", slot_output);
    manager->releaseInstance(gone->name().c_str());
    EXPECT_FALSE(owner.initBufferSlots());
    EXPECT_TRUE(owner.bufferSlot("A").isNull() && owner.bufferSlot("B").isNull());
    EXPECT_EQ(owner.bufferSlot("C"), kept);
}

TEST_F(BufferSlotTest, NotifyAndAbortAllBuffersAbortsAndFlushAllBuffersRestores) {
    BufferRefPtr in = boundSlot("In", slot_input);
    BufferRefPtr out = boundSlot("Out", slot_output);
    ASSERT_TRUE(owner.initBufferSlots());
    asText(out).push("queued");
    owner.notifyAndAbortAllBuffers();
    EXPECT_FALSE(asText(in).push("x") || asText(out).push("x"));
    owner.flushAllBuffers();
    EXPECT_EQ(out->size(), 0);
    EXPECT_TRUE(asText(in).push("x"));
}

TEST_F(BufferSlotTest, BufferHoldsWhatItWasGivenUntilDisconnected) {
    BufferRefPtr buffer = makeBuffer();
    EXPECT_FALSE(buffer->connectSource(BufferSlotPtrWrapper(), "Out"));
    EXPECT_FALSE(buffer->disconnectSource()) << "nothing was stored";
    const int before = SlotOwner::live.load();
    ASSERT_TRUE(buffer->connectSource(source, "Out"));
    source = OwnerHandle();
    EXPECT_EQ(SlotOwner::live.load(), before);
    EXPECT_TRUE(buffer->disconnectSource());
    EXPECT_EQ(SlotOwner::live.load(), before - 1);
    EXPECT_FALSE(buffer->disconnectSource());
    EXPECT_FALSE(buffer->connectSink(sink, "NoSuchSlot"));
    EXPECT_TRUE(buffer->disconnectSink()) << "a refused binding stays stored";
    EXPECT_FALSE(buffer->disconnectSink());
}

TEST_F(BufferSlotTest, FreeConnectWiresBothSlotsOrNeither) {
    BufferRefPtr buffer = makeBuffer();
    EXPECT_FALSE(connect(BufferSlotPtrWrapper(), "Out", buffer, sink, "In"));
    EXPECT_FALSE(connect(source, "Out", BufferRefPtr(), sink, "In"));
    EXPECT_FALSE(connect(source, "Out", buffer, BufferSlotPtrWrapper(), "In"));
    EXPECT_FALSE(connect(source, "Out", buffer, sink, "NoSuchSlot"));
    EXPECT_EQ(textOf(*source, "Out"), "");
    EXPECT_FALSE(buffer->disconnectSource()) << "the source binding was undone";
    EXPECT_FALSE(buffer->disconnectSink());
    EXPECT_TRUE(connect(source, "Out", buffer, sink, "In"));
    EXPECT_EQ(textOf(*source, "Out"), buffer->name());
    EXPECT_EQ(textOf(*sink, "In"), buffer->name());
    EXPECT_TRUE(disconnect(buffer));
    EXPECT_EQ(textOf(*source, "Out") + textOf(*sink, "In"), "");
    // With only a source, disconnect fails but still unbinds it.
    ASSERT_TRUE(buffer->connectSource(source, "Out"));
    EXPECT_FALSE(disconnect(buffer));
    EXPECT_EQ(textOf(*source, "Out"), "");
    EXPECT_FALSE(buffer->disconnectSource());
}

// Only BufferRing selects a ring; "string" slots map to the "String" buffer types.
TEST_F(BufferSlotTest, ManagerConnectChoosesTheTypeFromSlotsAndDiscipline) {
    const std::tuple<const char*, BufferType, const char*> cases[] = {
        {"Image", BufferRing, "ImageRing"},
        {"Image", BufferFifo, "ImageFifo"},
        {"Image", static_cast<BufferType>(7), "ImageFifo"},
        {"string", BufferRing, "StringRing"}};
    for (const auto& [elementType, requested, type] : cases) {
        SCOPED_TRACE(type);
        OwnerHandle from = ownerWith("Out", elementType, slot_output);
        OwnerHandle to = ownerWith("In", elementType, slot_input);
        BufferRefPtr buffer = manager->connect(from, "Out", to, "In", requested, 5);
        ASSERT_TRUE(buffer.isValid());
        EXPECT_EQ(buffer->type(), type);
        EXPECT_EQ(buffer->maxSize(), 5);
        EXPECT_EQ(textOf(*buffer, "ElementType"), elementType);
        EXPECT_EQ(manager->instance(buffer->name().c_str()), buffer);
        EXPECT_EQ(textOf(*from, "Out"), buffer->name());
        EXPECT_EQ(textOf(*to, "In"), buffer->name());
        manager->disconnect(to, "In");
        EXPECT_EQ(manager->instanceCount(), 0u);
        EXPECT_EQ(textOf(*from, "Out"), "");
    }
}

TEST_F(BufferSlotTest, ManagerConnectFailureAndDisconnectOfAnUnwiredSlotLeaveNoTrace) {
    OwnerHandle objects = ownerWith("In", "Object", slot_input);
    OwnerHandle secondSource = ownerWith("Out", "Image", slot_output);
    EXPECT_TRUE(manager->connect(source, "Out", objects, "In", 5).isNull());
    EXPECT_TRUE(manager->connect(source, "Out", secondSource, "Out", 5).isNull());
    EXPECT_TRUE(manager->connect(BufferSlotPtrWrapper(), "Out", sink, "In", 5).isNull());
    EXPECT_TRUE(manager->connect(source, "Out", BufferSlotPtrWrapper(), "In", 5).isNull());
    EXPECT_TRUE(manager->connect(source, "Nothing", sink, "In", 5).isNull());
    // Sizes that cannot be met are refused before anything is allocated (a ring
    // allocates every slot up front: asking for 2^31 of them would not return).
    for (const BufferType discipline : {BufferFifo, BufferRing}) {
        EXPECT_TRUE(manager->connect(source, "Out", sink, "In", discipline, -1).isNull());
        EXPECT_TRUE(manager->connect(source, "Out", sink, "In", discipline, INT_MIN).isNull());
    }
    EXPECT_TRUE(manager->connect(source, "Out", sink, "In", BufferRing, INT_MAX).isNull());
    EXPECT_TRUE(manager->connect(source, "Out", sink, "In", BufferRing, (1 << 24) + 1).isNull());
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_EQ(textOf(*source, "Out") + textOf(*sink, "In") + textOf(*secondSource, "Out"), "");

    BufferRefPtr buffer = manager->connect(source, "Out", sink, "In", 5);
    EXPECT_EQ(buffer->type(), "ImageFifo");
    manager->disconnect(objects, "In");
    manager->disconnect(BufferSlotPtrWrapper(), "In");
    manager->disconnect(sink, "NoSuchSlot");
    EXPECT_EQ(manager->instanceCount(), 1u);
    EXPECT_EQ(textOf(*sink, "In"), buffer->name());
    manager->disconnect(sink, "In");
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_EQ(textOf(*source, "Out") + textOf(*sink, "In"), "");
    EXPECT_FALSE(buffer->disconnectSource()) << "both sides are gone";
}

// A named handle in the manner of DeviceRefPtr: a RefPtr subclass without fields.
struct NamedRefPtr : RefPtr<SlotOwner> {
    using RefPtr<SlotOwner>::RefPtr;
};

// Keeping the wrapped object alive is checked through a buffer's source above.
TEST(PtrWrapper, YieldsTheInterfaceAndComparesByObject) {
    EXPECT_TRUE(!ProcessPtrWrapper());
    EXPECT_TRUE(BufferSlotPtrWrapper(OwnerHandle()).isNull());
    KorvaneTest::ProcessHandle process = KorvaneTest::makeProcess();
    EXPECT_EQ(ProcessPtrWrapper(process).rawPtr(),
              static_cast<ProcessInterface*>(process.rawPtr()));
    EXPECT_EQ(BufferSlotPtrWrapper(process).rawPtr(),
              static_cast<BufferSlotInterface*>(process.rawPtr()));
    NamedRefPtr owner(new SlotOwner, nullptr);
    BufferSlotPtrWrapper a(owner);
    EXPECT_EQ(a.rawPtr(), owner.rawPtr());
    EXPECT_TRUE(a == BufferSlotPtrWrapper(OwnerHandle(owner)));
    EXPECT_TRUE(a != BufferSlotPtrWrapper(KorvaneTest::makeOwner()));
    EXPECT_FALSE(a == BufferSlotPtrWrapper());
}

}  // namespace
