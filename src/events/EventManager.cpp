#include <korvane/events/EventManager.h>

#include <korvane/buffers/FifoTemplate.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>
#include <korvane/platform/Mutex.h>

#include "events/EventAdmission.h"
#include "events/EventLoop.h"

#include <atomic>
#include <thread>
#include <utility>

namespace Korvane {

namespace {

// The FIFO itself never refuses room: the bound of 1000 pending events is kept by
// EventAdmission, which may let a poster past it to avoid a deadlock.
constexpr unsigned int kUnboundedQueue = 0xFFFFFFFFu;
// The loop thread is awaited in steps of this many milliseconds.
constexpr unsigned long long kLoopPollMs = 10;

// Set while a dispatcher is installed. Constant-initialised, so it can be read before
// any dynamic initialisation (korvInitLibrary writes properties while the library is
// loading) and after the manager was destroyed at exit.
std::atomic<bool> dispatcherInstalled{false};

// Counts a poster for the time of its push. It is counted before it reads the
// installed flag, and a removal clears the flag before it reads the count (both
// sequentially consistent), so a removal sees every push that may still land.
class PostingScope {
public:
    explicit PostingScope(std::atomic<int>& posting) : m_posting(posting) { ++m_posting; }
    ~PostingScope() { --m_posting; }
    PostingScope(const PostingScope&) = delete;
    PostingScope& operator=(const PostingScope&) = delete;

private:
    std::atomic<int>& m_posting;
};

}  // namespace

struct EventManager::Private {
    // Created once and kept for the manager's life: posters push into it without
    // taking any lock of the manager. It is never aborted: an aborted FIFO yields
    // nothing until it is flushed, and flushing drops pointers without deleting them.
    std::unique_ptr<FifoTemplate<Event*>> queue =
        std::make_unique<FifoTemplate<Event*>>(kUnboundedQueue);
    Internal::EventAdmission admission;
    // Posters between their test of the installed flag and the end of their push.
    std::atomic<int> posting{0};

    // Guards loop and serialises installing, removing and destruction. It is held
    // while waiting for the loop thread to end, so the loop thread never takes it.
    Mutex installLock;
    std::unique_ptr<Internal::EventLoop> loop = std::make_unique<Internal::EventLoop>();

    mutable Mutex dispatcherLock;  // guards dispatcher
    // Shared so that disconnect calls it without holding dispatcherLock (it is host
    // code that may take its own locks). The last holder deletes it: normally the
    // remover once the loop has ended, or a disconnect that raced with the removal.
    std::shared_ptr<EventDispatcher> dispatcher;

    std::shared_ptr<EventDispatcher> currentDispatcher() const {
        MutexLock lock(&dispatcherLock);
        return dispatcher;
    }

    // Ends delivery: stops the loop, deletes it and the dispatcher, and deletes what
    // is still queued. No dispatcher is installed afterwards.
    void shutDown() {
        // The stop request comes first, so that a dispatch running when the flag is
        // seen cleared is the loop's last.
        loop->requestStop();
        dispatcherInstalled.store(false);
        wakeLoop();
        while (!loop->join(kLoopPollMs)) {
        }
        loop.reset();
        dropDispatcher();
        discardQueuedEvents();
    }

    // A loop waiting in pop on an empty queue gets a null, dispatches it and then
    // sees the stop request; a busy loop stops before its next pop and the null is
    // discarded with the rest. The queue has room for it whatever is pending.
    void wakeLoop() { queue->push(nullptr); }

    void dropDispatcher() {
        std::shared_ptr<EventDispatcher> old;  // deleted after the lock is released
        MutexLock lock(&dispatcherLock);
        old.swap(dispatcher);
    }

    // With the loop gone this is the queue's only consumer. Posters still inside
    // their push (one blocked on a full queue gets room from these pops) are waited
    // for, so that nothing they add is left behind.
    void discardQueuedEvents() {
        for (;;) {
            const bool postersDone = posting.load() == 0;
            Event* event = nullptr;
            while (queue->size() > 0 && queue->pop(event)) {
                if (event) admission.leave();
                delete event;
            }
            if (postersDone) return;
            std::this_thread::yield();
        }
    }
};

EventManager* EventManager::get() {
    static EventManager instance;
    return &instance;
}

bool EventManager::hasEventDispatcher() { return dispatcherInstalled.load(); }

EventManager::EventManager() : d(std::make_unique<Private>()) {}

EventManager::~EventManager() {
    MutexLock lock(&d->installLock);
    d->shutDown();
}

bool EventManager::setEventDispatcher(EventDispatcher* dispatcher) {
    MutexLock lock(&d->installLock);
    if (hasEventDispatcher()) {
        removePrivate();
    } else if (dispatcher) {
        installPrivate(dispatcher);
    }
    return true;
}

EventDispatcher* EventManager::eventDispatcher() const { return d->currentDispatcher().get(); }

void EventManager::postEvent(Event* event, EventGenerator* sender) {
    std::unique_ptr<Event> owned(event);
    if (!owned || !sender || sender->eventsBlocked()) return;
    const PostingScope posting(d->posting);
    if (!hasEventDispatcher()) return;
    owned->setSenderId(sender->makeSenderId());
    d->admission.enter();
    // A refused push leaves the event to owned, which deletes it.
    if (d->queue->push(owned.get())) {
        owned.release();
    } else {
        d->admission.leave();
    }
}

bool EventManager::disconnect(std::uint64_t senderId) {
    const std::shared_ptr<EventDispatcher> dispatcher = d->currentDispatcher();
    return dispatcher && dispatcher->disconnect(senderId);
}

void EventManager::installPrivate(EventDispatcher* dispatcher) {
    std::shared_ptr<EventDispatcher> owned(dispatcher);
    d->loop->attach(d->queue.get(), owned.get(), &d->admission);
    {
        MutexLock lock(&d->dispatcherLock);
        d->dispatcher = std::move(owned);
    }
    dispatcherInstalled.store(true);
    d->loop->start();
}

void EventManager::removePrivate() {
    d->shutDown();
    d->loop = std::make_unique<Internal::EventLoop>();
}

}  // namespace Korvane
