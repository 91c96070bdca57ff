#include "SimCamera.h"

#include <korvane/image/ImageManager.h>
#include <korvane/log/LogFunctions.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

using namespace Korvane;

namespace KorvaneSample {

namespace {

constexpr long long maxSide = 16384;
constexpr double maxFrameRate = 100000.0;
constexpr unsigned int uint8Samples = 129;
constexpr unsigned int uint16Samples = 257;
// Extra pool frames beyond the output buffer's MaxSize: the one being drawn and those
// the consumer holds while it works on them.
constexpr int poolHeadroom = 4;
// How long the thread rests before looking again for a free frame (blocking) or
// before the next frame after a drop at FrameRate 0.
constexpr std::chrono::milliseconds retryPause(1);

std::atomic<unsigned int> nextSerial{0};

std::string makeSerial() {
    char text[16];
    std::snprintf(text, sizeof text, "SC-%06u", nextSerial.fetch_add(1));
    return text;
}

std::string outOfRange(const char* name, const std::string& value, const std::string& range) {
    return std::string("\"") + name + "\" " + value + " is out of its range " + range;
}

}  // namespace

SimCamera::SimCamera() : m_serialNumber(makeSerial()) {
    addBufferSlot("Output", "Image", slot_output, "The frames the camera delivers.", false);
    declareProperties();
}

SimCamera::SimCamera(const SimCamera& other) : Device(other), m_serialNumber(makeSerial()) {
    std::lock_guard<std::mutex> lock(other.m_settingsLock);
    m_accepted = other.m_accepted;
    setPropertyForce("FramesDropped", 0LL);
}

SimCamera::~SimCamera() {
    stop();
}

void SimCamera::declareProperties() {
    static const PropertyText width = PropertyText::permanent("Frame width in pixels, 1 to 16384.");
    static const PropertyText height =
        PropertyText::permanent("Frame height in pixels, 1 to 16384.");
    static const PropertyText sampleType =
        PropertyText::permanent("Sample type of the frames: uint8 or uint16 (unsigned).");
    static const PropertyText frameRate = PropertyText::permanent(
        "Frames per second, 0 to 100000; 0 delivers as fast as the consumer takes them.");
    static const PropertyText pattern = PropertyText::permanent(
        "Gradient: a diagonal ramp; Bars: eight grey bars. Either moves one step per frame.");
    static const PropertyText frameCount = PropertyText::permanent(
        "Frames to deliver after each start, then the camera stops delivering; 0 for no "
        "limit.");
    static const PropertyText dropped = PropertyText::permanent(
        "Frames dropped since the last start because the output buffer was full and does "
        "not block pushes.");
    addProperty("Width", 640, int32_property, read_write_access, 0, width);
    addProperty("Height", 480, int32_property, read_write_access, 0, height);
    addProperty("SampleType", 0LL, std::vector<std::string>{"uint8", "uint16"}, enum_property,
                read_write_access, 0, sampleType);
    addProperty("FrameRate", 30.0, double_property, read_write_access, 0, frameRate);
    addProperty("Pattern", 0LL, std::vector<std::string>{"Gradient", "Bars"}, enum_property,
                read_write_access, 0, pattern);
    addProperty("FrameCount", 0LL, int64_property, read_write_access, 0, frameCount);
    addProperty("FramesDropped", 0LL, int64_property, read_access, 0, dropped);
}

bool SimCamera::readSettings(Settings& settings, std::string& problem) const {
    long long width = 0, height = 0, frameCount = 0;
    double frameRate = 0.0;
    std::string sampleType, pattern;
    if (!getProperty("Width", &width) || !getProperty("Height", &height) ||
        !getProperty("SampleType", &sampleType) || !getProperty("FrameRate", &frameRate) ||
        !getProperty("Pattern", &pattern) || !getProperty("FrameCount", &frameCount)) {
        problem = "a setting cannot be read";
        return false;
    }
    if (width < 1 || width > maxSide) {
        problem = outOfRange("Width", std::to_string(width), "1 to 16384");
    } else if (height < 1 || height > maxSide) {
        problem = outOfRange("Height", std::to_string(height), "1 to 16384");
    } else if (!(frameRate >= 0.0 && frameRate <= maxFrameRate)) {
        problem = outOfRange("FrameRate", std::to_string(frameRate), "0 to 100000");
    } else if (frameCount < 0) {
        problem = outOfRange("FrameCount", std::to_string(frameCount), "0 and above");
    } else {
        settings.width = static_cast<unsigned int>(width);
        settings.height = static_cast<unsigned int>(height);
        settings.quantumId = sampleType == "uint16" ? uint16Samples : uint8Samples;
        settings.frameRate = frameRate;
        settings.pattern = pattern == "Bars" ? TestPattern::Bars : TestPattern::Gradient;
        settings.frameCount = frameCount;
        return true;
    }
    return false;
}

void SimCamera::writeSettings(const Settings& settings) {
    setProperty("Width", static_cast<long long>(settings.width));
    setProperty("Height", static_cast<long long>(settings.height));
    setProperty("SampleType", settings.quantumId == uint16Samples ? "uint16" : "uint8");
    setProperty("FrameRate", settings.frameRate);
    setProperty("Pattern", settings.pattern == TestPattern::Bars ? "Bars" : "Gradient");
    setProperty("FrameCount", settings.frameCount);
}

bool SimCamera::activatePropertyChange() {
    if (!Device::activatePropertyChange()) return false;
    Settings settings;
    std::string problem;
    std::lock_guard<std::mutex> lock(m_settingsLock);
    if (readSettings(settings, problem)) {
        m_accepted = settings;
        return true;
    }
    korvLogError("[SimCamera] [" + name() + "] " + problem + "; the settings stay as they were.");
    writeSettings(m_accepted);
    return false;
}

bool SimCamera::setFormat(unsigned int width, unsigned int height, unsigned int quantumId) {
    if (m_started || width < 1 || width > maxSide || height < 1 || height > maxSide ||
        (quantumId != uint8Samples && quantumId != uint16Samples)) {
        return false;
    }
    std::lock_guard<std::mutex> lock(m_settingsLock);
    m_accepted.width = width;
    m_accepted.height = height;
    m_accepted.quantumId = quantumId;
    setProperty("Width", static_cast<long long>(width));
    setProperty("Height", static_cast<long long>(height));
    setProperty("SampleType", quantumId == uint16Samples ? "uint16" : "uint8");
    return true;
}

bool SimCamera::format(unsigned int& width, unsigned int& height, unsigned int& quantumId) const {
    Settings settings;
    std::string problem;
    if (!readSettings(settings, problem)) return false;
    width = settings.width;
    height = settings.height;
    quantumId = settings.quantumId;
    return true;
}

bool SimCamera::snapshot(ImgRefPtr& image) {
    Settings settings;
    std::string problem;
    if (!readSettings(settings, problem)) return false;
    ImgRefPtr frame = ImageManager::get()->createAnonymous(settings.quantumId, settings.width,
                                                           settings.height, 1);
    if (frame.isNull()) return false;
    const TestPattern pattern(settings.pattern, settings.quantumId, settings.width,
                              settings.height);
    if (!pattern.draw(*frame, m_snapshots.fetch_add(1))) return false;
    image = frame;
    return true;
}

bool SimCamera::start() {
    std::lock_guard<std::mutex> control(m_control);
    if (m_thread.joinable()) return false;
    Settings settings;
    std::string problem;
    if (!readSettings(settings, problem)) {
        korvLogError("[SimCamera] [" + name() + "] cannot start: " + problem + ".");
        return false;
    }
    if (!initBufferSlots()) {
        korvLogError("[SimCamera] [" + name() + "] cannot start: no buffer for \"Output\".");
        return false;
    }
    const BufferRefPtr buffer = bufferSlot("Output");
    auto* out = dynamic_cast<BufferTemplate<ImgRefPtr>*>(buffer.rawPtr());
    if (out == nullptr) {
        releaseBufferSlots();
        korvLogError("[SimCamera] [" + name() + "] cannot start: no buffer for \"Output\".");
        return false;
    }
    std::string pushBlock;
    buffer->getProperty("PushBlock", &pushBlock);
    const bool blocking = pushBlock != "Off";
    m_stopping = false;
    m_dropped = 0;
    setPropertyForce("FramesDropped", 0LL);
    m_started = true;
    // The thread holds the buffer's handle until it ends.
    m_thread =
        std::thread([this, settings, buffer, out, blocking] { run(settings, *out, blocking); });
    return true;
}

bool SimCamera::stop() {
    std::lock_guard<std::mutex> control(m_control);
    if (!m_thread.joinable()) return true;
    {
        std::lock_guard<std::mutex> lock(m_wakeLock);
        m_stopping = true;
    }
    m_wake.notify_all();
    notifyAndAbortAllBuffers();  // wakes a push blocked in a full buffer
    m_thread.join();
    releaseBufferSlots();
    m_started = false;
    return true;
}

void SimCamera::run(const Settings& settings, BufferTemplate<ImgRefPtr>& out, bool blocking) {
    const TestPattern pattern(settings.pattern, settings.quantumId, settings.width,
                              settings.height);
    const int capacity = std::clamp(out.maxSize() + poolHeadroom, poolHeadroom, 4096);
    ImagePool pool(settings.quantumId, settings.width, settings.height,
                   static_cast<unsigned int>(capacity));
    const Clock::time_point begin = Clock::now();
    const auto limit = static_cast<std::uint64_t>(settings.frameCount);
    char metadata[32];
    for (std::uint64_t n = 0; limit == 0 || n < limit; ++n) {
        if (settings.frameRate > 0.0) {
            const std::chrono::duration<double> due(static_cast<double>(n) / settings.frameRate);
            if (!waitUntil(begin + std::chrono::duration_cast<Clock::duration>(due))) break;
        }
        if (stopping()) break;
        ImgRefPtr frame = frameFrom(pool, blocking);
        if (frame.isNull()) {
            if (stopping()) break;
            if (pool.frameCount() < pool.capacity()) {
                korvLogError("[SimCamera] [" + name() + "] cannot make a frame of " +
                             std::to_string(settings.width) + " x " +
                             std::to_string(settings.height) + "; delivery ends.");
                break;
            }
            countDrop();
            continue;
        }
        pattern.draw(*frame, n);
        std::snprintf(metadata, sizeof metadata, "Frame=%llu", static_cast<unsigned long long>(n));
        frame->setProperty("Metadata", metadata);
        if (out.push(frame)) {
            ++m_delivered;
            continue;
        }
        // With a blocking buffer a failed push means it was aborted: nothing more to do.
        if (stopping() || blocking) break;
        countDrop();
        if (settings.frameRate == 0.0 && !waitUntil(Clock::now() + retryPause)) break;
    }
}

ImgRefPtr SimCamera::frameFrom(ImagePool& pool, bool blocking) {
    for (;;) {
        ImgRefPtr frame = pool.acquire();
        // A pool that is not full could not make a frame: waiting will not help.
        if (frame.isValid() || !blocking || pool.frameCount() < pool.capacity()) return frame;
        if (!waitUntil(Clock::now() + retryPause)) return frame;
    }
}

bool SimCamera::waitUntil(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(m_wakeLock);
    return !m_wake.wait_until(lock, deadline, [this] { return m_stopping.load(); });
}

void SimCamera::countDrop() {
    const unsigned long long dropped = ++m_dropped;
    setPropertyForce("FramesDropped", static_cast<long long>(dropped));
}

// ---- SimCameraDetector ---------------------------------------------------------------

std::string SimCameraDetector::detect(FrameGrabberRefPtr grabber) {
    return grabber.isValid() && grabber->type() == "SimGrabber" ? "SimCam-1" : "";
}

}  // namespace KorvaneSample
