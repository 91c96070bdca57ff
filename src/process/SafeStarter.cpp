#include "process/SafeStarter.h"

#include <korvane/devices/Device.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/process/TopologyManager.h>

#include <exception>
#include <stdexcept>
#include <utility>

namespace Korvane {
namespace Internal {

SafeStarter::SafeStarter(ComponentType type, std::string name, bool present, Topology* topology,
                         const char* failure)
    : m_type(type), m_name(std::move(name)) {
    if (!present || !TopologyManager::get()->claimExclusive(m_type, m_name, topology)) {
        throw std::runtime_error(failure);
    }
}

SafeStarter::~SafeStarter() {
    TopologyManager::get()->freeExclusive(m_type, m_name);
}

SafeDevice::SafeDevice(const DeviceRefPtr& device, Topology* topology)
    : SafeStarter(ComponentType::Device, nameOf(device), device.isValid(), topology,
                  "Topology failed to claim device."),
      m_device(device) {
    // Should start() throw, the base is destroyed and frees the claim.
    m_device->start();
}

SafeDevice::~SafeDevice() {
    try {
        m_device->stop();
    } catch (const std::exception& e) {
        korvLogError("[Topology] The device [" + m_device->name() +
                     "] threw while stopping: " + e.what());
    } catch (...) {
        korvLogError("[Topology] The device [" + m_device->name() + "] threw while stopping.");
    }
}

}  // namespace Internal
}  // namespace Korvane
