#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/log/LogFunctions.h>

#include <memory>

namespace Korvane {

namespace {

// The two detections report with different texts; "%i" is the grabber count.
constexpr char detectAllMessage[] = "FrameGrabberManager has detected %i grabbers(s).";
constexpr char detectGrabbersMessage[] = "FrameGrabberManager has detected %i grabber(s).";

std::string withCount(const std::string& format, std::size_t count) {
    std::string text = format;
    text.replace(text.find("%i"), 2, std::to_string(count));
    return text;
}

}  // namespace

FrameGrabberManager* FrameGrabberManager::get() {
    static FrameGrabberManager manager;
    return &manager;
}

FrameGrabberManager::FrameGrabberManager() = default;

FrameGrabberManager::~FrameGrabberManager() {
    MutexLock lock(&m_lock);
    m_detectors.clear();
}

FrameGrabberRefPtr FrameGrabberManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    const FrameGrabberRefPtr prototype = prototypePrivate(typeName);
    FrameGrabberRefPtr grabber;
    if (prototype.isValid()) {
        std::unique_ptr<FrameGrabber> made(prototype->clone());
        if (made) {
            grabber = FrameGrabberRefPtr(made.get(), &freeCallback);
            made.release();
        }
    }
    return enterCreatedPrivate(grabber, typeName, name, unique);
}

bool FrameGrabberManager::registerDetector(const std::string& name,
                                           FrameGrabberDetectorRefPtr detector) {
    if (detector.isNull() || name.empty()) return false;
    MutexLock lock(&m_lock);
    if (!m_detectors.emplace(name, detector).second) return false;
    detector->setType(name);
    return true;
}

bool FrameGrabberManager::unregisterDetector(const std::string& name) {
    FrameGrabberDetectorRefPtr dropped;  // released after the lock
    MutexLock lock(&m_lock);
    auto it = m_detectors.find(name);
    if (it == m_detectors.end()) return false;
    dropped = it->second;
    m_detectors.erase(it);
    return true;
}

std::vector<std::string> FrameGrabberManager::frameGrabberDetectors() const {
    MutexLock lock(&m_lock);
    std::vector<std::string> names;
    for (const auto& entry : m_detectors) names.push_back(entry.first);
    return names;
}

void FrameGrabberManager::registerFrameGrabberAssignment(const std::string& grabberName,
                                                         Device* device) {
    MutexLock lock(&m_assignmentLock);
    m_assignedGrabbers.emplace(grabberName, device);
}

void FrameGrabberManager::unregisterFrameGrabberAssignment(const std::string& grabberName,
                                                           Device* device) {
    MutexLock lock(&m_assignmentLock);
    auto [first, last] = m_assignedGrabbers.equal_range(grabberName);
    for (auto it = first; it != last; ++it) {
        if (it->second == device) {
            m_assignedGrabbers.erase(it);
            return;
        }
    }
}

const std::multimap<std::string, Device*>& FrameGrabberManager::assignedGrabbers() const {
    return m_assignedGrabbers;
}

std::vector<Device*> FrameGrabberManager::assignedDevices(const std::string& grabberName) const {
    MutexLock lock(&m_assignmentLock);
    std::vector<Device*> devices;
    auto [first, last] = m_assignedGrabbers.equal_range(grabberName);
    for (auto it = first; it != last; ++it) devices.push_back(it->second);
    return devices;
}

void FrameGrabberManager::clear() {
    clearInstancesPrivate();
}

bool FrameGrabberManager::registerFrameGrabber(const std::string& name,
                                               const FrameGrabberRefPtr& prototype) {
    MutexLock lock(&m_lock);
    return insertTypePrivate(name, prototype);
}

bool FrameGrabberManager::unregisterFrameGrabber(const std::string& name) {
    MutexLock lock(&m_lock);
    return unregisterTypePrivate(name);
}

int FrameGrabberManager::detectAll(int arg) {
    std::vector<FrameGrabberRefPtr> dropped;  // released after the lock
    MutexLock lock(&m_lock);
    for (const std::string& name : instanceListPrivate()) {
        FrameGrabberRefPtr grabber = instancePrivate(name);
        if (grabber->isConnected()) continue;
        dropped.push_back(grabber);
        releaseInstance(name.c_str());  // re-entrant: the lock is held
    }
    detectWithAllPrivate(arg);
    const std::size_t count = instanceCountPrivate();
    korvLogInfo(withCount(detectAllMessage, count));
    return static_cast<int>(count);
}

int FrameGrabberManager::detectGrabbers(int arg) {
    std::vector<FrameGrabberRefPtr> dropped;  // released after the lock
    MutexLock lock(&m_lock);
    for (const std::string& name : instanceListPrivate()) {
        FrameGrabberRefPtr grabber = instancePrivate(name);
        if (grabber->isConnected()) {
            if (grabber->isGrabbing()) grabber->grabStop();
            grabber->disconnect();
        }
        dropped.push_back(grabber);
        releaseInstance(name.c_str());  // re-entrant: the lock is held
    }
    detectWithAllPrivate(arg);
    const std::size_t count = instanceCountPrivate();
    korvLogInfo(withCount(detectGrabbersMessage, count));
    return static_cast<int>(count);
}

int FrameGrabberManager::detectGrabberPrivate(const FrameGrabberDetectorRefPtr& detector, int arg,
                                              bool) {
    if (detector.isNull()) return 0;
    std::map<std::string, FrameGrabberRefPtr> found;
    detector->detect(arg, found);
    return 0;
}

void FrameGrabberManager::detectWithAllPrivate(int arg) {
    // A copy, so that a detector may register or unregister detectors from its detect.
    const auto detectors = m_detectors;
    for (const auto& entry : detectors) detectGrabberPrivate(entry.second, arg, false);
}

}  // namespace Korvane
