#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>

#include <algorithm>
#include <string>
#include <vector>

#include "buffers/BufferTestSupport.h"

using namespace Korvane;
using KorvaneTest::textOf;

namespace {

using BufferManagerTest = KorvaneTest::BufferManagerFixture;

template <class Expected>
bool isA(const BufferRefPtr& buffer) {
    return dynamic_cast<Expected*>(buffer.rawPtr()) != nullptr;
}

}  // namespace

TEST_F(BufferManagerTest, RegistersTheEightBufferTypes) {
    std::vector<std::string> expected = {"ImageFifo", "ObjectFifo", "EventFifo", "StringFifo",
                                         "ImageRing", "ObjectRing", "EventRing", "StringRing"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(manager->typeList(), expected);
}

TEST_F(BufferManagerTest, CreateCopiesTheRegisteredPrototype) {
    struct Case {
        const char* type;
        bool (*discipline)(const BufferRefPtr&);
        const char* elementType;
    };
    const Case cases[] = {
        {"ImageFifo", isA<FifoTemplate<ImgRefPtr>>, "Image"},
        {"ObjectFifo", isA<FifoTemplate<ObjectRefPtr>>, "Object"},
        {"EventFifo", isA<FifoTemplate<Event*>>, "Event"},
        {"StringFifo", isA<FifoTemplate<std::string>>, "string"},
        {"ImageRing", isA<RingTemplate<ImgRefPtr>>, "Image"},
        {"ObjectRing", isA<RingTemplate<ObjectRefPtr>>, "Object"},
        {"EventRing", isA<RingTemplate<Event*>>, "Event"},
        {"StringRing", isA<RingTemplate<std::string>>, "string"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        std::string name = std::string("my ") + c.type;
        BufferRefPtr buffer = manager->create(c.type, 5, name, false);
        ASSERT_TRUE(buffer.isValid());
        EXPECT_TRUE(c.discipline(buffer));
        EXPECT_EQ(name, std::string("my_") + c.type);
        EXPECT_EQ(buffer->name(), name);
        EXPECT_EQ(buffer->type(), c.type);
        EXPECT_EQ(buffer->maxSize(), 5);
        EXPECT_EQ(textOf(*buffer, "ElementType"), c.elementType);
        EXPECT_EQ(manager->instance(name.c_str()), buffer);
    }
}

TEST_F(BufferManagerTest, CreatedRingHasTheRequestedCapacity) {
    std::string name = "ring";
    BufferRefPtr buffer = manager->create("StringRing", 3, name, true);
    auto* ring = dynamic_cast<RingTemplate<std::string>*>(buffer.rawPtr());
    ASSERT_NE(ring, nullptr);
    for (int i = 0; i < 5; ++i) ring->push(std::to_string(i));
    EXPECT_EQ(ring->size(), 3);
    EXPECT_EQ(textOf(*ring, "PushBlock"), "Off");
}

TEST_F(BufferManagerTest, CreateWithAnUnknownTypeAnswersEmptyAndClearsTheName) {
    std::string name = "wanted";
    EXPECT_TRUE(manager->create("NoSuchFifo", 5, name, true).isNull());
    EXPECT_EQ(name, "");
    name = "wanted";
    EXPECT_TRUE(manager->create(static_cast<const char*>(nullptr), 5, name, true).isNull());
    EXPECT_EQ(name, "");
    EXPECT_EQ(manager->instanceCount(), 0u);
}

TEST_F(BufferManagerTest, TakenNameFailsUnlessUnique) {
    std::string first = "frames";
    ASSERT_TRUE(manager->create("ImageFifo", 2, first, false).isValid());
    std::string second = "frames";
    EXPECT_TRUE(manager->create("ImageFifo", 2, second, false).isNull());
    EXPECT_EQ(second, "");
    std::string third = "frames";
    BufferRefPtr buffer = manager->create("ImageFifo", 2, third, true);
    ASSERT_TRUE(buffer.isValid());
    EXPECT_NE(third, "frames");
    EXPECT_EQ(third.rfind("frames{", 0), 0u);
    EXPECT_EQ(buffer->name(), third);
}

TEST_F(BufferManagerTest, CreateFromAPrototypeTakesItsType) {
    std::string name = "source";
    BufferRefPtr prototype = manager->create("EventRing", 1, name, false);
    std::string copyName = "copy";
    BufferRefPtr copy = manager->create(prototype, 4, copyName, false);
    ASSERT_TRUE(copy.isValid());
    EXPECT_NE(copy, prototype);
    EXPECT_EQ(copy->type(), "EventRing");
    EXPECT_EQ(copy->maxSize(), 4);
    EXPECT_TRUE(isA<RingTemplate<Event*>>(copy));
    EXPECT_EQ(copyName, "copy");
}

TEST_F(BufferManagerTest, CreateFromAnEmptyPrototypeFails) {
    std::string name = "nothing";
    EXPECT_TRUE(manager->create(BufferRefPtr(), 4, name, true).isNull());
    EXPECT_EQ(name, "");
}

TEST_F(BufferManagerTest, FlushAllEmptiesEveryBufferAndEndsEveryAbort) {
    std::string fifoName = "fifo";
    std::string ringName = "ring";
    BufferRefPtr fifoBuffer = manager->create("StringFifo", 4, fifoName, false);
    BufferRefPtr ringBuffer = manager->create("StringRing", 4, ringName, false);
    auto& fifo = dynamic_cast<FifoTemplate<std::string>&>(*fifoBuffer);
    auto& ring = dynamic_cast<RingTemplate<std::string>&>(*ringBuffer);
    fifo.push("a");
    ring.push("b");
    ring.push("c");
    fifo.notifyAndAbort();
    ring.notifySink();

    manager->flushAll();

    EXPECT_EQ(fifo.size(), 0);
    EXPECT_EQ(ring.size(), 0);
    EXPECT_TRUE(fifo.push("d"));
    EXPECT_TRUE(ring.push("e"));
}

TEST_F(BufferManagerTest, ReleasedBufferLivesOnWhileHeld) {
    std::string name = "held";
    BufferRefPtr buffer = manager->create("ObjectFifo", 2, name, false);
    EXPECT_TRUE(manager->releaseInstance(name.c_str()));
    EXPECT_TRUE(manager->instance(name.c_str()).isNull());
    auto& fifo = dynamic_cast<FifoTemplate<ObjectRefPtr>&>(*buffer);
    EXPECT_TRUE(fifo.push(ObjectRefPtr()));
    EXPECT_EQ(fifo.size(), 1);
}
