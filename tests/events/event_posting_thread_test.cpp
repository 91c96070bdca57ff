#include <gtest/gtest.h>
#include <korvane/core/Object.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventManager.h>
#include <korvane/image/ImageManager.h>

#include <memory>
#include <string>
#include <vector>

#include "support/RecordingDispatcher.h"
#include "support/WidgetManager.h"

using namespace Korvane;
using KorvaneTest::EventRecord;
using KorvaneTest::RecordingDispatcher;

namespace {

// Posts from the library itself: property writes and manager changes.
class EventPostingTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(EventManager::get()->eventDispatcher(), nullptr);
        ASSERT_TRUE(EventManager::get()->setEventDispatcher(new RecordingDispatcher(record)));
    }

    void TearDown() override {
        EventManager::get()->setEventDispatcher(nullptr);
        ASSERT_EQ(EventManager::get()->eventDispatcher(), nullptr);
    }

    // Waits until count events of class E have arrived and answers them.
    template <class E>
    std::vector<std::shared_ptr<const E>> awaitEvents(std::size_t count) {
        KorvaneTest::eventually([&] { return record->eventsOf<E>().size() >= count; });
        return record->eventsOf<E>();
    }

    std::shared_ptr<EventRecord> record = std::make_shared<EventRecord>();
};

class Settings : public Object {
public:
    Settings() {
        addProperty("Count", 0, int32_property, read_write_access);
        addProperty("Size", 0u, uint32_property, read_write_access);
        addProperty("Gain", 1.0, double_property, read_write_access);
        addProperty("Label", std::string(), string_property, read_write_access);
        addProperty("Mode", 0LL, std::vector<std::string>{"Off", "On"}, enum_property,
                    read_write_access);
        addProperty("Fixed", 3u, uint32_property, read_access);
    }
};

}  // namespace

TEST_F(EventPostingTest, EachWriteCarriesItsValueInTheFieldOfItsClass) {
    Settings settings;
    ASSERT_TRUE(settings.setProperty("Count", -5));
    ASSERT_TRUE(settings.setProperty("Size", 7u));
    ASSERT_TRUE(settings.setProperty("Gain", 2.5));
    ASSERT_TRUE(settings.setProperty("Label", "cam"));
    ASSERT_TRUE(settings.setProperty("Mode", "On"));

    const auto events = awaitEvents<PropertyEvent>(5);
    ASSERT_EQ(events.size(), 5u);
    for (const auto& event : events) {
        EXPECT_EQ(event->type(), Event::PropertyChanged);
        EXPECT_EQ(event->senderId(), settings.makeSenderId());
        EXPECT_EQ(event->propertyType(), invalid_property);
    }
    EXPECT_EQ(events[0]->name(), "Count");
    EXPECT_EQ(events[0]->asInt(), -5);
    EXPECT_EQ(events[0]->asUint(), 0u);
    EXPECT_EQ(events[1]->name(), "Size");
    EXPECT_EQ(events[1]->asUint(), 7u);
    EXPECT_EQ(events[1]->asInt(), 0);
    EXPECT_EQ(events[2]->name(), "Gain");
    EXPECT_EQ(events[2]->asFloat(), 2.5);
    EXPECT_EQ(events[3]->name(), "Label");
    EXPECT_EQ(events[3]->asString(), "cam");
    EXPECT_EQ(events[4]->name(), "Mode");
    EXPECT_EQ(events[4]->asUint(), 1u);
    EXPECT_EQ(events[4]->asString(), "On");
}

TEST_F(EventPostingTest, RefusedWritesPostNothing) {
    Settings settings;
    EXPECT_FALSE(settings.setProperty("Count", 5u));      // wrong class
    EXPECT_FALSE(settings.setProperty("Mode", "Maybe"));  // no such value name
    EXPECT_FALSE(settings.setProperty("Mode", 2u));       // index out of range
    EXPECT_FALSE(settings.setProperty("Fixed", 4u));      // read-only
    EXPECT_FALSE(settings.setProperty("Missing", 1));     // no such property
    ASSERT_TRUE(settings.setProperty("Label", "last"));

    const auto events = awaitEvents<PropertyEvent>(1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]->name(), "Label");
}

TEST_F(EventPostingTest, ManagerAnnouncesRegisteringUnregisteringAndReleasing) {
    KorvaneTest::WidgetManager manager;
    ASSERT_TRUE(manager.registerType("Cam", KorvaneTest::WidgetManager::makePrototype()));
    EXPECT_FALSE(manager.registerType("Cam", KorvaneTest::WidgetManager::makePrototype()));
    std::string name = "front";
    ASSERT_TRUE(manager.create("Cam", name, false).isValid());
    EXPECT_FALSE(manager.releaseInstance("unknown"));
    ASSERT_TRUE(manager.releaseInstance("front"));
    ASSERT_TRUE(manager.unregisterType("Cam"));

    const auto events = awaitEvents<ManagerEvent>(3);
    ASSERT_EQ(events.size(), 3u);
    for (const auto& event : events) {
        EXPECT_EQ(event->senderId(), manager.makeSenderId());
        EXPECT_EQ(event->custom(), "");
    }
    EXPECT_EQ(events[0]->type(), Event::TypeRegistered);
    EXPECT_EQ(events[0]->typeName(), "Cam");
    EXPECT_EQ(events[0]->instanceName(), "");
    EXPECT_EQ(events[1]->type(), Event::InstanceReleased);
    EXPECT_EQ(events[1]->typeName(), "");
    EXPECT_EQ(events[1]->instanceName(), "front");
    EXPECT_EQ(events[2]->type(), Event::TypeUnregistered);
    EXPECT_EQ(events[2]->typeName(), "Cam");
}

TEST_F(EventPostingTest, ImageManagerAnnouncesEachCreatedImage) {
    ImageManager* images = ImageManager::get();
    ASSERT_TRUE(images->createAnonymous("uint8", 4, 4, 1).isValid());
    std::string name = "frame";
    ASSERT_TRUE(images->create("uint16", 4, 4, name, true).isValid());
    ASSERT_TRUE(images->releaseInstance(name.c_str()));

    // Built by this case, the manager may first have announced its own image types.
    ASSERT_TRUE(KorvaneTest::eventually([&] {
        const auto arrived = record->eventsOf<ManagerEvent>();
        return !arrived.empty() && arrived.back()->type() == Event::InstanceReleased;
    }));
    std::vector<std::shared_ptr<const ManagerEvent>> events;
    for (const auto& event : record->eventsOf<ManagerEvent>()) {
        if (event->type() != Event::TypeRegistered) events.push_back(event);
    }
    ASSERT_EQ(events.size(), 3u);
    for (const auto& event : events) EXPECT_EQ(event->senderId(), images->makeSenderId());
    EXPECT_EQ(events[0]->type(), Event::InstanceCreated);
    EXPECT_EQ(events[0]->typeName(), "Image");
    EXPECT_EQ(events[0]->instanceName(), "");
    EXPECT_EQ(events[1]->type(), Event::InstanceCreated);
    EXPECT_EQ(events[1]->typeName(), "Image");
    EXPECT_EQ(events[1]->instanceName(), "");
    EXPECT_EQ(events[2]->type(), Event::InstanceReleased);
    EXPECT_EQ(events[2]->instanceName(), name);
}
