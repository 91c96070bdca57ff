#include <korvane/events/Event.h>

namespace Korvane {

// Out of line so that each event class has one home for its type information.
Event::~Event() = default;
PropertyEvent::~PropertyEvent() = default;
ManagerEvent::~ManagerEvent() = default;
ProcessEvent::~ProcessEvent() = default;
ErrorEvent::~ErrorEvent() = default;
UserEvent::~UserEvent() = default;

}  // namespace Korvane
