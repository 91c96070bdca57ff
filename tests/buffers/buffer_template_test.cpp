#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>
#include <korvane/events/Event.h>
#include <korvane/log/LogItem.h>

#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "buffers/BufferTestSupport.h"
#include "support/SerializedTable.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

// The manager is one per process: each of its cases starts with no instance left.
BufferManager* freshManager() {
    BufferManager* manager = BufferManager::get();
    for (const std::string& name : manager->instanceList()) manager->releaseInstance(name.c_str());
    return manager;
}

template <class B>
class BufferTemplateTest : public ::testing::Test {};
using StringBuffers = ::testing::Types<StringFifo, StringRing>;
TYPED_TEST_SUITE(BufferTemplateTest, StringBuffers);

}  // namespace

TYPED_TEST(BufferTemplateTest, DeclaresTheSwitchProperties) {
    const bool ring = std::is_same_v<TypeParam, StringRing>;
    // Name, initial item and description; the items are always {"Off", "On"} but for
    // ThreadingPolicy.
    const std::tuple<const char*, const char*, const char*> switches[] = {
        {"PushBlock", ring ? "Off" : "On",
         "Determines whether pushing into a full buffer will wait until a free slot becomes "
         "available."},
        {"PopBlock", "On",
         "Determines whether popping from an empty buffer will wait until an item is "
         "available."},
        {"ThreadingPolicy", "Multi-threaded", "Determines whether thread-safe methods are used."},
    };
    TypeParam buffer(1);
    for (const auto& [name, initial, description] : switches) {
        SCOPED_TRACE(name);
        EXPECT_EQ(record(buffer, name), record(enum_property, read_write_access, 0, description));
        EXPECT_EQ(buffer.propertyEnumList(name),
                  std::string(name) == "ThreadingPolicy"
                      ? (std::vector<std::string>{"Single-threaded", "Multi-threaded"})
                      : (std::vector<std::string>{"Off", "On"}));
        EXPECT_EQ(textOf(buffer, name), initial);
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
        EXPECT_FALSE(buffer.pop(item) || buffer.popNoProfile(item) || buffer.peek(item));
        EXPECT_EQ(item, "untouched");
        buffer.push("old");
        buffer.push("new");
        EXPECT_TRUE(buffer.peek(item) && buffer.peek(item) && item == "old");
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
        EXPECT_FALSE(buffer.push("refused") || buffer.pushNoProfile("refused") ||
                     buffer.pop(item) || buffer.popNoProfile(item) || buffer.peek(item));
        EXPECT_EQ(buffer.size(), 1);
        buffer.flush();
        EXPECT_EQ(buffer.size(), 0);
        EXPECT_TRUE(buffer.push("again") && buffer.pop(item) && item == "again");
    }
}

TYPED_TEST(BufferTemplateTest, MaxSizeIsFixedAndCopiesStartEmptyWithTheInitialSwitches) {
    TypeParam source(1);
    setSwitch(source, "ThreadingPolicy", "Single-threaded");
    setSwitch(source, "PushBlock", "Off");
    ASSERT_TRUE(source.setProperty("MaxSize", 5u) && source.endPropertyChange());
    source.push("a");
    source.push("b");
    EXPECT_EQ(source.maxSize() + source.size(), 2);
    // The manager makes its buffers from prototypes of size 0.
    std::unique_ptr<Buffer> made(source.createCopy(3));
    auto* copy = dynamic_cast<TypeParam*>(made.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(textOf(*copy, "ThreadingPolicy") + std::to_string(copy->size()), "Multi-threaded0");
    setSwitch(*copy, "PushBlock", "Off");
    for (int i = 0; i < 5; ++i) copy->push(std::to_string(i));
    EXPECT_EQ(copy->size(), 3);
}

TEST(BufferTemplate, PointerElementsAreNeverDeleted) {
    // Stack objects: a delete by the buffer would crash.
    UserEvent first("first"), second("second");
    {
        FifoTemplate<Event*> fifo(4);
        fifo.push(&first);
        fifo.flush();
        fifo.push(&second);
    }
    {
        RingTemplate<Event*> ring(1);
        ring.push(&first);
        ring.push(&second);  // overwrites
    }
    EXPECT_EQ(textOf(FifoTemplate<LogItemInterface*>(1), "ElementType") +
                  textOf(RingTemplate<LogItemInterface*>(1), "ElementType"),
              "");
}

TEST(FifoTemplate, FullFifoWithoutPushBlockRefusesFurtherItems) {
    for (const int maxSize : {2, 0}) {  // a FIFO of maximum size 0 is always full
        StringFifo fifo(maxSize);
        setSwitch(fifo, "PushBlock", "Off");
        for (int i = 0; i < maxSize; ++i) EXPECT_TRUE(fifo.push("a"));
        EXPECT_FALSE(fifo.push("b") || fifo.pushNoProfile("b"));
        EXPECT_EQ(fifo.size(), maxSize);
    }
}

TEST(RingTemplate, FullRingOverwritesTheOldestWhateverTheSwitchesAndSizeZeroStoresNothing) {
    for (const char* policy : policies) {
        for (const char* block : {"Off", "On"}) {
            SCOPED_TRACE(std::string(policy) + ", PushBlock " + block);
            StringRing ring(2);
            setSwitch(ring, "ThreadingPolicy", policy);
            setSwitch(ring, "PushBlock", block);
            for (const char* item : {"a", "b", "c"}) EXPECT_TRUE(ring.push(item));
            EXPECT_EQ(ring.size(), 2);
            std::string b, c;
            EXPECT_TRUE(ring.pop(b) && ring.pop(c));
            EXPECT_EQ(b + c, "bc");
        }
    }
    StringRing none(0);  // stores nothing
    setSwitch(none, "PopBlock", "Off");
    std::string item;
    EXPECT_TRUE(none.push("a") && none.size() == 0 && !none.pop(item));
}

TEST(BufferTemplate, HandlesLiveWhileHeldAndAreReleasedWhenTheyLeave) {
    const int before = CountedImage::live;
    {
        FifoTemplate<ImgRefPtr> fifo(4);
        RingTemplate<ImgRefPtr> ring(2);
        for (int serial = 1; serial <= 3; ++serial) fifo.push(makeImage(serial));
        for (int serial = 1; serial <= 5; ++serial) ring.push(makeImage(serial));
        EXPECT_EQ(CountedImage::live - before, 5) << "the ring released what it overwrote";
        ImgRefPtr item = makeImage(0), other;
        ASSERT_TRUE(fifo.pop(item) && ring.pop(other));  // releases image 0
        EXPECT_EQ(serialOf(item) * 10 + serialOf(other), 14);
        other = ImgRefPtr();
        item = ImgRefPtr();
        EXPECT_EQ(CountedImage::live - before, 3);
        fifo.flush();
        EXPECT_EQ(CountedImage::live - before, 1);
    }
    EXPECT_EQ(CountedImage::live - before, 0);
}

TEST(BufferManager, CreateCopiesEachOfTheEightRegisteredTypesOrAGivenPrototype) {
    const std::tuple<std::string, const std::type_info&, const char*> cases[] = {
        {"EventFifo", typeid(FifoTemplate<Event*>), "Event"},
        {"EventRing", typeid(RingTemplate<Event*>), "Event"},
        {"ImageFifo", typeid(FifoTemplate<ImgRefPtr>), "Image"},
        {"ImageRing", typeid(RingTemplate<ImgRefPtr>), "Image"},
        {"ObjectFifo", typeid(FifoTemplate<ObjectRefPtr>), "Object"},
        {"ObjectRing", typeid(RingTemplate<ObjectRefPtr>), "Object"},
        {"StringFifo", typeid(FifoTemplate<std::string>), "string"},
        {"StringRing", typeid(RingTemplate<std::string>), "string"},
    };
    BufferManager* manager = freshManager();
    std::vector<std::string> types;
    for (const auto& [type, discipline, element] : cases) {
        types.push_back(type);
        std::string name = type, copyName = type + "Copy";
        BufferRefPtr buffer = manager->create(type.c_str(), 5, name, false);
        ASSERT_TRUE(buffer.isValid()) << type;
        BufferRefPtr copy = manager->create(buffer, 3, copyName, false);
        ASSERT_TRUE(copy.isValid()) << type;
        EXPECT_TRUE(typeid(*buffer) == discipline && typeid(*copy) == discipline) << type;
        EXPECT_EQ(buffer->type() + copy->type() + textOf(*buffer, "ElementType"),
                  type + type + element);
        EXPECT_EQ(buffer->maxSize() * 10 + copy->maxSize(), 53) << type;
    }
    EXPECT_EQ(manager->typeList(), types);
}

TEST(BufferManager, RefusedCreateAnswersEmptyAndClearsTheName) {
    BufferManager* manager = freshManager();
    std::string taken = "taken";
    ASSERT_TRUE(manager->create("ImageFifo", 2, taken, false).isValid());
    const char* const types[] = {"NoSuchFifo", nullptr, "ImageFifo"};
    for (int i = 0; i <= 3; ++i) {  // the last: a null prototype
        std::string name = "taken";
        EXPECT_TRUE((i < 3 ? manager->create(types[i], 5, name, false)
                           : manager->create(BufferRefPtr(), 4, name, true))
                        .isNull())
            << i;
        EXPECT_EQ(name, "") << i;
    }
    EXPECT_EQ(manager->instanceList(), std::vector<std::string>{"taken"});
    std::string name = "taken";
    EXPECT_TRUE(manager->create("ImageFifo", 2, name, true).isValid());
    EXPECT_NE(name, "taken");
}

TEST(BufferManager, FlushAllEmptiesEveryBufferAndEndsEveryAbort) {
    BufferManager* manager = freshManager();
    std::string fifoName = "fifo", ringName = "ring";
    BufferRefPtr fifoBuffer = manager->create("StringFifo", 4, fifoName, false);
    BufferRefPtr ringBuffer = manager->create("StringRing", 4, ringName, false);
    auto& fifo = dynamic_cast<FifoTemplate<std::string>&>(*fifoBuffer);
    auto& ring = dynamic_cast<RingTemplate<std::string>&>(*ringBuffer);
    fifo.push("a");
    ring.push("b");
    fifo.notifyAndAbort();
    ring.notifySink();
    manager->flushAll();
    EXPECT_EQ(fifo.size() + ring.size(), 0);
    EXPECT_TRUE(fifo.push("c") && ring.push("d"));
}
