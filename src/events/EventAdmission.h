#pragma once
// EventAdmission keeps the bound of the event queue: a poster enters before its push
// and waits while 1000 events are pending, until one leaves the queue.
// One exception keeps posting under a lock safe: a poster whose wait would close a
// deadlock, because the loop thread waits for a lock that poster holds (a dispatcher
// reading a property whose writer is posting), enters past the bound. Events so keep
// their order, and the bound is exceeded only by what such posters add while the loop
// waits for them. Any thread may enter; the loop leaves for each event it takes, and
// the manager for each one it discards.

#include <korvane/platform/Mutex.h>

#include <atomic>

namespace Korvane::Internal {

class EventAdmission {
public:
    static constexpr int kBound = 1000;

    // Returns once the caller may push one event.
    void enter();
    // One admitted event has left the queue (taken by the loop, or discarded).
    void leave();

private:
    std::atomic<int> m_pending{0};  // events admitted and not yet taken
    std::atomic<int> m_waiting{0};  // posters waiting for room
    Mutex m_room;                   // its event is signalled by leave() while some wait
};

}  // namespace Korvane::Internal
