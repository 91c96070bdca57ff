#include "events/EventLoop.h"

#include <korvane/buffers/FifoTemplate.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>

#include <memory>

namespace Korvane {
namespace Internal {

EventLoop::~EventLoop() = default;

void EventLoop::attach(FifoTemplate<Event*>* queue, EventDispatcher* dispatcher) {
    m_queue = queue;
    m_dispatcher = dispatcher;
}

void EventLoop::run() {
    if (!m_queue || !m_dispatcher) return;
    while (!m_stop.load()) {
        Event* popped = nullptr;
        m_queue->pop(popped);
        std::unique_ptr<Event> event(popped);
        m_dispatcher->dispatch(event.get());
    }
}

}  // namespace Internal
}  // namespace Korvane
