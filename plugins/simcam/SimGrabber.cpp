#include "SimGrabber.h"

#include <korvane/config/Registry.h>
#include <korvane/config/SysEnv.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/image/ImageManager.h>
#include <korvane/log/LogFunctions.h>

#include "TestPattern.h"

using namespace Korvane;

namespace KorvaneSample {

namespace {

constexpr int maxGrabbers = 16;
constexpr char countVariable[] = "SIMCAM_GRABBERS";

std::atomic<unsigned int> nextId{0};

// text as a grabber count, or -1 when it is not a whole number from 0 to 16.
int countFrom(const std::string& text) {
    if (text.empty() || text.size() > 2) return -1;
    int count = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return -1;
        count = count * 10 + (c - '0');
    }
    return count <= maxGrabbers ? count : -1;
}

// The variable's text from the Registry, else from the environment; empty when unset.
std::string countSetting() {
    std::string text;
    if (Registry::get()->getProperty(countVariable, &text)) return text;
    long long number = 0;
    if (Registry::get()->getProperty(countVariable, &number)) return std::to_string(number);
    return SysEnv::variable(countVariable);
}

}  // namespace

// ---- SimGrabber ----------------------------------------------------------------------

SimGrabber::SimGrabber() : FrameGrabber(false) {}

SimGrabber::SimGrabber(const SimGrabber& other) : FrameGrabber(other) {
    std::lock_guard<std::mutex> lock(other.m_lock);
    m_width = other.m_width;
    m_height = other.m_height;
    m_quantumId = other.m_quantumId;
    m_frameRate = other.m_frameRate;
    setId("SIM-" + std::to_string(nextId.fetch_add(1)));
}

bool SimGrabber::connect() {
    m_open = true;
    return true;
}

void SimGrabber::disconnect() {
    m_grabbing = false;
    m_open = false;
}

bool SimGrabber::setFormat(unsigned int width, unsigned int height, unsigned int quantumId) {
    if (width < 1 || width > 16384 || height < 1 || height > 16384 ||
        (quantumId != 129 && quantumId != 257)) {
        return false;
    }
    std::lock_guard<std::mutex> lock(m_lock);
    m_width = width;
    m_height = height;
    m_quantumId = quantumId;
    return true;
}

bool SimGrabber::format(unsigned int& width, unsigned int& height, unsigned int& quantumId) const {
    std::lock_guard<std::mutex> lock(m_lock);
    width = m_width;
    height = m_height;
    quantumId = m_quantumId;
    return true;
}

bool SimGrabber::setFrameRate(double framesPerSecond) {
    if (!(framesPerSecond >= 0.0 && framesPerSecond <= 100000.0)) return false;
    std::lock_guard<std::mutex> lock(m_lock);
    m_frameRate = framesPerSecond;
    return true;
}

double SimGrabber::frameRate() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_frameRate;
}

bool SimGrabber::snapshot(ImgRefPtr& image) {
    unsigned int width = 0, height = 0, quantumId = 0;
    format(width, height, quantumId);
    ImgRefPtr frame = ImageManager::get()->createAnonymous(quantumId, width, height, 1);
    if (frame.isNull()) return false;
    const TestPattern pattern(TestPattern::Gradient, quantumId, width, height);
    if (!pattern.draw(*frame, m_snapshots.fetch_add(1))) return false;
    image = frame;
    return true;
}

bool SimGrabber::grabStart() {
    if (!m_open) return false;
    m_grabbing = true;
    return true;
}

bool SimGrabber::grabStop() {
    m_grabbing = false;
    return true;
}

// ---- SimGrabberDetector --------------------------------------------------------------

SimGrabberDetector::SimGrabberDetector() {
    static const PropertyText description = PropertyText::permanent(
        "Simulated grabbers each detection finds, 0 to 16; the variable SIMCAM_GRABBERS, "
        "when set, gives the number instead.");
    addProperty("GrabberCount", 1, int32_property, read_write_access, 0, description);
}

int SimGrabberDetector::grabberCount() const {
    const std::string setting = countSetting();
    if (!setting.empty()) {
        const int count = countFrom(setting);
        if (count >= 0) return count;
        korvLogWarning(std::string("[SimGrabberDetector] ") + countVariable + " \"" + setting +
                       "\" is not a number from 0 to 16; \"GrabberCount\" is used.");
    }
    int count = 1;
    getProperty("GrabberCount", &count);
    if (count >= 0 && count <= maxGrabbers) return count;
    korvLogWarning("[SimGrabberDetector] \"GrabberCount\" " + std::to_string(count) +
                   " is out of its range 0 to 16; no grabbers are made.");
    return 0;
}

std::list<FrameGrabberRefPtr> SimGrabberDetector::detect(
    int, std::map<std::string, FrameGrabberRefPtr>& found) {
    std::list<FrameGrabberRefPtr> grabbers;
    const int count = grabberCount();
    for (int i = 0; i < count; ++i) {
        std::string name = "SimGrabber" + std::to_string(i);
        FrameGrabberRefPtr grabber = FrameGrabberManager::get()->create("SimGrabber", name, true);
        if (grabber.isNull()) continue;
        found[name] = grabber;
        grabbers.push_back(grabber);
    }
    return grabbers;
}

}  // namespace KorvaneSample
