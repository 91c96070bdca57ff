#include <korvane/events/EventDispatcher.h>

namespace Korvane {

// Out of line so that the class has one home for its type information.
EventDispatcher::~EventDispatcher() = default;

}  // namespace Korvane
