#pragma once
// EventDispatcher is what the host supplies to receive the library's events: the
// event manager owns the installed one and calls dispatch on its loop thread, one
// event at a time, and disconnect on whichever thread destroys an event generator.
// An implementation guards its own tables against both threads and must not throw.

#include <korvane/core/Export.h>

#include <cstdint>

namespace Korvane {

class Event;

class KORVANE_API EventDispatcher {
public:
    virtual ~EventDispatcher();

    // The event belongs to the manager and is deleted when this returns: copy what
    // you keep. Null while the dispatcher is being removed; ignore it then.
    virtual void dispatch(Event* event) = 0;
    // The generator with this sender id is being destroyed: forget it.
    virtual bool disconnect(std::uint64_t senderId) = 0;
};

}  // namespace Korvane
