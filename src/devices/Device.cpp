#include <korvane/devices/Device.h>
#include <korvane/devices/FrameGrabberManager.h>

namespace Korvane {

Device::Device() : BufferSlotInterface("Device") {}

Device::Device(const Device& other) : BufferSlotInterface(other) {}

Device::~Device() {
    // No other handle reaches a device that is being destroyed, so the maps need no lock.
    if (m_frameGrabberMap.empty()) return;
    FrameGrabberManager* grabbers = FrameGrabberManager::get();
    for (const auto& entry : m_frameGrabberMap) {
        grabbers->unregisterFrameGrabberAssignment(entry.second->name(), this);
    }
}

bool Device::getFeature(const std::string&, void*) {
    return true;
}

bool Device::setFeature(const std::string&, void*) {
    return true;
}

bool Device::showDialog(unsigned int) {
    return true;
}

bool Device::snapshot(ImgRefPtr& image) {
    const FrameGrabberRefPtr grabber = frameGrabber(0);
    return grabber.isValid() && grabber->snapshot(image);
}

DeviceDetector* Device::detector() const {
    return nullptr;
}

bool Device::addHwComponent(int index, const FrameGrabberRefPtr& grabber) {
    if (grabber.isNull()) return false;
    FrameGrabberManager::get()->registerFrameGrabberAssignment(grabber->name(), this);
    return insertComponent(m_frameGrabberMap, index, grabber);
}

bool Device::addHwComponent(int index, const ProcessorRefPtr& processor) {
    return processor.isValid() && insertComponent(m_processorMap, index, processor);
}

bool Device::addHwComponent(int index, const SensorRefPtr& sensor) {
    return sensor.isValid() && insertComponent(m_sensorMap, index, sensor);
}

FrameGrabberRefPtr Device::frameGrabber(int index) const {
    return componentAt(m_frameGrabberMap, index);
}

ProcessorRefPtr Device::processor(int index) const {
    return componentAt(m_processorMap, index);
}

SensorRefPtr Device::sensor(int index) const {
    return componentAt(m_sensorMap, index);
}

std::vector<FrameGrabberRefPtr> Device::frameGrabbers() const {
    return componentsOf(m_frameGrabberMap);
}

std::vector<ProcessorRefPtr> Device::processors() const {
    return componentsOf(m_processorMap);
}

std::vector<SensorRefPtr> Device::sensors() const {
    return componentsOf(m_sensorMap);
}

template <class Handle>
bool Device::insertComponent(std::map<int, Handle>& map, int index, const Handle& component) {
    MutexLock lock(&m_lock);
    return map.emplace(index, component).second;
}

template <class Handle>
Handle Device::componentAt(const std::map<int, Handle>& map, int index) const {
    MutexLock lock(&m_lock);
    auto it = map.find(index);
    return it == map.end() ? Handle() : it->second;
}

template <class Handle>
std::vector<Handle> Device::componentsOf(const std::map<int, Handle>& map) const {
    MutexLock lock(&m_lock);
    std::vector<Handle> components;
    components.reserve(map.size());
    for (const auto& entry : map) components.push_back(entry.second);
    return components;
}

}  // namespace Korvane
