#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>
#include <korvane/events/Event.h>
#include <korvane/log/LogItem.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "buffers/BufferTestSupport.h"

using namespace Korvane;
using KorvaneTest::CountedImage;
using KorvaneTest::makeImage;
using KorvaneTest::serialOf;
using KorvaneTest::setSwitch;
using KorvaneTest::textOf;

namespace {

using StringFifo = FifoTemplate<std::string>;
using StringRing = RingTemplate<std::string>;

const char* const policies[] = {"Single-threaded", "Multi-threaded"};

template <class B>
class BufferTemplateTest : public ::testing::Test {};
using StringBuffers = ::testing::Types<StringFifo, StringRing>;
TYPED_TEST_SUITE(BufferTemplateTest, StringBuffers);

}  // namespace

TYPED_TEST(BufferTemplateTest, DeclaresTheSwitchProperties) {
    const bool ring = std::is_same_v<TypeParam, StringRing>;
    struct Expected {
        const char* name;
        const char* off;  // the items of index 0 and 1
        const char* on;
        const char* initial;
        const char* description;
    };
    const Expected switches[] = {
        {"PushBlock", "Off", "On", ring ? "Off" : "On",
         "Determines whether pushing into a full buffer will wait until a free slot becomes "
         "available."},
        {"PopBlock", "Off", "On", "On",
         "Determines whether popping from an empty buffer will wait until an item is "
         "available."},
        {"ThreadingPolicy", "Single-threaded", "Multi-threaded", "Multi-threaded",
         "Determines whether thread-safe methods are used."},
    };
    TypeParam buffer(1);
    for (const Expected& expected : switches) {
        SCOPED_TRACE(expected.name);
        PropertyInfo info;
        ASSERT_TRUE(buffer.propertyInfo(expected.name, &info));
        EXPECT_EQ(info.type, enum_property);
        EXPECT_EQ(info.access, read_write_access);
        EXPECT_EQ(info.category, 0);
        EXPECT_EQ(info.description, expected.description);
        EXPECT_EQ(buffer.propertyEnumList(expected.name),
                  (std::vector<std::string>{expected.off, expected.on}));
        EXPECT_EQ(textOf(buffer, expected.name), expected.initial);
    }
    EXPECT_FALSE(buffer.setProperty("ElementType", "Image"));
    EXPECT_EQ(textOf(buffer, "ElementType"), "string");
}

TYPED_TEST(BufferTemplateTest, PopWithoutPopBlockFailsAtOnceAndPeekDoesNotRemove) {
    for (const char* policy : policies) {
        SCOPED_TRACE(policy);
        TypeParam buffer(3);
        setSwitch(buffer, "ThreadingPolicy", policy);
        setSwitch(buffer, "PopBlock", "Off");
        std::string item = "untouched";
        EXPECT_FALSE(buffer.pop(item));
        EXPECT_FALSE(buffer.popNoProfile(item));
        EXPECT_FALSE(buffer.peek(item));
        EXPECT_EQ(item, "untouched");
        buffer.push("old");
        buffer.push("new");
        for (int i = 0; i < 2; ++i) {
            ASSERT_TRUE(buffer.peek(item));
            EXPECT_EQ(item, "old");
        }
        EXPECT_EQ(buffer.size(), 2);
    }
}

TYPED_TEST(BufferTemplateTest, EveryAbortFailsEveryOperationAndKeepsTheContentsUntilFlush) {
    void (TypeParam::*const aborts[])() = {&TypeParam::notifyAndAbort, &TypeParam::notifySink,
                                           &TypeParam::notifySource};
    for (auto abort : aborts) {
        TypeParam buffer(3);
        buffer.push("kept");
        (buffer.*abort)();
        std::string item;
        EXPECT_FALSE(buffer.push("refused"));
        EXPECT_FALSE(buffer.pushNoProfile("refused"));
        EXPECT_FALSE(buffer.pop(item));
        EXPECT_FALSE(buffer.popNoProfile(item));
        EXPECT_FALSE(buffer.peek(item));
        EXPECT_EQ(buffer.size(), 1);

        buffer.flush();
        EXPECT_EQ(buffer.size(), 0);
        EXPECT_TRUE(buffer.push("again"));
        ASSERT_TRUE(buffer.pop(item));
        EXPECT_EQ(item, "again");
    }
}

TYPED_TEST(BufferTemplateTest, WritingMaxSizeDoesNotResize) {
    TypeParam buffer(1);
    setSwitch(buffer, "PushBlock", "Off");
    ASSERT_TRUE(buffer.setProperty("MaxSize", 5u));
    ASSERT_TRUE(buffer.endPropertyChange());
    EXPECT_EQ(buffer.maxSize(), 1);
    buffer.push("a");
    buffer.push("b");
    EXPECT_EQ(buffer.size(), 1);
}

TYPED_TEST(BufferTemplateTest, CreateCopyStartsEmptyWithTheInitialSwitches) {
    // The initial switches and the size asked for, as the manager makes buffers from
    // its prototypes of size 0.
    TypeParam source(1);
    setSwitch(source, "ThreadingPolicy", "Single-threaded");
    source.push("a");
    std::unique_ptr<Buffer> made(source.createCopy(3));
    auto* copy = dynamic_cast<TypeParam*>(made.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->size(), 0);
    EXPECT_EQ(textOf(*copy, "ThreadingPolicy"), "Multi-threaded");
    setSwitch(*copy, "PushBlock", "Off");
    for (int i = 0; i < 5; ++i) copy->push(std::to_string(i));
    EXPECT_EQ(copy->size(), 3);
}

TEST(BufferTemplate, PointerElementsAreNeverDeleted) {
    // Stack objects: a delete by the buffer would crash.
    UserEvent first("first");
    UserEvent second("second");
    {
        FifoTemplate<Event*> fifo(4);
        fifo.push(&first);
        fifo.flush();
        fifo.push(&first);
        fifo.push(&second);
    }
    {
        RingTemplate<Event*> ring(1);
        ring.push(&first);
        ring.push(&second);  // overwrites
    }
    EXPECT_EQ(textOf(FifoTemplate<LogItemInterface*>(1), "ElementType"), "");
    EXPECT_EQ(textOf(RingTemplate<LogItemInterface*>(1), "ElementType"), "");
}

TEST(FifoTemplate, FullFifoWithoutPushBlockRefusesFurtherItems) {
    for (const int maxSize : {2, 0}) {  // a FIFO of maximum size 0 is always full
        StringFifo fifo(maxSize);
        setSwitch(fifo, "PushBlock", "Off");
        for (int i = 0; i < maxSize; ++i) EXPECT_TRUE(fifo.push("a"));
        EXPECT_FALSE(fifo.push("b"));
        EXPECT_FALSE(fifo.pushNoProfile("b"));
        EXPECT_EQ(fifo.size(), maxSize);
    }
}

TEST(RingTemplate, FullRingOverwritesTheOldestWhateverTheSwitches) {
    for (const char* policy : policies) {
        for (const char* block : {"Off", "On"}) {
            SCOPED_TRACE(std::string(policy) + ", PushBlock " + block);
            StringRing ring(2);
            setSwitch(ring, "ThreadingPolicy", policy);
            setSwitch(ring, "PushBlock", block);
            for (const char* item : {"a", "b", "c"}) EXPECT_TRUE(ring.push(item));
            EXPECT_EQ(ring.size(), 2);
            std::string item;
            ASSERT_TRUE(ring.pop(item));
            EXPECT_EQ(item, "b");
            ASSERT_TRUE(ring.pop(item));
            EXPECT_EQ(item, "c");
        }
    }
}

TEST(RingTemplate, CapacityZeroStoresNothing) {
    StringRing ring(0);
    EXPECT_TRUE(ring.push("a"));
    EXPECT_EQ(ring.size(), 0);
    setSwitch(ring, "PopBlock", "Off");
    std::string item;
    EXPECT_FALSE(ring.pop(item));
}

TEST(BufferTemplate, HandlesLiveWhileHeldAndAreReleasedWhenTheyLeave) {
    const int before = CountedImage::live;
    {
        FifoTemplate<ImgRefPtr> fifo(4);
        RingTemplate<ImgRefPtr> ring(2);
        for (int serial = 1; serial <= 3; ++serial) fifo.push(makeImage(serial));
        for (int serial = 1; serial <= 5; ++serial) ring.push(makeImage(serial));
        EXPECT_EQ(CountedImage::live - before, 5) << "the ring released what it overwrote";
        ImgRefPtr item = makeImage(0);
        ASSERT_TRUE(fifo.pop(item));  // releases image 0
        EXPECT_EQ(serialOf(item), 1);
        ASSERT_TRUE(ring.pop(item));
        EXPECT_EQ(serialOf(item), 4);
        item = ImgRefPtr();
        EXPECT_EQ(CountedImage::live - before, 3);
        fifo.flush();
        EXPECT_EQ(CountedImage::live - before, 1);
    }
    EXPECT_EQ(CountedImage::live - before, 0);
}
