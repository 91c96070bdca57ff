#include <korvane/devices/HeaderGenerator.h>

namespace Korvane {

HeaderGenerator::~HeaderGenerator() = default;

}  // namespace Korvane
