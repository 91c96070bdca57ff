#include <gtest/gtest.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/events/EventManager.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/RecordingDispatcher.h"

using namespace Korvane;
using KorvaneTest::CountedEvent;
using KorvaneTest::EventRecord;
using KorvaneTest::RecordingDispatcher;

namespace {

constexpr int kQueueSize = 1000;

std::vector<std::string> messagesOf(const EventRecord& record) {
    std::vector<std::string> messages;
    for (const auto& event : record.eventsOf<UserEvent>()) messages.push_back(event->message());
    return messages;
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

    // Installs a recording dispatcher over a fresh record.
    void install() {
        record = std::make_shared<EventRecord>();
        auto* dispatcher = new RecordingDispatcher(record);
        ASSERT_TRUE(manager->setEventDispatcher(dispatcher));
        ASSERT_EQ(manager->eventDispatcher(), dispatcher);
    }

    // Posts a marker and waits for it: whatever was posted before it and queued has
    // been delivered by then.
    void postMarkerAndWait(std::size_t expectedTotal) {
        manager->postEvent(new UserEvent("marker"), &sender);
        ASSERT_TRUE(record->waitForEvents(expectedTotal));
    }

    EventManager* manager = EventManager::get();
    std::shared_ptr<EventRecord> record;
    EventGenerator sender;
    // Members rather than locals: a poster thread left blocked by a failed case still
    // finds them until TearDown has removed the dispatcher.
    std::atomic<int> deletions{0};
};

}  // namespace

TEST_F(EventManagerTest, EventsArriveInPostingOrderWithTheirSenderIds) {
    install();
    EventGenerator other;
    manager->postEvent(new UserEvent("1"), &sender);
    manager->postEvent(new UserEvent("2"), &other);
    manager->postEvent(new UserEvent("3"), &sender);
    ASSERT_TRUE(record->waitForEvents(3));

    const auto events = record->eventsOf<UserEvent>();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(messagesOf(*record), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_EQ(events[0]->senderId(), sender.makeSenderId());
    EXPECT_EQ(events[1]->senderId(), other.makeSenderId());
    EXPECT_EQ(events[2]->senderId(), sender.makeSenderId());
    EXPECT_EQ(events[0]->type(), Event::User);
}

TEST_F(EventManagerTest, DeliveredEventIsDeletedAfterDispatch) {
    install();
    manager->postEvent(new CountedEvent("counted", &deletions), &sender);
    ASSERT_TRUE(record->waitForEvents(1));
    EXPECT_TRUE(KorvaneTest::eventually([&] { return deletions == 1; }));
}

TEST_F(EventManagerTest, RefusedPostsDeleteTheEventAndDeliverNothing) {
    install();
    manager->postEvent(nullptr, &sender);
    manager->postEvent(new CountedEvent("no sender", &deletions), nullptr);
    EXPECT_EQ(deletions, 1);

    EventGenerator blocked;
    blocked.blockEvents(true);
    manager->postEvent(new CountedEvent("blocked", &deletions), &blocked);
    EXPECT_EQ(deletions, 2);

    postMarkerAndWait(1);
    EXPECT_EQ(messagesOf(*record), std::vector<std::string>{"marker"});
    EXPECT_EQ(record->nullCount(), 0);
}

TEST_F(EventManagerTest, PostBeforeAnyDispatcherIsDeletedAtOnce) {
    manager->postEvent(new CountedEvent("too early", &deletions), &sender);
    EXPECT_EQ(deletions, 1);

    install();
    postMarkerAndWait(1);
    EXPECT_EQ(messagesOf(*record), std::vector<std::string>{"marker"});
}

TEST_F(EventManagerTest, PosterBlocksWhileAThousandEventsArePending) {
    install();
    record->stallNextDispatch();
    manager->postEvent(new UserEvent("stalls"), &sender);
    ASSERT_TRUE(record->waitUntilStalled());

    // The stalled event has left the queue: a thousand more fit without waiting.
    for (int i = 0; i < kQueueSize; ++i) manager->postEvent(new UserEvent("queued"), &sender);
    std::future<void> overflow = KorvaneTest::startDetached(
        [this] { manager->postEvent(new UserEvent("overflow"), &sender); });
    EXPECT_EQ(overflow.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);

    record->release();
    ASSERT_EQ(overflow.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    ASSERT_TRUE(record->waitForEvents(kQueueSize + 2));
    EXPECT_EQ(messagesOf(*record).back(), "overflow");
}

TEST_F(EventManagerTest, EventsFromFourThreadsArriveExactlyOnceInEachThreadsOrder) {
    install();
    constexpr int kThreads = 4;
    constexpr int kPerThread = 400;
    std::promise<void> go;
    std::shared_future<void> started = go.get_future().share();
    std::vector<std::future<void>> posters;
    for (int t = 0; t < kThreads; ++t) {
        posters.push_back(KorvaneTest::startDetached([started, t] {
            EventGenerator generator;
            started.wait();
            for (int i = 0; i < kPerThread; ++i) {
                EventManager::get()->postEvent(
                    new UserEvent(std::to_string(t) + ":" + std::to_string(i)), &generator);
            }
        }));
    }
    go.set_value();
    for (auto& poster : posters) {
        ASSERT_EQ(poster.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    }
    ASSERT_TRUE(record->waitForEvents(kThreads * kPerThread));

    std::map<int, int> next;  // per thread: the index expected next
    for (const std::string& message : messagesOf(*record)) {
        const int thread = std::stoi(message.substr(0, message.find(':')));
        const int index = std::stoi(message.substr(message.find(':') + 1));
        EXPECT_EQ(index, next[thread]++) << message;
    }
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], kPerThread);
    EXPECT_EQ(record->eventCount(), static_cast<std::size_t>(kThreads * kPerThread));
}

// ---- installing and removing -------------------------------------------------------------

TEST_F(EventManagerTest, NullDispatcherWithNoneInstalledChangesNothing) {
    EXPECT_TRUE(manager->setEventDispatcher(nullptr));
    EXPECT_EQ(manager->eventDispatcher(), nullptr);
    EXPECT_FALSE(EventManager::hasEventDispatcher());
}

TEST_F(EventManagerTest, ReplacingTakesTwoCallsAndDeletesTheOldDispatcher) {
    install();
    const std::shared_ptr<EventRecord> first = record;
    record = std::make_shared<EventRecord>();
    auto* second = new RecordingDispatcher(record);

    EXPECT_TRUE(manager->setEventDispatcher(second));
    EXPECT_EQ(manager->eventDispatcher(), nullptr);
    EXPECT_FALSE(EventManager::hasEventDispatcher());
    EXPECT_TRUE(first->dispatcherDeleted());
    EXPECT_FALSE(record->dispatcherDeleted());

    EXPECT_TRUE(manager->setEventDispatcher(second));
    EXPECT_EQ(manager->eventDispatcher(), second);
    postMarkerAndWait(1);
    EXPECT_EQ(first->eventCount(), 0u);
}

TEST_F(EventManagerTest, IdleLoopHandsTheDispatcherANullWhileItIsRemoved) {
    // The loop is normally parked in pop when the removal aborts the queue. Should
    // its thread be held up between two events, the round is repeated.
    bool sawNull = false;
    for (int round = 0; round < 10 && !sawNull; ++round) {
        install();
        const int before = deletions;
        manager->postEvent(new CountedEvent("settle", &deletions), &sender);
        ASSERT_TRUE(KorvaneTest::eventually([&] { return deletions == before + 1; }));
        ASSERT_TRUE(manager->setEventDispatcher(nullptr));
        EXPECT_TRUE(record->dispatcherDeleted());
        sawNull = record->nullCount() > 0;
    }
    EXPECT_TRUE(sawNull);
}

TEST_F(EventManagerTest, RemovalDeletesWhatIsQueuedAndWhatABlockedPosterAdds) {
    install();
    record->stallNextDispatch();
    manager->postEvent(new CountedEvent("stalls", &deletions), &sender);
    ASSERT_TRUE(record->waitUntilStalled());
    for (int i = 0; i < kQueueSize; ++i) {
        manager->postEvent(new CountedEvent("queued", &deletions), &sender);
    }
    std::future<void> blocked = KorvaneTest::startDetached(
        [this] { manager->postEvent(new CountedEvent("overflow", &deletions), &sender); });
    EXPECT_EQ(blocked.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);

    // The removal waits for the stalled dispatch, so it runs on a thread of its own.
    // Once the dispatcher is seen gone, the loop has been asked to stop: the stalled
    // dispatch is its last.
    std::future<void> removed =
        KorvaneTest::startDetached([this] { manager->setEventDispatcher(nullptr); });
    ASSERT_TRUE(KorvaneTest::eventually([] { return !EventManager::hasEventDispatcher(); }));
    record->release();
    ASSERT_EQ(removed.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    ASSERT_EQ(blocked.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);

    EXPECT_EQ(record->eventCount(), 1u);
    EXPECT_EQ(deletions, kQueueSize + 2);
}

// ---- disconnecting --------------------------------------------------------------------------

TEST_F(EventManagerTest, DisconnectWithoutDispatcherAnswersFalse) {
    EXPECT_FALSE(manager->disconnect(sender.makeSenderId()));
}

TEST_F(EventManagerTest, DestroyedGeneratorIsDisconnected) {
    install();
    std::uint64_t id = 0;
    {
        EventGenerator generator;
        id = generator.makeSenderId();
    }
    const auto ids = record->disconnects();
    EXPECT_NE(std::find(ids.begin(), ids.end(), id), ids.end());
    EXPECT_TRUE(manager->disconnect(42));
}
