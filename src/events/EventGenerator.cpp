#include <korvane/events/EventGenerator.h>

namespace Korvane {

EventGenerator::~EventGenerator() = default;

}  // namespace Korvane
