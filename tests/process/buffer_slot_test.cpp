#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/process/BufferSlotInterface.h>

#include <string>
#include <vector>

#include "support/BufferFixture.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using KorvaneTest::SlotOwner;
using KorvaneTest::textOf;

namespace {

class BufferSlotTest : public KorvaneTest::BufferManagerFixture {
protected:
    // A managed buffer of the given registered type.
    BufferRefPtr makeBuffer(const char* type, std::string name = std::string()) {
        BufferRefPtr buffer = manager->create(type, 4, name, true);
        EXPECT_TRUE(buffer.isValid()) << type;
        return buffer;
    }

    static FifoTemplate<std::string>& asText(const BufferRefPtr& buffer) {
        return dynamic_cast<FifoTemplate<std::string>&>(*buffer);
    }

    SlotOwner owner;
};

}  // namespace

TEST_F(BufferSlotTest, AddBufferSlotDeclaresAReadOnlyTextProperty) {
    ASSERT_TRUE(owner.addBufferSlot("In", "Image", slot_input, "Images to show", false));
    PropertyInfo info;
    ASSERT_TRUE(owner.propertyInfo("In", &info));
    EXPECT_EQ(info.type, string_property);
    EXPECT_EQ(info.access, read_access);
    EXPECT_EQ(info.category, 2);
    EXPECT_EQ(info.description, "Images to show");
    EXPECT_EQ(textOf(owner, "In"), "");
    EXPECT_FALSE(owner.setProperty("In", "SomeBuffer"));
}

TEST_F(BufferSlotTest, AddBufferSlotRefusesATakenIdAndKeepsTheFirstSlot) {
    ASSERT_TRUE(owner.addBufferSlot("In", "Image", slot_input, "first", false));
    EXPECT_FALSE(owner.addBufferSlot("In", "Object", slot_output, "second", true));
    EXPECT_FALSE(owner.addBufferSlot("Name", "Image", slot_input, "", false));
    std::string elementType;
    buffer_slot_type direction = slot_output;
    ASSERT_TRUE(owner.bufferSlotInfo("In", &elementType, &direction, nullptr, nullptr));
    EXPECT_EQ(elementType, "Image");
    EXPECT_EQ(direction, slot_input);
    EXPECT_EQ(owner.bufferSlotIds(), std::vector<std::string>{"In"});
    EXPECT_FALSE(owner.bufferSlotInfo("Out", &elementType, nullptr, nullptr, nullptr));
}

TEST_F(BufferSlotTest, BufferSlotIdsComeInIdOrder) {
    owner.addBufferSlot("b", "Image", slot_input, "", false);
    owner.addBufferSlot("C", "Image", slot_input, "", false);
    owner.addBufferSlot("a", "Image", slot_output, "", false);
    EXPECT_EQ(owner.bufferSlotIds(), (std::vector<std::string>{"C", "a", "b"}));
}

TEST_F(BufferSlotTest, SetBufferSlotRecordsTheBufferName) {
    owner.addBufferSlot("In", "string", slot_input, "", false);
    BufferRefPtr buffer = makeBuffer("StringFifo", "Texts");
    ASSERT_TRUE(owner.setBufferSlot("In", buffer.rawPtr(), slot_input));
    EXPECT_EQ(textOf(owner, "In"), "Texts");
    EXPECT_TRUE(owner.bufferSlot("In").isNull()) << "binding waits for the start";
}

TEST_F(BufferSlotTest, SetBufferSlotRefusesAnotherElementTypeAndKeepsTheProperty) {
    owner.addBufferSlot("In", "Image", slot_input, "", false);
    ASSERT_TRUE(owner.setBufferSlot("In", makeBuffer("ImageFifo", "Images").rawPtr(), slot_input));
    EXPECT_FALSE(owner.setBufferSlot("In", makeBuffer("ObjectFifo").rawPtr(), slot_input));
    EXPECT_EQ(textOf(owner, "In"), "Images");
}

TEST_F(BufferSlotTest, SetBufferSlotRefusesAnotherDirection) {
    owner.addBufferSlot("In", "Image", slot_input, "", false);
    EXPECT_FALSE(owner.setBufferSlot("In", makeBuffer("ImageFifo").rawPtr(), slot_output));
    EXPECT_EQ(textOf(owner, "In"), "");
}

TEST_F(BufferSlotTest, SetBufferSlotRefusesANullBufferAndAnUnknownSlot) {
    owner.addBufferSlot("In", "Image", slot_input, "", false);
    EXPECT_FALSE(owner.setBufferSlot("In", nullptr, slot_input));
    EXPECT_FALSE(owner.setBufferSlot("Other", makeBuffer("ImageFifo").rawPtr(), slot_input));
}

TEST_F(BufferSlotTest, UnsetBufferSlotClearsTheName) {
    owner.addBufferSlot("In", "Image", slot_input, "", false);
    owner.setBufferSlot("In", makeBuffer("ImageFifo").rawPtr(), slot_input);
    EXPECT_TRUE(owner.unsetBufferSlot("In"));
    EXPECT_EQ(textOf(owner, "In"), "");
    EXPECT_TRUE(owner.unsetBufferSlot("Unknown"));
}

TEST_F(BufferSlotTest, InitBufferSlotsBindsAndFlushesTheNamedBuffers) {
    owner.addBufferSlot("In", "string", slot_input, "", false);
    BufferRefPtr buffer = makeBuffer("StringFifo");
    owner.setBufferSlot("In", buffer.rawPtr(), slot_input);
    asText(buffer).push("left over");
    buffer->notifyAndAbort();

    ASSERT_TRUE(owner.initBufferSlots());
    EXPECT_EQ(owner.bufferSlot("In"), buffer);
    EXPECT_EQ(buffer->size(), 0);
    EXPECT_TRUE(asText(buffer).push("fresh")) << "the abort of an earlier stop is cleared";
}

TEST_F(BufferSlotTest, InitBufferSlotsFailsForAnEmptyRequiredSlotButBindsTheOthers) {
    owner.addBufferSlot("A", "string", slot_input, "", false);
    owner.addBufferSlot("B", "string", slot_output, "", false);
    BufferRefPtr buffer = makeBuffer("StringFifo");
    owner.setBufferSlot("B", buffer.rawPtr(), slot_output);

    EXPECT_FALSE(owner.initBufferSlots());
    EXPECT_TRUE(owner.bufferSlot("A").isNull());
    EXPECT_EQ(owner.bufferSlot("B"), buffer);
}

TEST_F(BufferSlotTest, InitBufferSlotsFailsWhenTheNamedBufferNoLongerExists) {
    owner.addBufferSlot("In", "string", slot_input, "", false);
    BufferRefPtr buffer = makeBuffer("StringFifo");
    owner.setBufferSlot("In", buffer.rawPtr(), slot_input);
    manager->releaseInstance(buffer->name().c_str());
    EXPECT_FALSE(owner.initBufferSlots());
    EXPECT_TRUE(owner.bufferSlot("In").isNull());
}

TEST_F(BufferSlotTest, InitBufferSlotsAcceptsAnEmptyOptionalSlot) {
    owner.addBufferSlot("In", "string", slot_input, "", true);
    EXPECT_TRUE(owner.initBufferSlots());
}

TEST_F(BufferSlotTest, ReleaseBufferSlotsUnbindsEverySlot) {
    owner.addBufferSlot("In", "string", slot_input, "", false);
    owner.setBufferSlot("In", makeBuffer("StringFifo").rawPtr(), slot_input);
    ASSERT_TRUE(owner.initBufferSlots());
    EXPECT_TRUE(owner.releaseBufferSlots());
    EXPECT_TRUE(owner.bufferSlot("In").isNull());
    EXPECT_NE(textOf(owner, "In"), "") << "the name stays for the next start";
}

TEST_F(BufferSlotTest, NotifyAndAbortAllBuffersAbortsAndFlushAllBuffersRestores) {
    owner.addBufferSlot("In", "string", slot_input, "", false);
    owner.addBufferSlot("Out", "string", slot_output, "", false);
    BufferRefPtr in = makeBuffer("StringFifo");
    BufferRefPtr out = makeBuffer("StringFifo");
    owner.setBufferSlot("In", in.rawPtr(), slot_input);
    owner.setBufferSlot("Out", out.rawPtr(), slot_output);
    ASSERT_TRUE(owner.initBufferSlots());
    asText(out).push("queued");

    owner.notifyAndAbortAllBuffers();
    EXPECT_FALSE(asText(in).push("x"));
    EXPECT_FALSE(asText(out).push("x"));

    owner.flushAllBuffers();
    EXPECT_EQ(out->size(), 0);
    EXPECT_TRUE(asText(in).push("x"));
}

TEST_F(BufferSlotTest, ACopyHasTheSlotsButNoBoundBuffer) {
    owner.addBufferSlot("In", "string", slot_input, "Texts", false);
    owner.setBufferSlot("In", makeBuffer("StringFifo", "Named").rawPtr(), slot_input);
    ASSERT_TRUE(owner.initBufferSlots());

    SlotOwner copy(owner);
    EXPECT_EQ(copy.bufferSlotIds(), std::vector<std::string>{"In"});
    EXPECT_EQ(textOf(copy, "In"), "Named");
    EXPECT_TRUE(copy.bufferSlot("In").isNull());
}
