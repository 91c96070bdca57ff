#include <korvane/events/EventGenerator.h>

#include <korvane/events/EventManager.h>

namespace Korvane {

// Without a dispatcher there is nobody to tell, and the manager may already have been
// destroyed (a singleton built before it outlives it at exit): do not reach for it.
EventGenerator::~EventGenerator() {
    if (EventManager::hasEventDispatcher()) EventManager::get()->disconnect(makeSenderId());
}

}  // namespace Korvane
