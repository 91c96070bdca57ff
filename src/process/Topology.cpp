#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/Display.h>
#include <korvane/devices/DisplayManager.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/OperatorProcess.h>
#include <korvane/process/Topology.h>
#include <korvane/process/TopologyManager.h>

#include <algorithm>
#include <limits>

#include "process/SafeStarter.h"

namespace Korvane {

namespace {

template <class Handle>
void eraseAll(std::vector<Handle>& list, const Handle& handle) {
    list.erase(std::remove(list.begin(), list.end(), handle), list.end());
}

template <class Handle>
Handle findByName(const std::vector<Handle>& list, const std::string& name) {
    for (const Handle& component : list) {
        if (component.isValid() && component->name() == name) return component;
    }
    return Handle();
}

template <class Handle>
std::vector<std::string> namesOf(const std::vector<Handle>& list) {
    std::vector<std::string> names;
    names.reserve(list.size());
    for (const Handle& component : list) names.push_back(Internal::nameOf(component));
    return names;
}

// Releases component from manager, but only if it is the instance the manager keeps
// under its name (not another object that took the name later).
template <class Manager, class Handle>
void releaseFrom(Manager* manager, const Handle& component) {
    if (component.isNull()) return;
    const std::string name = component->name();
    if (manager->instance(name.c_str()) == component) manager->releaseInstance(name.c_str());
}

}  // namespace

Topology::Topology() : ManageableType("Topology") {}

Topology::~Topology() {
    clear();
    TopologyManager::get()->freeExclusive(this);
}

Topology* Topology::createCopy() {
    return new Topology;
}

// ---- lists ------------------------------------------------------------------------------

void Topology::add(const DeviceRefPtr& d, DeviceUsageHint hint) {
    m_devices.push_back(d);
    m_deviceUsageHint = hint;
}

void Topology::add(const DisplayRefPtr& display) {
    m_displays.push_back(display);
}

void Topology::add(const OperatorProcessRefPtr& process) {
    m_processes.push_back(process);
}

void Topology::add(const OperatorRefPtr& op) {
    m_operators.push_back(op);
}

void Topology::remove(const DeviceRefPtr& d) {
    eraseAll(m_devices, d);
}

void Topology::remove(const DisplayRefPtr& display) {
    eraseAll(m_displays, display);
}

void Topology::remove(const OperatorProcessRefPtr& process) {
    eraseAll(m_processes, process);
}

void Topology::remove(const OperatorRefPtr& op) {
    eraseAll(m_operators, op);
}

bool Topology::connect(BufferSlotPtrWrapper src, const std::string& srcSlot,
                       BufferSlotPtrWrapper dst, const std::string& dstSlot, BufferType type,
                       unsigned int size) {
    if (size > static_cast<unsigned int>(std::numeric_limits<int>::max())) return false;
    BufferRefPtr buffer =
        BufferManager::get()->connect(src, srcSlot, dst, dstSlot, type, static_cast<int>(size));
    if (buffer.isNull()) return false;
    m_buffers.push_back(buffer);
    return true;
}

bool Topology::connect(BufferSlotPtrWrapper src, const std::string& srcSlot,
                       BufferSlotPtrWrapper dst, const std::string& dstSlot, unsigned int size) {
    return connect(src, srcSlot, dst, dstSlot, BufferFifo, size);
}

// ---- queries ----------------------------------------------------------------------------

DeviceRefPtr Topology::deviceInstance(const std::string& name) const {
    return findByName(m_devices, name);
}

DisplayRefPtr Topology::displayInstance(const std::string& name) const {
    return findByName(m_displays, name);
}

OperatorRefPtr Topology::operatorInstance(const std::string& name) const {
    return findByName(m_operators, name);
}

OperatorProcessRefPtr Topology::processInstance(const std::string& name) const {
    return findByName(m_processes, name);
}

std::vector<std::string> Topology::deviceNames() const {
    return namesOf(m_devices);
}

std::vector<std::string> Topology::displayNames() const {
    return namesOf(m_displays);
}

std::vector<std::string> Topology::operatorNames() const {
    return namesOf(m_operators);
}

std::vector<std::string> Topology::processNames() const {
    return namesOf(m_processes);
}

std::vector<std::string> Topology::bufferNames() const {
    return namesOf(m_buffers);
}

// ---- running ----------------------------------------------------------------------------

void Topology::start() {
    startOperators();
    startProcesses();
    startDisplays();
    startBuffers();
    if (m_deviceUsageHint == StartDevices) startDevices();
}

void Topology::startOperators() {
    for (const OperatorRefPtr& op : m_operators) {
        m_starters.push_back(std::make_unique<Internal::SafeMisc<OperatorRefPtr>>(
            op, ComponentType::Operator, this));
    }
}

void Topology::startProcesses() {
    for (const OperatorProcessRefPtr& process : m_processes) {
        m_starters.push_back(std::make_unique<Internal::SafeProcess<OperatorProcessRefPtr>>(
            process, ComponentType::OperatorProcess, this));
    }
}

void Topology::startDisplays() {
    for (const DisplayRefPtr& display : m_displays) {
        m_starters.push_back(std::make_unique<Internal::SafeProcess<DisplayRefPtr>>(
            display, ComponentType::Display, this));
    }
}

void Topology::startBuffers() {
    for (const BufferRefPtr& buffer : m_buffers) {
        m_starters.push_back(std::make_unique<Internal::SafeMisc<BufferRefPtr>>(
            buffer, ComponentType::Buffer, this));
    }
}

void Topology::startDevices() {
    for (const DeviceRefPtr& device : m_devices) {
        m_starters.push_back(std::make_unique<Internal::SafeDevice>(device, this));
    }
}

void Topology::stop() {
    for (auto& starter : m_starters) starter.reset();
    m_starters.clear();
}

bool Topology::isRunning() const {
    return !m_starters.empty();
}

void Topology::clear() {
    stop();
    if (m_ownershipHint == OwnAll) releaseDevices();
    m_devices.clear();
    if (m_ownershipHint == OwnAll || m_ownershipHint == OwnAllButDevices) {
        releaseProcessingComponents();
    }
    m_displays.clear();
    m_operators.clear();
    m_processes.clear();
    releaseBuffers();
    m_buffers.clear();
}

void Topology::releaseDevices() {
    for (const DeviceRefPtr& device : m_devices) releaseFrom(DeviceManager::get(), device);
}

void Topology::releaseProcessingComponents() {
    for (const DisplayRefPtr& display : m_displays) releaseFrom(DisplayManager::get(), display);
    for (const OperatorRefPtr& op : m_operators) releaseFrom(OperatorManager::get(), op);
    OperatorManager* operators = OperatorManager::get();
    for (const OperatorProcessRefPtr& process : m_processes) {
        if (process.isNull()) continue;
        const std::string name = process->name();
        if (operators->process(name.c_str()) == process) operators->releaseProcess(name.c_str());
    }
}

void Topology::releaseBuffers() {
    for (const BufferRefPtr& buffer : m_buffers) releaseFrom(BufferManager::get(), buffer);
}

// ---- hints ------------------------------------------------------------------------------

Topology::DeviceUsageHint Topology::deviceUsageHint() const {
    return m_deviceUsageHint;
}

void Topology::setDeviceUsageHint(DeviceUsageHint hint) {
    m_deviceUsageHint = hint;
}

Topology::OwnershipHint Topology::ownershipHint() const {
    return m_ownershipHint;
}

void Topology::setOwnershipHint(OwnershipHint hint) {
    m_ownershipHint = hint;
}

}  // namespace Korvane
