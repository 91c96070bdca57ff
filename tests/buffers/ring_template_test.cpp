#include <gtest/gtest.h>
#include <korvane/buffers/RingTemplate.h>

#include <memory>
#include <string>

#include "buffers/BufferTestSupport.h"

using namespace Korvane;
using KorvaneTest::CountedEvent;
using KorvaneTest::CountedImage;
using KorvaneTest::makeImage;
using KorvaneTest::serialOf;
using KorvaneTest::setSwitch;
using KorvaneTest::textOf;

namespace {
using StringRing = RingTemplate<std::string>;
}  // namespace

TEST(RingTemplate, FullRingOverwritesTheOldest) {
    StringRing ring(2);
    EXPECT_TRUE(ring.push("a"));
    EXPECT_TRUE(ring.push("b"));
    EXPECT_TRUE(ring.push("c"));
    EXPECT_EQ(ring.size(), 2);
    std::string item;
    ASSERT_TRUE(ring.pop(item));
    EXPECT_EQ(item, "b");
    ASSERT_TRUE(ring.pop(item));
    EXPECT_EQ(item, "c");
}

TEST(RingTemplate, PushNeverFailsWhateverThePolicy) {
    for (const char* policy : {"Single-threaded", "Multi-threaded"}) {
        for (const char* block : {"Off", "On"}) {
            StringRing ring(2);
            setSwitch(ring, "ThreadingPolicy", policy);
            setSwitch(ring, "PushBlock", block);
            for (int i = 0; i < 5; ++i) EXPECT_TRUE(ring.push(std::to_string(i)));
            EXPECT_EQ(ring.size(), 2);
            std::string item;
            ASSERT_TRUE(ring.peek(item));
            EXPECT_EQ(item, "3");
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

TEST(RingTemplate, PopOnEmptyWithoutPopBlockFails) {
    for (const char* policy : {"Single-threaded", "Multi-threaded"}) {
        StringRing ring(2);
        setSwitch(ring, "ThreadingPolicy", policy);
        setSwitch(ring, "PopBlock", "Off");
        std::string item = "untouched";
        EXPECT_FALSE(ring.pop(item));
        EXPECT_EQ(item, "untouched");
    }
}

TEST(RingTemplate, PeekReturnsTheOldestTwice) {
    StringRing ring(3);
    ring.push("old");
    ring.push("new");
    std::string item;
    ASSERT_TRUE(ring.peek(item));
    ASSERT_TRUE(ring.peek(item));
    EXPECT_EQ(item, "old");
    EXPECT_EQ(ring.size(), 2);
}

TEST(RingTemplate, AbortFailsEveryOperationUntilFlush) {
    StringRing ring(3);
    ring.push("kept");
    ring.notifyAndAbort();
    std::string item;
    EXPECT_FALSE(ring.push("refused"));
    EXPECT_FALSE(ring.pop(item));
    EXPECT_FALSE(ring.peek(item));
    EXPECT_EQ(ring.size(), 1);
    ring.flush();
    EXPECT_EQ(ring.size(), 0);
    EXPECT_TRUE(ring.push("again"));
}

TEST(RingTemplate, NotifySinkAndNotifySourceAbortToo) {
    StringRing sink(2);
    sink.notifySink();
    EXPECT_FALSE(sink.push("a"));
    StringRing source(2);
    source.notifySource();
    EXPECT_FALSE(source.push("a"));
}

TEST(RingTemplate, StartsWithoutPushBlock) {
    StringRing ring(1);
    EXPECT_EQ(textOf(ring, "PushBlock"), "Off");
    EXPECT_EQ(textOf(ring, "PopBlock"), "On");
    EXPECT_EQ(textOf(ring, "ThreadingPolicy"), "Multi-threaded");
    EXPECT_EQ(ring.propertyDescription("PushBlock"),
              "Determines whether pushing into a full buffer will wait until a free slot "
              "becomes available.");
    EXPECT_EQ(textOf(ring, "ElementType"), "string");
    EXPECT_EQ(textOf(RingTemplate<ImgRefPtr>(1), "ElementType"), "Image");
}

TEST(RingTemplate, OverwriteReleasesTheOldestHandle) {
    const int before = CountedImage::live;
    RingTemplate<ImgRefPtr> ring(2);
    for (int serial = 1; serial <= 5; ++serial) ring.push(makeImage(serial));
    EXPECT_EQ(CountedImage::live - before, 2);
    ImgRefPtr item;
    ASSERT_TRUE(ring.pop(item));
    EXPECT_EQ(serialOf(item), 4);
}

TEST(RingTemplate, OverwriteDropsPointersWithoutDeleting) {
    CountedEvent first;
    CountedEvent second;
    const int before = CountedEvent::live;
    {
        RingTemplate<Event*> ring(1);
        ring.push(&first);
        ring.push(&second);
    }
    EXPECT_EQ(CountedEvent::live, before);
}

TEST(RingTemplate, CreateCopyHasTheGivenCapacity) {
    StringRing prototype(0);
    std::unique_ptr<Buffer> copy(prototype.createCopy(3));
    auto* ring = dynamic_cast<StringRing*>(copy.get());
    ASSERT_NE(ring, nullptr);
    for (int i = 0; i < 5; ++i) ring->push(std::to_string(i));
    EXPECT_EQ(ring->size(), 3);
    EXPECT_EQ(ring->maxSize(), 3);
}

TEST(RingTemplate, CopyStartsEmptyWithTheSourceCapacity) {
    StringRing source(2);
    source.push("a");
    StringRing copy(source);
    EXPECT_EQ(copy.size(), 0);
    for (int i = 0; i < 3; ++i) copy.push(std::to_string(i));
    EXPECT_EQ(copy.size(), 2);
}
