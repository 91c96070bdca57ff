#pragma once
// The guards through which a Topology starts its components. Making a guard claims its
// component in the TopologyManager and, for a process or a device, starts it; destroying
// the guard stops what it started and then frees the claim. A claim that fails (or a
// null component) throws std::runtime_error with the guard's message and leaves no
// guard and no claim behind. The topology owns its guards and makes and destroys them
// on the one thread that starts and stops it.
//
// Decision: a process guard whose process already reads Idle does not stop it again but
// still frees its claim.

#include <korvane/core/Handles.h>
#include <korvane/plugins/ComponentType.h>
#include <korvane/process/ProcessInterface.h>

#include <string>

namespace Korvane {

class Topology;

namespace Internal {

// The root of the guards; it holds the claim itself and frees it last.
class SafeStarter {
public:
    SafeStarter(const SafeStarter&) = delete;
    SafeStarter& operator=(const SafeStarter&) = delete;
    virtual ~SafeStarter();

protected:
    // Claims (type, name) for topology; throws std::runtime_error(failure) when the
    // component is null (present false) or the claim fails.
    SafeStarter(ComponentType type, std::string name, bool present, Topology* topology,
                const char* failure);

private:
    const ComponentType m_type;
    const std::string m_name;
};

// The instance name of a component, empty for a null handle.
template <class Handle>
std::string nameOf(const Handle& component) {
    return component.isValid() ? component->name() : std::string();
}

// Claims a component that runs nothing of its own: an operator or a buffer.
template <class Handle>
class SafeMisc : public SafeStarter {
public:
    SafeMisc(const Handle& component, ComponentType type, Topology* topology)
        : SafeStarter(type, nameOf(component), component.isValid(), topology,
                      "Topology failed to claim something."),
          m_component(component) {}

private:
    const Handle m_component;
};

// Claims and starts a process: an operator process or a display.
template <class Handle>
class SafeProcess : public SafeStarter {
public:
    SafeProcess(const Handle& process, ComponentType type, Topology* topology)
        : SafeStarter(type, nameOf(process), process.isValid(), topology,
                      "Topology failed to claim process."),
          m_process(process) {
        m_process->startProcess();
    }
    ~SafeProcess() override {
        if (m_process->status() != ProcessInterface::Idle) m_process->stopProcess();
    }

private:
    const Handle m_process;
};

// Claims a device and begins its acquisition; an exception from the device's start()
// frees the claim and passes on. Destroying the guard ends the acquisition; an
// exception from the device's stop() is logged.
class SafeDevice : public SafeStarter {
public:
    SafeDevice(const DeviceRefPtr& device, Topology* topology);
    ~SafeDevice() override;

private:
    const DeviceRefPtr m_device;
};

}  // namespace Internal
}  // namespace Korvane
