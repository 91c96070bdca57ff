#pragma once
// A dispatcher for the event tests. It records a copy of every event, every null, every
// disconnect id and its own deletion into an EventRecord shared with the test, so the
// record outlives the dispatcher (the event manager owns and deletes it). Waits and the
// stall of dispatch are bounded. CountedEvent tells a test when an event was deleted.

#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/Deadline.h"

namespace KorvaneTest {

// A copy of the event as its most derived class among those the tests look at.
inline std::shared_ptr<const Korvane::Event> copyEvent(const Korvane::Event& event) {
    using namespace Korvane;
    if (auto* e = dynamic_cast<const PropertyEvent*>(&event))
        return std::make_shared<PropertyEvent>(*e);
    if (auto* e = dynamic_cast<const ManagerEvent*>(&event))
        return std::make_shared<ManagerEvent>(*e);
    if (auto* e = dynamic_cast<const UserEvent*>(&event)) return std::make_shared<UserEvent>(*e);
    return std::make_shared<Event>(event);
}

class EventRecord {
public:
    struct State {
        std::vector<std::shared_ptr<const Korvane::Event>> events;
        int nulls = 0;
        std::vector<std::uint64_t> disconnects;
        bool deleted = false;  // the dispatcher
    };

    State state() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_state;
    }

    // The recorded events of class E, in arrival order.
    template <class E>
    std::vector<std::shared_ptr<const E>> eventsOf() const {
        std::vector<std::shared_ptr<const E>> found;
        for (const auto& event : state().events) {
            if (auto typed = std::dynamic_pointer_cast<const E>(event)) found.push_back(typed);
        }
        return found;
    }

    // False when the deadline passed first.
    bool waitForEvents(std::size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kGenerousDeadline,
                                  [&] { return m_state.events.size() >= count; });
    }

    // The next non-null event is recorded and then held in dispatch until release() or
    // until limit has passed, so that a failing test cannot hang the loop thread.
    void stallNextDispatch(std::chrono::milliseconds limit = kGenerousDeadline) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stallRequested = true;
        m_stallLimit = limit;
        m_released = false;
    }

    bool waitUntilStalled() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kGenerousDeadline, [&] { return m_stalled; });
    }

    void release() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stallRequested = false;
        m_released = true;
        m_changed.notify_all();
    }

    // ---- called by RecordingDispatcher ----

    void record(const Korvane::Event* event) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!event) {
            ++m_state.nulls;
        } else {
            m_state.events.push_back(copyEvent(*event));
            if (m_stallRequested) stall(lock);
        }
        m_changed.notify_all();
    }

    void recordDisconnect(std::uint64_t senderId) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_state.disconnects.push_back(senderId);
    }

    void recordDeletion() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_state.deleted = true;
    }

private:
    void stall(std::unique_lock<std::mutex>& lock) {
        m_stallRequested = false;
        m_stalled = true;
        m_changed.notify_all();
        m_changed.wait_for(lock, m_stallLimit, [&] { return m_released; });
        m_stalled = false;
    }

    mutable std::mutex m_mutex;  // guards everything below
    std::condition_variable m_changed;
    State m_state;
    bool m_stallRequested = false;
    bool m_stalled = false;
    bool m_released = false;
    std::chrono::milliseconds m_stallLimit{0};
};

// A user event that counts its deletion into a counter the test owns.
class CountedEvent : public Korvane::UserEvent {
public:
    CountedEvent(const std::string& message, std::atomic<int>* deletions)
        : UserEvent(message), m_deletions(deletions) {}
    ~CountedEvent() override { ++*m_deletions; }

private:
    std::atomic<int>* m_deletions;  // not owned
};

class RecordingDispatcher : public Korvane::EventDispatcher {
public:
    explicit RecordingDispatcher(std::shared_ptr<EventRecord> record)
        : m_record(std::move(record)) {}
    ~RecordingDispatcher() override { m_record->recordDeletion(); }

    void dispatch(Korvane::Event* event) override { m_record->record(event); }
    bool disconnect(std::uint64_t senderId) override {
        m_record->recordDisconnect(senderId);
        return true;
    }

private:
    std::shared_ptr<EventRecord> m_record;
};

}  // namespace KorvaneTest
