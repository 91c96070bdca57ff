#pragma once
// The FrameGrabberManager holds the frame grabbers present on the machine as named
// instances, made from the prototypes that reach it through
// DeviceManager::registerFrameGrabber, and the frame-grabber detectors that find them.
// Detection (through the DeviceManager) asks every detector, in name order, to enter
// the grabbers it finds with create. The manager also records which devices each
// grabber is attached to. One process-wide instance.
//
// Locks: registration, creation and detection hold the manager's re-entrant lock; a
// detection from the DeviceManager holds the device manager's lock first, so code under
// this manager's lock (detectors, grabber clones) must not call the DeviceManager. The
// assignment records have a lock of their own, not the manager's, because devices
// withdraw their assignments from their destructors on any thread, possibly while a
// detection holds the manager.
// Decisions: a detection releases the grabbers it drops after the manager's lock is
// released. An empty detector handle, or an empty detector name, is refused.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/FrameGrabberDetector.h>
#include <korvane/platform/Mutex.h>

#include <map>
#include <string>
#include <vector>

namespace Korvane {

class Device;
class DeviceManager;

namespace Internal {

struct KORVANE_API FrameGrabberManagerTraits {};
// Reaches the private detection operations in tests.
struct FrameGrabberManagerProbe;

}  // namespace Internal

class KORVANE_API FrameGrabberManager
    : public Manager<FrameGrabber, Internal::FrameGrabberManagerTraits> {
public:
    static FrameGrabberManager* get();

    FrameGrabberManager(const FrameGrabberManager&) = delete;
    FrameGrabberManager& operator=(const FrameGrabberManager&) = delete;

    // A clone of the prototype registered as type, entered under name (which may
    // change). Empty handle and empty name for a null or unknown type or a refused name.
    FrameGrabberRefPtr create(const char* type, std::string& name, bool unique);

    // True when name was free; the detector's type becomes name (if it had none). A
    // taken name keeps the detector registered first.
    bool registerDetector(const std::string& name, FrameGrabberDetectorRefPtr detector);
    bool unregisterDetector(const std::string& name);
    // The names of the registered detectors, in name order.
    std::vector<std::string> frameGrabberDetectors() const;

    // One record per call, duplicates kept; the device is not owned. Neither checks
    // that a grabber of that name exists.
    void registerFrameGrabberAssignment(const std::string& grabberName, Device* device);
    // Removes the first record of grabberName naming device, if any.
    void unregisterFrameGrabberAssignment(const std::string& grabberName, Device* device);
    // The records themselves, by grabber name. Read them only while no device is being
    // attached or destroyed on another thread; assignedDevices is the locked way.
    const std::multimap<std::string, Device*>& assignedGrabbers() const;
    // The devices grabberName is assigned to, one entry per record, in record order.
    std::vector<Device*> assignedDevices(const std::string& grabberName) const;

    // Empties the instance table without the lock and without events: only while no
    // other thread uses the manager.
    void clear();

private:
    friend class DeviceManager;
    friend struct Internal::FrameGrabberManagerProbe;

    FrameGrabberManager();
    ~FrameGrabberManager() override;

    // Prototypes enter the type table directly, without an event; used by DeviceManager.
    bool registerFrameGrabber(const std::string& name, const FrameGrabberRefPtr& prototype);
    bool unregisterFrameGrabber(const std::string& name);

    // Drops the closed grabbers, asks every detector, logs and returns the number of
    // grabbers now known. Open grabbers stay.
    int detectAll(int arg);
    // Stops and closes every open grabber and drops all, then detects as detectAll.
    int detectGrabbers(int arg);
    // Lets detector enter the grabbers it finds; the answer is always 0.
    int detectGrabberPrivate(const FrameGrabberDetectorRefPtr& detector, int arg, bool unused);
    // Asks every detector in name order; the caller holds m_lock.
    void detectWithAllPrivate(int arg);

    std::map<std::string, FrameGrabberDetectorRefPtr> m_detectors;  // guarded by m_lock
    mutable Mutex m_assignmentLock;  // guards m_assignedGrabbers; taken alone
    std::multimap<std::string, Device*> m_assignedGrabbers;
};

}  // namespace Korvane
