#include <korvane/devices/DeviceDetector.h>

namespace Korvane {

DeviceDetector::DeviceDetector(Version version)
    : ManageableType("DeviceDetector"), m_version(version) {}

DeviceDetector::~DeviceDetector() = default;

}  // namespace Korvane
