#include "events/EventLoop.h"

#include <korvane/buffers/FifoTemplate.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>
#include <korvane/log/LogFunctions.h>

#include "events/EventAdmission.h"
#include "platform/LockWatch.h"

#include <exception>
#include <memory>
#include <string>

namespace Korvane {
namespace Internal {

namespace {

// Hands the event to the dispatcher; what it throws is logged, not let through.
void dispatchCaught(EventDispatcher* dispatcher, Event* event) {
    try {
        dispatcher->dispatch(event);
    } catch (const std::exception& e) {
        korvLogError(std::string("[EventManager] The event dispatcher threw: ") + e.what());
    } catch (...) {
        korvLogError("[EventManager] The event dispatcher threw: unknown exception");
    }
}

}  // namespace

EventLoop::~EventLoop() = default;

void EventLoop::attach(FifoTemplate<Event*>* queue, EventDispatcher* dispatcher,
                       EventAdmission* admission) {
    m_queue = queue;
    m_dispatcher = dispatcher;
    m_admission = admission;
}

void EventLoop::run() {
    if (!m_queue || !m_dispatcher || !m_admission) return;
    watchLockWaitsOfThisThread(true);
    while (!m_stop.load()) {
        Event* popped = nullptr;
        m_queue->pop(popped);
        std::unique_ptr<Event> event(popped);
        if (event) m_admission->leave();
        dispatchCaught(m_dispatcher, event.get());
    }
    watchLockWaitsOfThisThread(false);
}

}  // namespace Internal
}  // namespace Korvane
