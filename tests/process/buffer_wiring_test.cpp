#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>
#include <korvane/image/Image.h>
#include <korvane/process/BufferSlotInterface.h>

#include <string>

#include "support/BufferFixture.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using KorvaneTest::makeOwner;
using KorvaneTest::OwnerHandle;
using KorvaneTest::SlotOwner;
using KorvaneTest::textOf;

namespace {

// A source with an output slot "Out" and a sink with an input slot "In" of the
// element types given, plus a few slots of the other kinds.
class BufferWiringTest : public KorvaneTest::BufferManagerFixture {
protected:
    static OwnerHandle ownerWith(const char* id, const char* elementType,
                                 buffer_slot_type direction) {
        OwnerHandle owner = makeOwner();
        EXPECT_TRUE(owner->addBufferSlot(id, elementType, direction, "", false));
        return owner;
    }

    BufferRefPtr makeBuffer(const char* type) {
        std::string name;
        return manager->create(type, 4, name, true);
    }

    OwnerHandle source = ownerWith("Out", "Image", slot_output);
    OwnerHandle sink = ownerWith("In", "Image", slot_input);
};

}  // namespace

TEST_F(BufferWiringTest, ConnectWithANullWrapperFails) {
    BufferRefPtr buffer = makeBuffer("ImageFifo");
    EXPECT_FALSE(buffer->connectSource(BufferSlotPtrWrapper(), "Out"));
    EXPECT_FALSE(buffer->connectSink(BufferSlotPtrWrapper(), "In"));
    EXPECT_FALSE(buffer->disconnectSource()) << "nothing was stored";
}

TEST_F(BufferWiringTest, ARefusedBindingStaysStoredUntilDisconnected) {
    BufferRefPtr buffer = makeBuffer("ImageFifo");
    EXPECT_FALSE(buffer->connectSink(source, "Out")) << "an output slot cannot be a sink";
    EXPECT_TRUE(buffer->disconnectSink());
    EXPECT_FALSE(buffer->disconnectSink());
}

TEST_F(BufferWiringTest, DisconnectUnbindsAndForgetsTheOwner) {
    BufferRefPtr buffer = makeBuffer("ImageFifo");
    const int before = SlotOwner::live.load();
    ASSERT_TRUE(buffer->connectSource(source, "Out"));
    source = OwnerHandle();
    EXPECT_EQ(SlotOwner::live.load(), before) << "the buffer keeps its source alive";
    EXPECT_TRUE(buffer->disconnectSource());
    EXPECT_EQ(SlotOwner::live.load(), before - 1);
    EXPECT_FALSE(buffer->disconnectSource());
}

TEST_F(BufferWiringTest, FreeConnectWiresBothSlots) {
    BufferRefPtr buffer = makeBuffer("ImageFifo");
    EXPECT_TRUE(connect(source, "Out", buffer, sink, "In"));
    EXPECT_EQ(textOf(*source, "Out"), buffer->name());
    EXPECT_EQ(textOf(*sink, "In"), buffer->name());
    EXPECT_TRUE(disconnect(buffer));
    EXPECT_EQ(textOf(*source, "Out"), "");
    EXPECT_EQ(textOf(*sink, "In"), "");
}

TEST_F(BufferWiringTest, FreeConnectFailsAtOnceForNullArguments) {
    BufferRefPtr buffer = makeBuffer("ImageFifo");
    EXPECT_FALSE(connect(BufferSlotPtrWrapper(), "Out", buffer, sink, "In"));
    EXPECT_FALSE(connect(source, "Out", BufferRefPtr(), sink, "In"));
    EXPECT_FALSE(connect(source, "Out", buffer, BufferSlotPtrWrapper(), "In"));
    EXPECT_FALSE(buffer->disconnectSource()) << "nothing was touched";
}

TEST_F(BufferWiringTest, FreeConnectUndoesTheSourceWhenTheSinkRefuses) {
    BufferRefPtr buffer = makeBuffer("ImageFifo");
    EXPECT_FALSE(connect(source, "Out", buffer, sink, "NoSuchSlot"));
    EXPECT_EQ(textOf(*source, "Out"), "");
    EXPECT_FALSE(buffer->disconnectSource());
    EXPECT_FALSE(buffer->disconnectSink());
}

TEST_F(BufferWiringTest, FreeDisconnectWithOnlyASourceFailsButUnbindsIt) {
    BufferRefPtr buffer = makeBuffer("ImageFifo");
    ASSERT_TRUE(buffer->connectSource(source, "Out"));
    EXPECT_FALSE(disconnect(buffer));
    EXPECT_EQ(textOf(*source, "Out"), "");
    EXPECT_FALSE(buffer->disconnectSource());
}

TEST_F(BufferWiringTest, ManagerConnectMakesAFifoByDefault) {
    BufferRefPtr buffer = manager->connect(source, "Out", sink, "In", 3);
    ASSERT_TRUE(buffer.isValid());
    EXPECT_EQ(buffer->type(), "ImageFifo");
    EXPECT_EQ(buffer->maxSize(), 3);
    EXPECT_EQ(manager->instance(buffer->name().c_str()), buffer);
    EXPECT_EQ(textOf(*source, "Out"), buffer->name());
    EXPECT_EQ(textOf(*sink, "In"), buffer->name());
}

TEST_F(BufferWiringTest, ManagerConnectMakesARingOnRequest) {
    BufferRefPtr buffer = manager->connect(source, "Out", sink, "In", BufferRing, 5);
    ASSERT_TRUE(buffer.isValid());
    EXPECT_EQ(buffer->type(), "ImageRing");
    EXPECT_NE(dynamic_cast<RingTemplate<ImgRefPtr>*>(buffer.rawPtr()), nullptr);
    EXPECT_EQ(buffer->maxSize(), 5);
    EXPECT_EQ(textOf(*buffer, "ElementType"), "Image");
}

TEST_F(BufferWiringTest, ManagerConnectMakesAFifoForAnyOtherType) {
    BufferRefPtr buffer =
        manager->connect(source, "Out", sink, "In", static_cast<BufferType>(7), 5);
    ASSERT_TRUE(buffer.isValid());
    EXPECT_EQ(buffer->type(), "ImageFifo");
    EXPECT_NE(dynamic_cast<FifoTemplate<ImgRefPtr>*>(buffer.rawPtr()), nullptr);
}

TEST_F(BufferWiringTest, ManagerConnectWiresTwoStringSlots) {
    OwnerHandle textSource = ownerWith("Out", "string", slot_output);
    OwnerHandle textSink = ownerWith("In", "string", slot_input);
    BufferRefPtr buffer = manager->connect(textSource, "Out", textSink, "In", 2);
    ASSERT_TRUE(buffer.isValid());
    EXPECT_EQ(buffer->type(), "StringFifo");
    EXPECT_EQ(textOf(*buffer, "ElementType"), "string");
    EXPECT_EQ(textOf(*textSink, "In"), buffer->name());
}

TEST_F(BufferWiringTest, ManagerConnectRefusesDifferentElementTypes) {
    OwnerHandle objects = ownerWith("In", "Object", slot_input);
    EXPECT_TRUE(manager->connect(source, "Out", objects, "In", 5).isNull());
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_EQ(textOf(*source, "Out"), "");
}

TEST_F(BufferWiringTest, ManagerConnectRefusesNullWrappersAndUnknownSlots) {
    EXPECT_TRUE(manager->connect(BufferSlotPtrWrapper(), "Out", sink, "In", 5).isNull());
    EXPECT_TRUE(manager->connect(source, "Out", BufferSlotPtrWrapper(), "In", 5).isNull());
    EXPECT_TRUE(manager->connect(source, "Nothing", sink, "In", 5).isNull());
    EXPECT_EQ(manager->instanceCount(), 0u);
}

TEST_F(BufferWiringTest, ManagerConnectUndoesEverythingWhenTheSinkRefuses) {
    OwnerHandle secondSource = ownerWith("Out", "Image", slot_output);
    EXPECT_TRUE(manager->connect(source, "Out", secondSource, "Out", 5).isNull());
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_EQ(textOf(*source, "Out"), "");
    EXPECT_EQ(textOf(*secondSource, "Out"), "");
}

TEST_F(BufferWiringTest, ManagerDisconnectUnwiresAndReleasesTheBuffer) {
    BufferRefPtr buffer = manager->connect(source, "Out", sink, "In", 5);
    ASSERT_TRUE(buffer.isValid());
    manager->disconnect(sink, "In");
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_EQ(textOf(*source, "Out"), "");
    EXPECT_EQ(textOf(*sink, "In"), "");
    EXPECT_FALSE(buffer->disconnectSource()) << "both sides are gone";
}

TEST_F(BufferWiringTest, ManagerDisconnectOfAnEmptySlotDoesNothing) {
    BufferRefPtr buffer = manager->connect(source, "Out", sink, "In", 5);
    OwnerHandle unwired = ownerWith("In", "Image", slot_input);
    manager->disconnect(unwired, "In");
    manager->disconnect(BufferSlotPtrWrapper(), "In");
    manager->disconnect(sink, "NoSuchSlot");
    EXPECT_EQ(manager->instanceCount(), 1u);
    EXPECT_EQ(textOf(*sink, "In"), buffer->name());
}
