#pragma once
// EventLoop is the one thread that delivers events: it pops each event pointer from
// the manager's queue, hands it to the dispatcher and deletes it. The manager owns
// the loop, attaches the queue and the dispatcher (neither owned by the loop) before
// start(), and ends it by requesting a stop and waking a waiting pop; a loop runs once.
// An exception thrown by the dispatcher is caught and logged, and the loop goes on
// with the next event. The loop thread is the one whose lock waits posters watch
// (EventAdmission).

#include <korvane/platform/Thread.h>

#include <atomic>

namespace Korvane {

class Event;
class EventDispatcher;
template <class T>
class FifoTemplate;

namespace Internal {

class EventAdmission;

class EventLoop : public Thread {
public:
    EventLoop() = default;
    ~EventLoop() override;

    // Pops, dispatches and deletes until a stop is requested. What the pop yields is
    // dispatched as it is: null for the manager's wake-up, or for a refused pop.
    void run() override;

    // All not owned; must outlive the thread. Called before start(). admission is
    // left for every event taken from the queue.
    void attach(FifoTemplate<Event*>* queue, EventDispatcher* dispatcher,
                EventAdmission* admission);
    // Tested before each pop: a loop waiting in pop leaves only once it is woken.
    void requestStop() { m_stop.store(true); }

private:
    // Atomic rather than under the inherited lock: written by the owner, read by the
    // loop before every pop.
    std::atomic<bool> m_stop{false};
    FifoTemplate<Event*>* m_queue = nullptr;  // not owned
    EventDispatcher* m_dispatcher = nullptr;  // not owned
    EventAdmission* m_admission = nullptr;    // not owned
};

}  // namespace Internal
}  // namespace Korvane
