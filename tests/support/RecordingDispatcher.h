#pragma once
// A dispatcher for the event tests. It records a copy of every event it is given,
// every null, every disconnect id and its own deletion into an EventRecord that the
// test shares, so the record outlives the dispatcher, which the event manager owns
// and deletes. Tests wait on the record with bounded waits, and can make dispatch
// stall (bounded too) until they release it. CountedEvent tells a test when the
// manager deleted an event.

#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/Deadline.h"

namespace KorvaneTest {

// A copy of the event as its most derived class of the library.
inline std::shared_ptr<const Korvane::Event> copyEvent(const Korvane::Event& event) {
    using namespace Korvane;
    if (auto* e = dynamic_cast<const PropertyEvent*>(&event))
        return std::make_shared<PropertyEvent>(*e);
    if (auto* e = dynamic_cast<const ManagerEvent*>(&event))
        return std::make_shared<ManagerEvent>(*e);
    if (auto* e = dynamic_cast<const ErrorEvent*>(&event)) return std::make_shared<ErrorEvent>(*e);
    if (auto* e = dynamic_cast<const UserEvent*>(&event)) return std::make_shared<UserEvent>(*e);
    if (auto* e = dynamic_cast<const ProcessEvent*>(&event))
        return std::make_shared<ProcessEvent>(*e);
    return std::make_shared<Event>(event);
}

class EventRecord {
public:
    using Clock = std::chrono::steady_clock;

    std::vector<std::shared_ptr<const Korvane::Event>> events() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }

    // The recorded events of class E, in arrival order.
    template <class E>
    std::vector<std::shared_ptr<const E>> eventsOf() const {
        std::vector<std::shared_ptr<const E>> found;
        for (const auto& event : events()) {
            if (auto typed = std::dynamic_pointer_cast<const E>(event)) found.push_back(typed);
        }
        return found;
    }

    std::size_t eventCount() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events.size();
    }

    int nullCount() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_nulls;
    }

    std::vector<std::uint64_t> disconnects() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_disconnects;
    }

    bool dispatcherDeleted() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_deleted;
    }

    // False when the deadline passed first.
    bool waitForEvents(std::size_t count, std::chrono::milliseconds limit = kGenerousDeadline) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_events.size() >= count; });
    }

    // The next non-null event is recorded and then held in dispatch until release()
    // or until limit has passed, so that a failing test cannot hang the loop thread.
    void stallNextDispatch(std::chrono::milliseconds limit = kGenerousDeadline) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stallRequested = true;
        m_stallLimit = limit;
        m_released = false;
    }

    // False when dispatch was not stalled within the limit.
    bool waitUntilStalled(std::chrono::milliseconds limit = kGenerousDeadline) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_stalled; });
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
            ++m_nulls;
            m_changed.notify_all();
            return;
        }
        m_events.push_back(copyEvent(*event));
        if (m_stallRequested) stall(lock);
        m_changed.notify_all();
    }

    void recordDisconnect(std::uint64_t senderId) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_disconnects.push_back(senderId);
    }

    void recordDeletion() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_deleted = true;
        m_changed.notify_all();
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
    std::vector<std::shared_ptr<const Korvane::Event>> m_events;
    int m_nulls = 0;
    std::vector<std::uint64_t> m_disconnects;
    bool m_deleted = false;
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

    const std::shared_ptr<EventRecord>& record() const { return m_record; }

private:
    std::shared_ptr<EventRecord> m_record;
};

}  // namespace KorvaneTest
