#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>

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

TEST_F(BufferManagerTest, CreateCopiesEachOfTheEightRegisteredTypesOrAGivenPrototype) {
    struct Case {
        const char* type;
        bool (*discipline)(const BufferRefPtr&);
        const char* elementType;
    };
    const Case cases[] = {
        {"EventFifo", isA<FifoTemplate<Event*>>, "Event"},
        {"EventRing", isA<RingTemplate<Event*>>, "Event"},
        {"ImageFifo", isA<FifoTemplate<ImgRefPtr>>, "Image"},
        {"ImageRing", isA<RingTemplate<ImgRefPtr>>, "Image"},
        {"ObjectFifo", isA<FifoTemplate<ObjectRefPtr>>, "Object"},
        {"ObjectRing", isA<RingTemplate<ObjectRefPtr>>, "Object"},
        {"StringFifo", isA<FifoTemplate<std::string>>, "string"},
        {"StringRing", isA<RingTemplate<std::string>>, "string"},
    };
    std::vector<std::string> types;
    for (const Case& c : cases) types.push_back(c.type);
    EXPECT_EQ(manager->typeList(), types);

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

        std::string copyName = name + "Copy";
        BufferRefPtr copy = manager->create(buffer, 3, copyName, false);
        ASSERT_TRUE(copy.isValid());
        EXPECT_TRUE(c.discipline(copy));
        EXPECT_EQ(copy->type(), c.type);
        EXPECT_EQ(copy->maxSize(), 3);
    }
}

TEST_F(BufferManagerTest, RefusedCreateAnswersEmptyAndClearsTheName) {
    std::string taken = "taken";
    ASSERT_TRUE(manager->create("ImageFifo", 2, taken, false).isValid());
    for (const char* type : {"NoSuchFifo", static_cast<const char*>(nullptr), "ImageFifo"}) {
        SCOPED_TRACE(type ? type : "(null)");
        std::string name = "taken";
        EXPECT_TRUE(manager->create(type, 5, name, false).isNull());
        EXPECT_EQ(name, "");
    }
    std::string name = "taken";
    EXPECT_TRUE(manager->create(BufferRefPtr(), 4, name, true).isNull());
    EXPECT_EQ(name, "");
    EXPECT_EQ(manager->instanceList(), std::vector<std::string>{"taken"});

    name = "taken";
    EXPECT_TRUE(manager->create("ImageFifo", 2, name, true).isValid());
    EXPECT_NE(name, "taken");
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
    fifo.notifyAndAbort();
    ring.notifySink();

    manager->flushAll();

    EXPECT_EQ(fifo.size(), 0);
    EXPECT_EQ(ring.size(), 0);
    EXPECT_TRUE(fifo.push("c"));
    EXPECT_TRUE(ring.push("d"));
}
