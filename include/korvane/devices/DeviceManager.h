#pragma once
// The DeviceManager makes devices from the types plug-ins register, keeps the
// registries of device detectors, frame-grabber, processor and sensor types, and the
// device-type aliases of the alias files. It finds out which device is behind each
// frame grabber (open the grabber, ask the detectors, close it) and attaches grabbers
// to devices. One process-wide instance.
//
// Alias files: "Cameras/Alias.txt" under every directory of "DATA_PATH", read once when
// the manager is built (later edits are not seen). Each line "alias=type" (split at the
// last '='; nothing is trimmed, so a CR of a CRLF file stays in the type) maps an alias
// to a device type; empty lines, lines beginning with '#' and lines without '=' are
// skipped, and a later line or directory overrides an earlier one.
//
// Locks: every operation holds the manager's re-entrant lock, detection included, so
// detection serialises all other calls; it takes the FrameGrabberManager's lock inside
// (always in this order). An exception thrown by a detector reaches the caller with the
// lock released; the grabber it was given then stays open.
// Decisions: backslashes in a "DATA_PATH" directory are read as '/', so paths written
// for Windows still work. The manager makes the FrameGrabberManager before itself is
// complete, so that devices it destroys at exit still find that manager alive.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceDetector.h>
#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/HwComponent.h>

#include <map>
#include <string>
#include <vector>

namespace Korvane {

namespace Internal {

struct KORVANE_API DeviceManagerTraits {};

}  // namespace Internal

class KORVANE_API DeviceManager : public Manager<Device, Internal::DeviceManagerTraits> {
public:
    static DeviceManager* get();

    DeviceManager(const DeviceManager&) = delete;
    DeviceManager& operator=(const DeviceManager&) = delete;

    // A clone of the prototype registered as type, or of the type an alias names,
    // entered under name (which may change). Empty handle and empty name for a null or
    // unknown type, an alias of an unknown type, or a refused name.
    DeviceRefPtr create(const char* type, std::string& name, bool unique);
    // New unnamed components cloned from the registered prototypes, kept in no table;
    // empty for an unknown type.
    ProcessorRefPtr createProcessor(const std::string& type);
    SensorRefPtr createSensor(const std::string& type);

    // An empty detector is refused. A taken name is replaced when the new detector's
    // version is the same or newer, and kept otherwise; both answer true. The plug-in
    // that installed the replaced detector uninstalls it first
    // (PluginLoader::unLoadComponent, which makes the loader if it was not made yet).
    bool registerDetector(const std::string& name, DeviceDetectorRefPtr detector);
    bool unregisterDetector(const std::string& name);
    // A frame-grabber type is also registered with the FrameGrabberManager.
    bool registerFrameGrabber(const std::string& name, const FrameGrabberRefPtr& grabber);
    bool unregisterFrameGrabber(const std::string& name);
    bool registerProcessor(const std::string& name, const ProcessorRefPtr& processor);
    bool unregisterProcessor(const std::string& name);
    bool registerSensor(const std::string& name, const SensorRefPtr& sensor);
    bool unregisterSensor(const std::string& name);

    // The names of the registered detectors, in name order.
    std::vector<std::string> deviceDetectors() const;
    // The alias table: alias -> device type.
    std::map<std::string, std::string> aliases() const;

    // The registered device type behind one grabber (an alias resolved), or an empty
    // text; failures are logged. Without a detector name every detector is asked in
    // name order until one answers.
    std::string detectDevice(const std::string& grabberName);
    std::string detectDevice(const std::string& grabberName, const std::string& detectorName);
    std::string detectDevice(FrameGrabberRefPtr grabber);
    std::string detectDevice(FrameGrabberRefPtr grabber, const std::string& detectorName);

    // Grabber instance name -> device type, for every closed grabber (of the given
    // grabber types) behind which a device was detected.
    std::map<std::string, std::string> detectAllDevices();
    std::map<std::string, std::string> detectAllDevices(const std::string& detectorName);
    std::map<std::string, std::string> detectAllDevices(std::vector<std::string> grabberTypes);
    std::map<std::string, std::string> detectAllDevices(std::vector<std::string> grabberTypes,
                                                        const std::string& detectorName);

    // Re-detects the grabbers (see FrameGrabberManager), then the devices behind them;
    // logs and returns the number of devices found. arg goes to the grabber detectors.
    int detectAll(int arg);
    // Re-detects the grabbers only; returns the number of grabbers known.
    int detectGrabbers(int arg);

    // Attaches grabber to device at its lowest free index and remembers it as
    // connected; false when either handle is empty.
    bool connectFrameGrabber(DeviceRefPtr device, const FrameGrabberRefPtr& grabber);
    // Whether this very grabber object was ever connected to a device.
    bool isGrabberConnected(FrameGrabberRefPtr grabber) const;

    // Empties the instance table without the lock and without events: only while no
    // other thread uses the manager. Registries and aliases stay.
    void clear();

private:
    DeviceManager();
    // Releases the detectors first, then the other tables.
    ~DeviceManager() override;

    // Reads the alias files of every "DATA_PATH" directory.
    void loadAliases();

    // The twins of the public operations; the caller holds m_lock.
    std::string detectDevicePrivate(const FrameGrabberRefPtr& grabber,
                                    const DeviceDetectorRefPtr& detector);
    std::string detectWithAnyPrivate(const FrameGrabberRefPtr& grabber);
    // The registered type itself, or the registered target of an alias; else empty.
    std::string registeredTypePrivate(const std::string& type) const;
    // The detector of that name, or an empty handle after logging that there is none.
    DeviceDetectorRefPtr detectorPrivate(const std::string& name) const;
    // detectorName empty: every detector. grabberTypes null: every grabber type.
    std::map<std::string, std::string> detectAllDevicesPrivate(
        const std::vector<std::string>* grabberTypes, const std::string* detectorName);

    // All guarded by m_lock.
    std::vector<FrameGrabberRefPtr> m_connectedGrabbers;  // in order of connection
    std::map<std::string, DeviceDetectorRefPtr> m_detectors;
    std::map<std::string, SensorRefPtr> m_sensors;
    std::map<std::string, ProcessorRefPtr> m_processors;
    std::map<std::string, FrameGrabberRefPtr> m_frameGrabbers;
    std::map<std::string, std::string> m_aliases;  // alias -> device type
};

}  // namespace Korvane
