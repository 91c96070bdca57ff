#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>

#include <memory>
#include <string>
#include <vector>

#include "buffers/BufferTestSupport.h"

using namespace Korvane;
using KorvaneTest::CountedEvent;
using KorvaneTest::CountedImage;
using KorvaneTest::makeImage;
using KorvaneTest::serialOf;
using KorvaneTest::setSwitch;
using KorvaneTest::textOf;

namespace {

using StringFifo = FifoTemplate<std::string>;

// Each combination of threading policy and blocking that must behave alike on one thread.
const std::vector<std::vector<std::pair<const char*, const char*>>> everyWorker = {
    {{"ThreadingPolicy", "Single-threaded"}, {"PushBlock", "Off"}, {"PopBlock", "Off"}},
    {{"ThreadingPolicy", "Single-threaded"}, {"PushBlock", "On"}, {"PopBlock", "On"}},
    {{"ThreadingPolicy", "Multi-threaded"}, {"PushBlock", "Off"}, {"PopBlock", "Off"}},
    {{"ThreadingPolicy", "Multi-threaded"}, {"PushBlock", "On"}, {"PopBlock", "On"}},
};

void useWorker(PropertyInterface& buffer,
               const std::vector<std::pair<const char*, const char*>>& switches) {
    for (const auto& [name, item] : switches) setSwitch(buffer, name, item);
}

}  // namespace

TEST(FifoTemplate, FullFifoWithoutPushBlockRefusesFurtherItems) {
    StringFifo fifo(2);
    setSwitch(fifo, "PushBlock", "Off");
    EXPECT_TRUE(fifo.push("a"));
    EXPECT_TRUE(fifo.push("b"));
    EXPECT_FALSE(fifo.push("c"));
    EXPECT_EQ(fifo.size(), 2);
}

TEST(FifoTemplate, MaximumSizeZeroIsAlwaysFull) {
    StringFifo fifo(0);
    setSwitch(fifo, "PushBlock", "Off");
    EXPECT_FALSE(fifo.push("a"));
    EXPECT_EQ(fifo.size(), 0);
}

TEST(FifoTemplate, EveryWorkerKeepsFirstInFirstOutOrder) {
    for (const auto& switches : everyWorker) {
        StringFifo fifo(8);
        useWorker(fifo, switches);
        for (const char* item : {"1", "2", "3"}) ASSERT_TRUE(fifo.push(item));
        std::string item;
        for (const char* expected : {"1", "2", "3"}) {
            ASSERT_TRUE(fifo.pop(item));
            EXPECT_EQ(item, expected);
        }
        EXPECT_EQ(fifo.size(), 0);
    }
}

TEST(FifoTemplate, OrderHoldsOverManyRecycledNodes) {
    StringFifo fifo(100);
    int next = 0;
    int expected = 0;
    std::string item;
    for (int round = 0; round < 200; ++round) {
        const int pushes = round % 7 + 1;
        for (int i = 0; i < pushes && fifo.size() < 100; ++i)
            ASSERT_TRUE(fifo.push(std::to_string(next++)));
        const int pops = round % 5 + 1;
        for (int i = 0; i < pops && fifo.size() > 0; ++i) {
            ASSERT_TRUE(fifo.pop(item));
            ASSERT_EQ(item, std::to_string(expected++));
        }
    }
    EXPECT_EQ(fifo.size(), next - expected);
}

TEST(FifoTemplate, PopOnEmptyWithoutPopBlockFailsAndKeepsTheArgument) {
    for (const char* policy : {"Single-threaded", "Multi-threaded"}) {
        StringFifo fifo(2);
        setSwitch(fifo, "ThreadingPolicy", policy);
        setSwitch(fifo, "PopBlock", "Off");
        std::string item = "untouched";
        EXPECT_FALSE(fifo.pop(item));
        EXPECT_EQ(item, "untouched");
    }
}

TEST(FifoTemplate, PeekReturnsTheFrontTwiceWithoutRemovingIt) {
    StringFifo fifo(4);
    fifo.push("front");
    fifo.push("back");
    std::string item;
    ASSERT_TRUE(fifo.peek(item));
    EXPECT_EQ(item, "front");
    item.clear();
    ASSERT_TRUE(fifo.peek(item));
    EXPECT_EQ(item, "front");
    EXPECT_EQ(fifo.size(), 2);
}

TEST(FifoTemplate, PeekOnEmptyFails) {
    StringFifo fifo(4);
    std::string item = "untouched";
    EXPECT_FALSE(fifo.peek(item));
    EXPECT_EQ(item, "untouched");
}

TEST(FifoTemplate, AbortFailsEveryOperationButKeepsTheContents) {
    StringFifo fifo(4);
    fifo.push("kept");
    fifo.notifyAndAbort();
    std::string item;
    EXPECT_FALSE(fifo.push("refused"));
    EXPECT_FALSE(fifo.pop(item));
    EXPECT_FALSE(fifo.peek(item));
    EXPECT_FALSE(fifo.pushNoProfile("refused"));
    EXPECT_FALSE(fifo.popNoProfile(item));
    EXPECT_EQ(fifo.size(), 1);
}

TEST(FifoTemplate, NotifySinkAndNotifySourceAbortToo) {
    StringFifo sink(4);
    sink.notifySink();
    EXPECT_FALSE(sink.push("a"));
    StringFifo source(4);
    source.notifySource();
    EXPECT_FALSE(source.push("a"));
}

TEST(FifoTemplate, FlushEmptiesAndEndsTheAbort) {
    StringFifo fifo(4);
    fifo.push("a");
    fifo.push("b");
    fifo.notifyAndAbort();
    fifo.flush();
    EXPECT_EQ(fifo.size(), 0);
    EXPECT_TRUE(fifo.push("c"));
    std::string item;
    ASSERT_TRUE(fifo.pop(item));
    EXPECT_EQ(item, "c");
}

TEST(FifoTemplate, NoProfileFormsBehaveLikePushAndPop) {
    StringFifo fifo(1);
    setSwitch(fifo, "PushBlock", "Off");
    setSwitch(fifo, "PopBlock", "Off");
    EXPECT_TRUE(fifo.pushNoProfile("a"));
    EXPECT_FALSE(fifo.pushNoProfile("b"));
    std::string item;
    EXPECT_TRUE(fifo.popNoProfile(item));
    EXPECT_EQ(item, "a");
    EXPECT_FALSE(fifo.popNoProfile(item));
}

TEST(FifoTemplate, DeclaresTheSwitchProperties) {
    StringFifo fifo(3);
    const std::vector<std::string> offOn = {"Off", "On"};
    const std::vector<std::string> policies = {"Single-threaded", "Multi-threaded"};
    struct Expected {
        const char* name;
        const std::vector<std::string>& items;
        const char* initial;
        const char* description;
    };
    const Expected switches[] = {
        {"PushBlock", offOn, "On",
         "Determines whether pushing into a full buffer will wait until a free slot becomes "
         "available."},
        {"PopBlock", offOn, "On",
         "Determines whether popping from an empty buffer will wait until an item is "
         "available."},
        {"ThreadingPolicy", policies, "Multi-threaded",
         "Determines whether thread-safe methods are used."},
    };
    for (const Expected& expected : switches) {
        SCOPED_TRACE(expected.name);
        PropertyInfo info;
        ASSERT_TRUE(fifo.propertyInfo(expected.name, &info));
        EXPECT_EQ(info.type, enum_property);
        EXPECT_EQ(info.access, read_write_access);
        EXPECT_EQ(info.category, 0);
        EXPECT_EQ(info.description, expected.description);
        EXPECT_EQ(fifo.propertyEnumList(expected.name), expected.items);
        EXPECT_EQ(textOf(fifo, expected.name), expected.initial);
    }
}

TEST(FifoTemplate, ElementTypeNamesEachElementType) {
    EXPECT_EQ(textOf(FifoTemplate<Event*>(1), "ElementType"), "Event");
    EXPECT_EQ(textOf(FifoTemplate<LogItemInterface*>(1), "ElementType"), "");
    EXPECT_EQ(textOf(FifoTemplate<std::string>(1), "ElementType"), "string");
    EXPECT_EQ(textOf(FifoTemplate<ImgRefPtr>(1), "ElementType"), "Image");
    EXPECT_EQ(textOf(FifoTemplate<ObjectRefPtr>(1), "ElementType"), "Object");
}

TEST(FifoTemplate, ElementTypeIsReadOnly) {
    StringFifo fifo(1);
    EXPECT_FALSE(fifo.setProperty("ElementType", "Image"));
    EXPECT_EQ(textOf(fifo, "ElementType"), "string");
}

TEST(FifoTemplate, WritingMaxSizeDoesNotResize) {
    StringFifo fifo(1);
    setSwitch(fifo, "PushBlock", "Off");
    ASSERT_TRUE(fifo.setProperty("MaxSize", 5u));
    ASSERT_TRUE(fifo.endPropertyChange());
    EXPECT_EQ(fifo.maxSize(), 1);
    EXPECT_TRUE(fifo.push("a"));
    EXPECT_FALSE(fifo.push("b"));
}

TEST(FifoTemplate, SwitchWritesTakeEffectOnlyWhenApplied) {
    StringFifo fifo(1);
    fifo.push("a");
    ASSERT_TRUE(fifo.setProperty("PushBlock", "Off"));
    EXPECT_EQ(textOf(fifo, "PushBlock"), "Off");
    ASSERT_TRUE(fifo.endPropertyChange());
    EXPECT_FALSE(fifo.push("b"));  // full, and no longer waiting
}

TEST(FifoTemplate, CreateCopyIsEmptyWithTheInitialSwitches) {
    StringFifo source(2);
    setSwitch(source, "PushBlock", "Off");
    setSwitch(source, "ThreadingPolicy", "Single-threaded");
    source.push("a");
    std::unique_ptr<Buffer> copy(source.createCopy(7));
    auto* fifo = dynamic_cast<StringFifo*>(copy.get());
    ASSERT_NE(fifo, nullptr);
    EXPECT_EQ(fifo->size(), 0);
    EXPECT_EQ(fifo->maxSize(), 7);
    EXPECT_EQ(textOf(*fifo, "PushBlock"), "On");
    EXPECT_EQ(textOf(*fifo, "ThreadingPolicy"), "Multi-threaded");
    EXPECT_EQ(textOf(*fifo, "ElementType"), "string");
}

TEST(FifoTemplate, CopyTakesTheSwitchesButNotTheContents) {
    StringFifo source(1);
    setSwitch(source, "PushBlock", "Off");
    source.push("a");
    StringFifo copy(source);
    EXPECT_EQ(copy.size(), 0);
    EXPECT_EQ(copy.maxSize(), 1);
    EXPECT_TRUE(copy.push("b"));
    EXPECT_FALSE(copy.push("c"));  // PushBlock "Off" came along
}

TEST(FifoTemplate, HeldHandlesKeepTheirObjectsAlive) {
    const int before = CountedImage::live;
    {
        FifoTemplate<ImgRefPtr> fifo(4);
        fifo.push(makeImage(1));
        fifo.push(makeImage(2));
        fifo.push(makeImage(3));
        EXPECT_EQ(CountedImage::live - before, 3);

        ImgRefPtr item;
        ASSERT_TRUE(fifo.pop(item));
        EXPECT_EQ(serialOf(item), 1);
        item = ImgRefPtr();
        EXPECT_EQ(CountedImage::live - before, 2);

        fifo.flush();
        EXPECT_EQ(CountedImage::live - before, 0);
        fifo.push(makeImage(4));
    }
    EXPECT_EQ(CountedImage::live - before, 0);  // the destructor released the last one
}

TEST(FifoTemplate, PopReleasesWhatTheArgumentHeldBefore) {
    const int before = CountedImage::live;
    FifoTemplate<ImgRefPtr> fifo(4);
    fifo.push(makeImage(2));
    ImgRefPtr item = makeImage(1);
    ASSERT_TRUE(fifo.pop(item));
    EXPECT_EQ(serialOf(item), 2);
    EXPECT_EQ(CountedImage::live - before, 1);
}

TEST(FifoTemplate, PointerElementsAreNeverDeleted) {
    auto* event = new CountedEvent;
    const int before = CountedEvent::live;
    {
        FifoTemplate<Event*> fifo(4);
        fifo.push(event);
        fifo.flush();
        fifo.push(event);
        fifo.push(event);
    }
    EXPECT_EQ(CountedEvent::live, before);
    delete event;
}
