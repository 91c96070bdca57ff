#pragma once
// A Topology is one processing setup: the devices, displays, operators, operator
// processes and buffers that belong together. start() claims each component exclusively
// in the TopologyManager and starts it, in the order operators, operator processes,
// displays, buffers, devices (so consumers run before a device delivers); stop() stops
// and frees them in the same order. The topology shares the handles of its components;
// clear() also releases them from their managers, as far as the ownership hint says.
//
// Threads: start, stop, clear and the list operations are called from one thread at a
// time, and the lists change only while the topology is stopped (they are not locked).
// Two topologies may be started on different threads: the claim table decides which one
// gets a shared component.
//
// Decisions: a process or display that already reads Idle at stop() (the host stopped
// it, or no thread could be made for it) is not stopped again, but its claim is freed
// there as well, so another topology can take the setup over. A null component fails
// its claim like a claimed one. remove() takes every entry of the handle out of its
// list. clear() releases a component only when its manager keeps that very object under
// its name. The destructor stops the components before it frees the claims left with
// this topology, so no other topology can claim a component this one still stops. An
// exception from a device's start() frees that device's claim and leaves start(); one
// from its stop() is logged.
//
// Example:
//   TopologyRefPtr setup = TopologyManager::get()->create("Topology", name, true);
//   setup->add(camera, Topology::StartDevices);
//   setup->add(process);
//   setup->connect(camera, "Output", threshold, "In", 16);
//   try {
//       setup->start();
//   } catch (const std::runtime_error& failure) {  // a component is in use elsewhere
//       setup->stop();
//   }

#include <korvane/buffers/BufferManager.h>
#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/process/PtrWrapper.h>

#include <memory>
#include <string>
#include <vector>

namespace Korvane {

namespace Internal {
class SafeStarter;
}

class KORVANE_API Topology : public ManageableType {
public:
    // Whether start() claims and starts the devices. Every value but StartDevices
    // leaves them alone.
    enum DeviceUsageHint : unsigned int {
        StartDevices = 0,
        LeaveDevices = 1,
    };

    // What clear() releases from the managers. Every value but OwnAll and
    // OwnAllButDevices releases only the buffers.
    enum OwnershipHint : unsigned int {
        OwnAll = 0,            // devices, displays, operators, operator processes, buffers
        OwnAllButDevices = 1,  // displays, operators, operator processes, buffers
        OwnBuffersOnly = 2,    // buffers
    };

    // Component type "Topology"; empty lists, StartDevices, OwnAllButDevices.
    Topology();
    Topology(const Topology&) = delete;
    Topology& operator=(const Topology&) = delete;
    // Stops the components, releases them by the ownership hint (clear()) and frees
    // every claim left with this topology.
    ~Topology() override;

    // A new, empty topology: the factory the TopologyManager calls on a prototype.
    virtual Topology* createCopy();

    // Appends d; hint then holds for every device of the topology (the last call wins).
    void add(const DeviceRefPtr& d, DeviceUsageHint hint);
    // Append to their lists; a handle may be added twice (its second claim then fails).
    void add(const DisplayRefPtr& display);
    void add(const OperatorProcessRefPtr& process);
    void add(const OperatorRefPtr& op);
    void remove(const DeviceRefPtr& d);
    void remove(const DisplayRefPtr& display);
    void remove(const OperatorProcessRefPtr& process);
    void remove(const OperatorRefPtr& op);

    // Has BufferManager::connect make a buffer of size items between src's output slot
    // srcSlot and dst's input slot dstSlot, and keeps it in the buffer list. False, with
    // no buffer left behind, when the manager makes none (an unknown slot, different
    // element types, a null owner) or when size exceeds the largest int.
    bool connect(BufferSlotPtrWrapper src, const std::string& srcSlot, BufferSlotPtrWrapper dst,
                 const std::string& dstSlot, BufferType type, unsigned int size);
    // The same with a FIFO.
    bool connect(BufferSlotPtrWrapper src, const std::string& srcSlot, BufferSlotPtrWrapper dst,
                 const std::string& dstSlot, unsigned int size);

    // The first listed component of that name, or a null handle.
    DeviceRefPtr deviceInstance(const std::string& name) const;
    DisplayRefPtr displayInstance(const std::string& name) const;
    OperatorRefPtr operatorInstance(const std::string& name) const;
    OperatorProcessRefPtr processInstance(const std::string& name) const;
    // The names of the listed components, in list order.
    std::vector<std::string> deviceNames() const;
    std::vector<std::string> displayNames() const;
    std::vector<std::string> operatorNames() const;
    std::vector<std::string> processNames() const;
    std::vector<std::string> bufferNames() const;

    // Claims and starts the components in the order above. A failed claim throws
    // std::runtime_error ("Topology failed to claim something." for an operator or a
    // buffer, "Topology failed to claim process." for an operator process or a
    // display, "Topology failed to claim device." for a device); what was started
    // before it stays started and claimed until stop(). Starting a running topology
    // makes a second set of claims, which fail.
    void start();
    // Stops and frees every started component, in the order they were started.
    void stop();
    // Whether anything is started (also after a start that threw, until stop()).
    bool isRunning() const;
    // stop(), then releases from their managers: devices (OwnAll); displays, operators
    // and operator processes (OwnAll, OwnAllButDevices); buffers (always). Empties
    // every list.
    void clear();

    DeviceUsageHint deviceUsageHint() const;
    void setDeviceUsageHint(DeviceUsageHint hint);
    OwnershipHint ownershipHint() const;
    void setOwnershipHint(OwnershipHint hint);

private:
    // The steps of start(); each appends the guards it makes to m_starters.
    void startOperators();
    void startProcesses();
    void startDisplays();
    void startBuffers();
    void startDevices();
    // The release steps of clear().
    void releaseDevices();
    void releaseProcessingComponents();
    void releaseBuffers();

    std::vector<DeviceRefPtr> m_devices;
    DeviceUsageHint m_deviceUsageHint = StartDevices;
    std::vector<OperatorProcessRefPtr> m_processes;
    std::vector<OperatorRefPtr> m_operators;
    std::vector<DisplayRefPtr> m_displays;
    std::vector<BufferRefPtr> m_buffers;
    // One guard per started component, in start order; empty while stopped.
    std::vector<std::unique_ptr<Internal::SafeStarter>> m_starters;
    OwnershipHint m_ownershipHint = OwnAllButDevices;
};

}  // namespace Korvane
