// The event manager: posting, the bounded queue, replacing the dispatcher, the events
// of properties and managers, and the loop under hostile dispatchers (one that reads the
// very property whose writer is blocked posting into the full queue, a deadlock unless
// the writer is let past the bound, and one that throws).
#include <gtest/gtest.h>
#include <korvane/core/Object.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/events/EventManager.h>
#include <korvane/image/ImageManager.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/RecordingDispatcher.h"
#include "support/SystemLogRecorder.h"
#include "support/WidgetManager.h"

using namespace Korvane;
using namespace KorvaneTest;
using Strings = std::vector<std::string>;

namespace {

constexpr int kQueueSize = 1000;

Strings messagesOf(const EventRecord& record) {
    Strings messages;
    for (const auto& event : record.eventsOf<UserEvent>()) messages.push_back(event->message());
    return messages;
}

bool finished(std::future<void>& done) {
    return done.wait_for(kGenerousDeadline) == std::future_status::ready;
}

// The manager events from sender as "<type> <type name>|<instance name>|<custom text>".
Strings managerEvents(const EventRecord& record, const EventGenerator& sender,
                      bool withTypeRegistered = true) {
    Strings described;
    for (const auto& e : record.eventsOf<ManagerEvent>()) {
        if (e->senderId() != sender.makeSenderId()) continue;
        if (!withTypeRegistered && e->type() == Event::TypeRegistered) continue;
        described.push_back(std::to_string(e->type()) + " " + e->typeName() + "|" +
                            e->instanceName() + "|" + e->custom());
    }
    return described;
}

std::string describe(Event::Type type, const std::string& typeName, const std::string& instance) {
    return std::to_string(type) + " " + typeName + "|" + instance + "|";
}

// The manager is one per process: every case starts and ends without a dispatcher.
class EventManagerTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(manager->eventDispatcher(), nullptr); }

    void TearDown() override {
        if (record) record->release();
        if (manager->eventDispatcher()) manager->setEventDispatcher(nullptr);
        ASSERT_EQ(manager->eventDispatcher(), nullptr);
    }

    void install() {
        record = std::make_shared<EventRecord>();
        auto* dispatcher = new RecordingDispatcher(record);
        ASSERT_TRUE(manager->setEventDispatcher(dispatcher));
        ASSERT_EQ(manager->eventDispatcher(), dispatcher);
    }

    void postMarkerAndWait(std::size_t expectedTotal) {
        manager->postEvent(new UserEvent("marker"), &sender);
        ASSERT_TRUE(record->waitForEvents(expectedTotal));
    }

    // Stalls dispatch in a first event, queues a thousand behind it and answers the
    // poster of one more, which must wait.
    std::future<void> fillTheQueueBehindAStall() {
        record->stallNextDispatch();
        manager->postEvent(new CountedEvent("stalls", &deletions), &sender);
        EXPECT_TRUE(record->waitUntilStalled());
        for (int i = 0; i < kQueueSize; ++i)
            manager->postEvent(new CountedEvent("queued", &deletions), &sender);
        std::future<void> overflow = startDetached(
            [this] { manager->postEvent(new CountedEvent("overflow", &deletions), &sender); });
        EXPECT_EQ(overflow.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        return overflow;
    }

    EventManager* manager = EventManager::get();
    std::shared_ptr<EventRecord> record;
    // Members: a poster left blocked by a failed case still finds them until TearDown.
    EventGenerator sender;
    std::atomic<int> deletions{0};
};

}  // namespace

TEST(EventGenerator, BlockEventsAnswersThePreviousStateAndCopiesHaveTheirOwnId) {
    EventGenerator generator;
    EXPECT_FALSE(generator.blockEvents(true));
    EXPECT_TRUE(generator.blockEvents(true));
    const EventGenerator copy(generator);
    EXPECT_TRUE(generator.blockEvents(false));
    EXPECT_TRUE(copy.eventsBlocked() && !generator.eventsBlocked());
    EXPECT_NE(copy.makeSenderId(), generator.makeSenderId());
}

TEST_F(EventManagerTest, RefusedPostsDeleteTheEventAndDeliverNothing) {
    manager->postEvent(new CountedEvent("before any dispatcher", &deletions), &sender);
    EXPECT_EQ(deletions, 1);
    install();
    manager->postEvent(nullptr, &sender);
    manager->postEvent(new CountedEvent("no sender", &deletions), nullptr);
    EventGenerator blocked;
    blocked.blockEvents(true);
    manager->postEvent(new CountedEvent("blocked", &deletions), &blocked);
    EXPECT_EQ(deletions, 3);
    postMarkerAndWait(1);
    EXPECT_EQ(messagesOf(*record), Strings{"marker"});
    EXPECT_EQ(record->state().nulls, 0);
}

TEST_F(EventManagerTest, PosterBlocksWhileAThousandEventsArePending) {
    install();
    std::future<void> overflow = fillTheQueueBehindAStall();
    record->release();
    ASSERT_TRUE(finished(overflow));
    ASSERT_TRUE(record->waitForEvents(kQueueSize + 2));
    EXPECT_EQ(messagesOf(*record).back(), "overflow");
}

TEST_F(EventManagerTest, RemovalDeletesWhatIsQueuedAndWhatABlockedPosterAdds) {
    install();
    std::future<void> overflow = fillTheQueueBehindAStall();
    // The removal waits for the stalled dispatch; once the dispatcher is seen gone, the
    // loop has been told to stop and the stalled dispatch is its last.
    std::future<void> removed = startDetached([this] { manager->setEventDispatcher(nullptr); });
    ASSERT_TRUE(eventually([] { return !EventManager::hasEventDispatcher(); }));
    record->release();
    ASSERT_TRUE(finished(removed));
    ASSERT_TRUE(finished(overflow));
    EXPECT_EQ(record->state().events.size(), 1u);
    EXPECT_EQ(deletions, kQueueSize + 2);
}

TEST_F(EventManagerTest, EventsArriveOnceInEachPostersOrderWithItsSenderIdAndAreThenDeleted) {
    install();
    constexpr int kThreads = 4;
    constexpr int kPerThread = 400;
    // Shared with the posters, which may outlive a failed case.
    auto senders = std::make_shared<std::vector<EventGenerator>>(kThreads);
    auto deleted = std::make_shared<std::atomic<int>>(0);
    std::promise<void> go;
    std::shared_future<void> started = go.get_future().share();
    std::vector<std::future<void>> posters;
    for (int t = 0; t < kThreads; ++t) {
        posters.push_back(startDetached([started, senders, deleted, t] {
            started.wait();
            for (int i = 0; i < kPerThread; ++i) {
                EventManager::get()->postEvent(
                    new CountedEvent(std::to_string(t) + ":" + std::to_string(i), deleted.get()),
                    &(*senders)[t]);
            }
        }));
    }
    go.set_value();
    for (auto& poster : posters) ASSERT_TRUE(finished(poster));
    ASSERT_TRUE(record->waitForEvents(kThreads * kPerThread));

    std::vector<int> next(kThreads, 0);  // per poster: the index expected next
    for (const auto& event : record->eventsOf<UserEvent>()) {
        const std::string& message = event->message();
        const int t = std::stoi(message);
        EXPECT_EQ(std::stoi(message.substr(message.find(':') + 1)), next.at(t)++) << message;
        EXPECT_EQ(event->senderId(), (*senders)[t].makeSenderId()) << message;
        EXPECT_EQ(event->type(), Event::User);
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kPerThread));
    EXPECT_TRUE(eventually([&] { return *deleted == kThreads * kPerThread; }));
}

TEST_F(EventManagerTest, ReplacingTakesTwoCallsAndTheRemovalHandsTheIdleLoopANull) {
    EXPECT_TRUE(manager->setEventDispatcher(nullptr));
    EXPECT_EQ(manager->eventDispatcher(), nullptr);
    const auto secondRecord = std::make_shared<EventRecord>();
    auto* second = new RecordingDispatcher(secondRecord);
    // The loop is normally parked in pop when the removal aborts the queue; should its
    // thread be held up between two events, the round is repeated.
    bool sawNull = false;
    for (int round = 0; round < 10 && !sawNull; ++round) {
        install();
        const int before = deletions;
        manager->postEvent(new CountedEvent("settle", &deletions), &sender);
        ASSERT_TRUE(eventually([&] { return deletions == before + 1; }));
        EXPECT_TRUE(manager->setEventDispatcher(second));
        EXPECT_EQ(manager->eventDispatcher(), nullptr);
        EXPECT_TRUE(record->state().deleted);
        sawNull = record->state().nulls > 0;
    }
    EXPECT_TRUE(sawNull);
    EXPECT_FALSE(secondRecord->state().deleted);

    const auto first = record;
    record = secondRecord;
    EXPECT_TRUE(manager->setEventDispatcher(second));
    EXPECT_EQ(manager->eventDispatcher(), second);
    postMarkerAndWait(1);
    EXPECT_EQ(first->state().events.size(), 1u);  // only its "settle"
}

TEST_F(EventManagerTest, DestroyedGeneratorIsDisconnected) {
    EXPECT_FALSE(manager->disconnect(sender.makeSenderId()));  // no dispatcher
    install();
    const std::uint64_t id = EventGenerator().makeSenderId();
    const auto ids = record->state().disconnects;
    EXPECT_NE(std::find(ids.begin(), ids.end(), id), ids.end());
    EXPECT_TRUE(manager->disconnect(42));
}

TEST_F(EventManagerTest, EachPropertyWriteCarriesItsValueInTheFieldOfItsClass) {
    install();
    Object settings;
    settings.addProperty("Count", 0, int32_property, read_write_access);
    settings.addProperty("Size", 0u, uint32_property, read_write_access);
    settings.addProperty("Gain", 1.0, double_property, read_write_access);
    settings.addProperty("Label", std::string(), string_property, read_write_access);
    settings.addProperty("Mode", 0LL, Strings{"Off", "On"}, enum_property, read_write_access);
    settings.addProperty("Fixed", 3u, uint32_property, read_access);
    ASSERT_TRUE(settings.setProperty("Count", -5) && settings.setProperty("Size", 7u) &&
                settings.setProperty("Gain", 2.5) && settings.setProperty("Label", "cam") &&
                settings.setProperty("Mode", "On"));
    // Refused: wrong class, no such value name, read-only, no such property.
    EXPECT_FALSE(settings.setProperty("Count", 5u) || settings.setProperty("Mode", "Maybe") ||
                 settings.setProperty("Fixed", 4u) || settings.setProperty("Missing", 1));
    ASSERT_TRUE(settings.setProperty("Label", "last"));

    ASSERT_TRUE(record->waitForEvents(6));
    Strings described;
    for (const auto& event : record->eventsOf<PropertyEvent>()) {
        EXPECT_EQ(event->type(), Event::PropertyChanged);
        EXPECT_EQ(event->senderId(), settings.makeSenderId());
        EXPECT_EQ(event->propertyType(), invalid_property);
        described.push_back(event->name() + " " + std::to_string(event->asInt()) + " " +
                            std::to_string(event->asUint()) + " " +
                            std::to_string(event->asFloat()) + " " + event->asString());
    }
    EXPECT_EQ(described, (Strings{"Count -5 0 0.000000 ", "Size 0 7 0.000000 ",
                                  "Gain 0 0 2.500000 ", "Label 0 0 0.000000 cam",
                                  "Mode 0 1 0.000000 On", "Label 0 0 0.000000 last"}));
}

// A dispatcher that forwards an event's value: every 64-bit integer passes through the
// setters unchanged, whatever integer type it is given as.
TEST(PropertyEvent, IntegerValuesRoundTrip) {
    PropertyEvent from("X"), to("X");
    from.setValue(std::numeric_limits<std::int64_t>::min());
    from.setValue(std::numeric_limits<std::uint64_t>::max());
    to.setValue(from.asInt());
    to.setValue(from.asUint());
    EXPECT_EQ(to.asInt(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(to.asUint(), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(EventManagerTest, ManagersAnnounceRegisteringCreatingAndReleasing) {
    install();
    WidgetManager widgets;
    ASSERT_TRUE(widgets.registerType("Cam", WidgetManager::makePrototype()));
    EXPECT_FALSE(widgets.registerType("Cam", WidgetManager::makePrototype()));
    std::string name = "front";
    ASSERT_TRUE(widgets.create("Cam", name, false).isValid());
    EXPECT_FALSE(widgets.releaseInstance("unknown"));
    ASSERT_TRUE(widgets.releaseInstance("front"));
    ASSERT_TRUE(widgets.unregisterType("Cam"));

    ImageManager* images = ImageManager::get();
    ASSERT_TRUE(images->createAnonymous("uint8", 4, 4, 1).isValid());
    std::string frame = "frame";
    ASSERT_TRUE(images->create("uint16", 4, 4, frame, true).isValid());
    ASSERT_TRUE(images->releaseInstance(frame.c_str()));

    // Built by this case, the image manager may first have announced its own types.
    ASSERT_TRUE(eventually([&] {
        const auto arrived = record->eventsOf<ManagerEvent>();
        return !arrived.empty() && arrived.back()->type() == Event::InstanceReleased &&
               arrived.back()->senderId() == images->makeSenderId();
    }));
    EXPECT_EQ(managerEvents(*record, widgets),
              (Strings{describe(Event::TypeRegistered, "Cam", ""),
                       describe(Event::InstanceReleased, "", "front"),
                       describe(Event::TypeUnregistered, "Cam", "")}));
    EXPECT_EQ(managerEvents(*record, *images, false),
              (Strings{describe(Event::InstanceCreated, "Image", ""),
                       describe(Event::InstanceCreated, "Image", ""),
                       describe(Event::InstanceReleased, "", frame)}));
}

namespace {

// Shared between the test, the writer thread and the dispatcher, so that a case that
// fails with threads still blocked leaves them nothing destroyed.
struct Scene {
    Scene() { counter.addProperty("Count", 0LL, int64_property, read_write_access); }
    Object counter;
    std::atomic<int> written{0};
    std::mutex lock;  // guards seen and readBack
    std::vector<long long> seen;
    std::vector<long long> readBack;
};

// Holds the first event until the writer has filled the queue behind it, then reads
// the counter while handling every event.
class ReadingDispatcher : public EventDispatcher {
public:
    explicit ReadingDispatcher(std::shared_ptr<Scene> scene) : m_scene(std::move(scene)) {}
    void dispatch(Event* event) override {
        auto* changed = dynamic_cast<PropertyEvent*>(event);
        if (!changed) return;
        if (m_first) {
            m_first = false;
            eventually([&] { return m_scene->written.load() > kQueueSize; });
        }
        long long now = 0;
        m_scene->counter.getProperty("Count", &now);
        std::lock_guard<std::mutex> lock(m_scene->lock);
        m_scene->seen.push_back(changed->asInt());
        m_scene->readBack.push_back(now);
    }
    bool disconnect(std::uint64_t) override { return true; }

private:
    std::shared_ptr<Scene> m_scene;
    bool m_first = true;
};

class ThrowingDispatcher : public EventDispatcher {
public:
    explicit ThrowingDispatcher(std::shared_ptr<std::atomic<int>> delivered)
        : m_delivered(std::move(delivered)) {}
    void dispatch(Event* event) override {
        auto* user = dynamic_cast<UserEvent*>(event);
        if (!user) return;
        if (user->message() == "standard") throw std::runtime_error("listener failed");
        if (user->message() == "other") throw 42;
        ++*m_delivered;
    }
    bool disconnect(std::uint64_t) override { return true; }

private:
    std::shared_ptr<std::atomic<int>> m_delivered;
};

// A deadlocked loop thread cannot be removed, and the manager's destructor would wait
// for it at exit: end the program at once instead of hanging CI.
[[noreturn]] void abandonDeadlockedProgram(const char* what) {
    std::fprintf(stderr, "FAILED: %s; the event loop is deadlocked, exiting\n", what);
    std::fflush(stderr);
    std::_Exit(1);
}

}  // namespace

TEST(EventFaults, DispatcherReadingAPropertyWhoseWriterWaitsForRoomDoesNotDeadlock) {
    constexpr int kWrites = 3 * kQueueSize;
    auto scene = std::make_shared<Scene>();
    EventManager* manager = EventManager::get();
    ASSERT_TRUE(manager->setEventDispatcher(new ReadingDispatcher(scene)));
    std::future<void> writer = startDetached([scene] {
        for (long long n = 1; n <= kWrites; ++n) {
            scene->counter.setProperty("Count", n);
            ++scene->written;
        }
    });
    if (writer.wait_for(kGenerousDeadline * 3) != std::future_status::ready)
        abandonDeadlockedProgram("the writer did not finish");
    const bool allSeen = eventually([&] {
        std::lock_guard<std::mutex> lock(scene->lock);
        return scene->seen.size() == static_cast<std::size_t>(kWrites);
    });
    if (!allSeen) abandonDeadlockedProgram("not every event arrived");
    manager->setEventDispatcher(nullptr);

    std::lock_guard<std::mutex> lock(scene->lock);
    for (int i = 0; i < kWrites; ++i) {
        ASSERT_EQ(scene->seen[i], i + 1) << "events out of order";
        ASSERT_GE(scene->readBack[i], i + 1) << "a read saw an older value than its event";
    }
}

TEST(EventFaults, ThrowingDispatcherIsLoggedAndTheLoopGoesOn) {
    SystemLogRecorder systemLog;
    auto delivered = std::make_shared<std::atomic<int>>(0);
    EventManager* manager = EventManager::get();
    ASSERT_TRUE(manager->setEventDispatcher(new ThrowingDispatcher(delivered)));
    EventGenerator sender;
    for (int round = 0; round < 50; ++round) {
        manager->postEvent(new UserEvent("standard"), &sender);
        manager->postEvent(new UserEvent("other"), &sender);
        manager->postEvent(new UserEvent("fine"), &sender);
    }
    ASSERT_TRUE(eventually([&] { return delivered->load() == 50; }));
    // Every dispatch that threw was logged before the last event was delivered.
    const std::vector<std::string> logged = systemLog.messages();
    const std::string report = "ERROR      : [EventManager] The event dispatcher threw: ";
    EXPECT_EQ(std::count(logged.begin(), logged.end(), report + "listener failed"), 50);
    EXPECT_EQ(std::count(logged.begin(), logged.end(), report + "unknown exception"), 50);
    manager->setEventDispatcher(nullptr);
    EXPECT_EQ(manager->eventDispatcher(), nullptr);
}
