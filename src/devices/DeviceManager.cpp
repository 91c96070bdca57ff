#include <korvane/config/Registry.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogString.h>
#include <korvane/plugins/ComponentType.h>
#include <korvane/plugins/PluginLoader.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <fstream>
#include <iterator>
#include <memory>
#include <tuple>

#include "devices/AliasText.h"

namespace Korvane {

namespace {

constexpr char aliasFile[] = "Cameras/Alias.txt";

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

// Whether version is the same as or newer than registered, comparing major, minor, patch.
bool sameOrNewer(const Version& version, const Version& registered) {
    return std::tie(version.major, version.minor, version.patch) >=
           std::tie(registered.major, registered.minor, registered.patch);
}

// The alias file of one "DATA_PATH" directory; backslashes read as '/'.
std::string aliasFilePath(std::string directory) {
    if (!directory.empty() && directory.back() != '/' && directory.back() != '\\') {
        directory += '/';
    }
    std::string path = directory + aliasFile;
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

// The whole file as bytes; false when it cannot be opened.
bool readWholeFile(const std::string& path, std::string& text) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return true;
}

template <class Handle>
bool registerIn(std::map<std::string, Handle>& map, const std::string& name,
                const Handle& prototype) {
    return map.emplace(name, prototype).second;
}

// A new component cloned from the prototype registered under type; empty when none.
template <class Handle>
Handle cloneOf(const std::map<std::string, Handle>& map, const std::string& type) {
    auto it = map.find(type);
    if (it == map.end() || it->second.isNull()) return Handle();
    return Handle(it->second->clone(), nullptr);
}

}  // namespace

DeviceManager* DeviceManager::get() {
    static DeviceManager manager;
    return &manager;
}

DeviceManager::DeviceManager() {
    FrameGrabberManager::get();
    loadAliases();
}

DeviceManager::~DeviceManager() {
    MutexLock lock(&m_lock);
    m_detectors.clear();
    m_sensors.clear();
    m_processors.clear();
    m_frameGrabbers.clear();
    m_aliases.clear();
    m_connectedGrabbers.clear();
}

void DeviceManager::loadAliases() {
    std::string dataPath;
    Registry::get()->expandProperty("DATA_PATH", &dataPath, true);
    std::vector<std::string> directories;
    boost::split(directories, dataPath, boost::is_any_of(";"));
    for (const std::string& directory : directories) {
        std::string text;
        if (readWholeFile(aliasFilePath(directory), text)) {
            Internal::parseAliasText(text, m_aliases);
        }
    }
}

DeviceRefPtr DeviceManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = registeredTypePrivate(type ? type : "");
    const DeviceRefPtr prototype = prototypePrivate(typeName);
    DeviceRefPtr device;
    if (prototype.isValid()) {
        std::unique_ptr<Device> made(prototype->clone());
        if (made) {
            device = DeviceRefPtr(made.get(), &freeCallback);
            made.release();
        }
    }
    return enterCreatedPrivate(device, typeName, name, unique);
}

ProcessorRefPtr DeviceManager::createProcessor(const std::string& type) {
    MutexLock lock(&m_lock);
    return cloneOf(m_processors, type);
}

SensorRefPtr DeviceManager::createSensor(const std::string& type) {
    MutexLock lock(&m_lock);
    return cloneOf(m_sensors, type);
}

bool DeviceManager::registerDetector(const std::string& name, DeviceDetectorRefPtr detector) {
    if (detector.isNull()) return false;
    DeviceDetectorRefPtr replaced;  // released after the lock
    MutexLock lock(&m_lock);
    auto it = m_detectors.find(name);
    if (it == m_detectors.end()) {
        m_detectors.emplace(name, detector);
        return true;
    }
    if (!sameOrNewer(detector->version(), it->second->version())) return true;
    replaced = it->second;
    // The plug-in that installed the old detector takes it out (through
    // unregisterDetector, on this thread: the lock is re-entrant).
    PluginLoader::get()->unLoadComponent(name, ComponentType::DeviceDetector);
    m_detectors[name] = detector;
    return true;
}

bool DeviceManager::unregisterDetector(const std::string& name) {
    DeviceDetectorRefPtr dropped;  // released after the lock
    MutexLock lock(&m_lock);
    auto it = m_detectors.find(name);
    if (it == m_detectors.end()) return false;
    dropped = it->second;
    m_detectors.erase(it);
    return true;
}

bool DeviceManager::registerFrameGrabber(const std::string& name,
                                         const FrameGrabberRefPtr& grabber) {
    MutexLock lock(&m_lock);
    if (!registerIn(m_frameGrabbers, name, grabber)) return false;
    FrameGrabberManager::get()->registerFrameGrabber(name, grabber);
    return true;
}

bool DeviceManager::unregisterFrameGrabber(const std::string& name) {
    MutexLock lock(&m_lock);
    if (m_frameGrabbers.erase(name) == 0) return false;
    FrameGrabberManager::get()->unregisterFrameGrabber(name);
    return true;
}

bool DeviceManager::registerProcessor(const std::string& name, const ProcessorRefPtr& processor) {
    MutexLock lock(&m_lock);
    return registerIn(m_processors, name, processor);
}

bool DeviceManager::unregisterProcessor(const std::string& name) {
    MutexLock lock(&m_lock);
    return m_processors.erase(name) != 0;
}

bool DeviceManager::registerSensor(const std::string& name, const SensorRefPtr& sensor) {
    MutexLock lock(&m_lock);
    return registerIn(m_sensors, name, sensor);
}

bool DeviceManager::unregisterSensor(const std::string& name) {
    MutexLock lock(&m_lock);
    return m_sensors.erase(name) != 0;
}

std::vector<std::string> DeviceManager::deviceDetectors() const {
    MutexLock lock(&m_lock);
    std::vector<std::string> names;
    for (const auto& entry : m_detectors) names.push_back(entry.first);
    return names;
}

std::map<std::string, std::string> DeviceManager::aliases() const {
    MutexLock lock(&m_lock);
    return m_aliases;
}

std::string DeviceManager::detectDevice(const std::string& grabberName) {
    MutexLock lock(&m_lock);
    const FrameGrabberRefPtr grabber = FrameGrabberManager::get()->instance(grabberName.c_str());
    if (grabber.isNull()) {
        korvLogError("[Device manager] No such frame grabber: " + quoted(grabberName) + ".");
        return std::string();
    }
    return detectWithAnyPrivate(grabber);
}

std::string DeviceManager::detectDevice(const std::string& grabberName,
                                        const std::string& detectorName) {
    MutexLock lock(&m_lock);
    const FrameGrabberRefPtr grabber = FrameGrabberManager::get()->instance(grabberName.c_str());
    if (grabber.isNull()) {
        korvLogError("[Device manager] No such frame grabber: " + quoted(grabberName) + ".");
        return std::string();
    }
    const DeviceDetectorRefPtr detector = detectorPrivate(detectorName);
    return detector.isValid() ? detectDevicePrivate(grabber, detector) : std::string();
}

std::string DeviceManager::detectDevice(FrameGrabberRefPtr grabber) {
    MutexLock lock(&m_lock);
    if (grabber.isNull()) {
        korvLogError("[Device manager] invalid frame grabber.");
        return std::string();
    }
    return detectWithAnyPrivate(grabber);
}

std::string DeviceManager::detectDevice(FrameGrabberRefPtr grabber,
                                        const std::string& detectorName) {
    MutexLock lock(&m_lock);
    if (grabber.isNull()) {
        korvLogError("[Device manager] invalid frame grabber.");
        return std::string();
    }
    const DeviceDetectorRefPtr detector = detectorPrivate(detectorName);
    return detector.isValid() ? detectDevicePrivate(grabber, detector) : std::string();
}

std::map<std::string, std::string> DeviceManager::detectAllDevices() {
    MutexLock lock(&m_lock);
    return detectAllDevicesPrivate(nullptr, nullptr);
}

std::map<std::string, std::string> DeviceManager::detectAllDevices(
    const std::string& detectorName) {
    MutexLock lock(&m_lock);
    return detectAllDevicesPrivate(nullptr, &detectorName);
}

std::map<std::string, std::string> DeviceManager::detectAllDevices(
    std::vector<std::string> grabberTypes) {
    MutexLock lock(&m_lock);
    return detectAllDevicesPrivate(&grabberTypes, nullptr);
}

std::map<std::string, std::string> DeviceManager::detectAllDevices(
    std::vector<std::string> grabberTypes, const std::string& detectorName) {
    MutexLock lock(&m_lock);
    return detectAllDevicesPrivate(&grabberTypes, &detectorName);
}

int DeviceManager::detectAll(int arg) {
    MutexLock lock(&m_lock);
    FrameGrabberManager::get()->detectAll(arg);
    const auto devices = detectAllDevicesPrivate(nullptr, nullptr);
    const int count = static_cast<int>(devices.size());
    korvLogInfo(LogString("Detected %1 devices.").arg(count).get());
    return count;
}

int DeviceManager::detectGrabbers(int arg) {
    MutexLock lock(&m_lock);
    FrameGrabberManager* grabbers = FrameGrabberManager::get();
    grabbers->detectAll(arg);
    return static_cast<int>(grabbers->instanceCount());
}

bool DeviceManager::connectFrameGrabber(DeviceRefPtr device, const FrameGrabberRefPtr& grabber) {
    if (device.isNull() || grabber.isNull()) return false;
    MutexLock lock(&m_lock);
    m_connectedGrabbers.push_back(grabber);
    int index = 0;
    while (device->frameGrabber(index).isValid()) ++index;
    device->addHwComponent(index, grabber);
    return true;
}

bool DeviceManager::isGrabberConnected(FrameGrabberRefPtr grabber) const {
    if (grabber.isNull()) return false;
    MutexLock lock(&m_lock);
    return std::find(m_connectedGrabbers.begin(), m_connectedGrabbers.end(), grabber) !=
           m_connectedGrabbers.end();
}

void DeviceManager::clear() {
    clearInstancesPrivate();
}

std::string DeviceManager::detectDevicePrivate(const FrameGrabberRefPtr& grabber,
                                               const DeviceDetectorRefPtr& detector) {
    const std::string grabberName = grabber->name();
    if (grabber->isConnected()) {
        korvLogWarning("[Device manager] Frame grabber: " + quoted(grabberName) +
                       " already in use, cannot detect device.");
        return std::string();
    }
    if (!grabber->connect()) {
        korvLogError("[Device manager] Cannot connect to frame grabber: " + quoted(grabberName) +
                     ".");
        return std::string();
    }
    const std::string type = detector->detect(grabber);  // a throw leaves the grabber open
    grabber->disconnect();
    const std::string registered = registeredTypePrivate(type);
    if (registered.empty()) {
        korvLogWarning("[Device manager] Device type: " + quoted(type) +
                       " is not a registered type, please make sure the required plugins are "
                       "installed before using this plugin.");
    }
    return registered;
}

std::string DeviceManager::detectWithAnyPrivate(const FrameGrabberRefPtr& grabber) {
    // A copy, so that a detector may register or unregister detectors from its detect.
    const auto detectors = m_detectors;
    for (const auto& entry : detectors) {
        std::string type = detectDevicePrivate(grabber, entry.second);
        if (!type.empty()) return type;
    }
    return std::string();
}

std::string DeviceManager::registeredTypePrivate(const std::string& type) const {
    if (type.empty()) return std::string();
    if (typeExistsPrivate(type)) return type;
    auto alias = m_aliases.find(type);
    if (alias != m_aliases.end() && typeExistsPrivate(alias->second)) return alias->second;
    return std::string();
}

DeviceDetectorRefPtr DeviceManager::detectorPrivate(const std::string& name) const {
    auto it = m_detectors.find(name);
    if (it != m_detectors.end()) return it->second;
    korvLogError("[Device manager] No such device detector: " + quoted(name) + ".");
    return DeviceDetectorRefPtr();
}

std::map<std::string, std::string> DeviceManager::detectAllDevicesPrivate(
    const std::vector<std::string>* grabberTypes, const std::string* detectorName) {
    DeviceDetectorRefPtr only;
    if (detectorName) {
        only = detectorPrivate(*detectorName);
        if (only.isNull()) return {};
    }
    FrameGrabberManager* grabbers = FrameGrabberManager::get();
    std::map<std::string, std::string> devices;
    for (const std::string& name : grabbers->instanceList()) {
        const FrameGrabberRefPtr grabber = grabbers->instance(name.c_str());
        if (grabber.isNull() || grabber->isConnected()) continue;
        if (grabberTypes && std::find(grabberTypes->begin(), grabberTypes->end(),
                                      grabber->type()) == grabberTypes->end()) {
            continue;
        }
        const std::string type =
            only.isValid() ? detectDevicePrivate(grabber, only) : detectWithAnyPrivate(grabber);
        if (!type.empty()) devices[name] = type;
    }
    return devices;
}

}  // namespace Korvane
