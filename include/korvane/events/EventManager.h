#pragma once
// EventManager is the process's one event queue. Any thread posts heap events, which
// the manager owns from then on; one loop thread hands them, in posting order, to the
// dispatcher the host installed and deletes them. Without a dispatcher nothing is
// queued: posting deletes the event at once.
//
// Decisions:
// - get() builds the manager on first use in a function-local static, whose
//   initialisation C++11 makes thread-safe: racing first calls build one instance.
// - Events still queued when a dispatcher is removed, or when the manager is
//   destroyed, are deleted undelivered, also those that posters blocked on the full
//   queue add meanwhile. To keep them readable the queue is never aborted (an aborted
//   FIFO yields nothing, and flushing drops pointers undeleted): the loop is asked to
//   stop and woken by a null pushed without waiting, which the dispatcher receives.
// - hasEventDispatcher() reads an atomic flag, set only while a dispatcher is
//   installed. It is valid before the manager exists and after it was destroyed at
//   exit, so posters test it before they build an event or call get(), and a
//   generator that outlives the manager never reaches the destroyed one.
// - setEventDispatcher and the destructor wait for the loop thread to end: never call
//   them from dispatch. Replacing a dispatcher takes two calls: the first removes the
//   installed one (deleting it), the second installs the new one.
// - Posting under a property's lock cannot deadlock with a dispatcher that reads that
//   property: a poster that finds 1000 events pending waits, unless the loop thread
//   is waiting for a lock the poster holds; then its event is queued past the bound,
//   in order. (A dispatcher that waits on other threads which wait for the poster is
//   not detected.) An exception thrown by dispatch is logged to "SystemLog" and the
//   loop goes on with the next event.

#include <korvane/core/Export.h>
#include <korvane/events/EventGenerator.h>

#include <cstdint>
#include <memory>

namespace Korvane {

class Event;
class EventDispatcher;

class KORVANE_API EventManager : public EventGenerator {
public:
    static EventManager* get();
    // True while a dispatcher is installed. One atomic load: cheap enough to guard
    // every property write, and safe at any time, also during start-up and exit.
    static bool hasEventDispatcher();

    ~EventManager() override;
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    // With none installed, a non-null dispatcher is installed (owned from now on) and
    // the loop thread starts. With one installed, that one is removed and deleted,
    // whatever the argument; the argument stays the caller's. Always true.
    bool setEventDispatcher(EventDispatcher* dispatcher);
    EventDispatcher* eventDispatcher() const;

    // Takes ownership of event whatever happens. Dropped (deleted) for a null
    // sender, a sender whose events are blocked, or with no dispatcher installed;
    // otherwise stamped with the sender's id and queued. Blocks while 1000 events
    // are pending (see the decisions above for the one exception).
    void postEvent(Event* event, EventGenerator* sender);
    // Forwards to the dispatcher; false when none is installed.
    bool disconnect(std::uint64_t senderId);

private:
    EventManager();

    // The twins of setEventDispatcher; the caller holds the install lock.
    void installPrivate(EventDispatcher* dispatcher);
    void removePrivate();

    struct Private;
    std::unique_ptr<Private> d;
};

}  // namespace Korvane
