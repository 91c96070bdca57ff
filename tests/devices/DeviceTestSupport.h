#pragma once
// Shared by the device tests: a scripted frame grabber that records the calls made to
// it, detectors whose answers are functions, a minimal device, sensor, processor and
// display, and the clean-up that leaves both managers as the next test expects them.

#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceDetector.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/Display.h>
#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/FrameGrabberDetector.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/devices/HwComponent.h>
#include <korvane/platform/Mutex.h>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <vector>

namespace KorvaneTest {

// A grabber whose connect answer is set by the test; records its calls in order.
class ScriptedGrabber : public Korvane::FrameGrabber {
public:
    explicit ScriptedGrabber(const std::string& name = "") : FrameGrabber(false) { setName(name); }
    ScriptedGrabber(const ScriptedGrabber& other)
        : FrameGrabber(other), connectAnswer(other.connectAnswer.load()) {}

    std::string vendorName() const override { return "Test"; }
    std::string modelName() const override { return "Grabber"; }
    Korvane::FrameGrabber* clone() const override { return new ScriptedGrabber(*this); }
    std::string interfaceName() const override { return "None"; }
    bool connect() override {
        record("connect");
        if (connectAnswer) open = true;
        return connectAnswer;
    }
    void disconnect() override {
        record("disconnect");
        open = false;
    }
    bool isConnected() const override { return open; }
    bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
    bool format(unsigned int&, unsigned int&, unsigned int&) const override { return false; }
    bool setFrameRate(double) override { return false; }
    double frameRate() const override { return 0.0; }
    bool snapshot(Korvane::ImgRefPtr& image) override {
        record("snapshot");
        image = Korvane::ImgRefPtr(new Korvane::Image(2, 2), nullptr);
        return true;
    }
    bool grabStop() override {
        record("grabStop");
        grabbing = false;
        return true;
    }
    bool isGrabbing() const override { return grabbing; }

    std::vector<std::string> calls() const {
        Korvane::MutexLock lock(&m_callsLock);
        return m_calls;
    }

    std::atomic<bool> connectAnswer{true};
    std::atomic<bool> open{false};
    std::atomic<bool> grabbing{false};

private:
    void record(const char* call) {
        Korvane::MutexLock lock(&m_callsLock);
        m_calls.push_back(call);
    }

    mutable Korvane::Mutex m_callsLock;  // guards m_calls
    std::vector<std::string> m_calls;
};

// A free-standing grabber (not in any manager) under name.
inline Korvane::FrameGrabberRefPtr namedGrabber(const std::string& name) {
    return Korvane::FrameGrabberRefPtr(new ScriptedGrabber(name), nullptr);
}

inline ScriptedGrabber& scripted(const Korvane::FrameGrabberRefPtr& grabber) {
    return dynamic_cast<ScriptedGrabber&>(*grabber);
}

// A device that does nothing but hold components.
class PlainDevice : public Korvane::Device {
public:
    Korvane::Device* clone() const override { return new PlainDevice(*this); }
    bool start() override { return true; }
    bool stop() override { return true; }
    bool isStarted() const override { return false; }
    std::string vendorName() const override { return "Test"; }
    std::string modelName() const override { return "Plain"; }
    std::string serialNumber() const override { return "0"; }
    bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
    bool format(unsigned int&, unsigned int&, unsigned int&) const override { return false; }
    unsigned long long framesDelivered() const override { return 0; }
};

inline Korvane::DeviceRefPtr plainDevice() {
    return Korvane::DeviceRefPtr(new PlainDevice, nullptr);
}

// A detector whose answer is a function of the grabber, set by the test.
class ScriptedDetector : public Korvane::DeviceDetector {
public:
    using Answer = std::function<std::string(Korvane::FrameGrabberRefPtr)>;

    ScriptedDetector(Korvane::Version version, Answer answer)
        : DeviceDetector(version), m_answer(std::move(answer)) {}
    std::string detect(Korvane::FrameGrabberRefPtr grabber) override { return m_answer(grabber); }

private:
    Answer m_answer;
};

inline Korvane::DeviceDetectorRefPtr detectorAnswering(ScriptedDetector::Answer answer,
                                                       Korvane::Version version = {1, 0, 0}) {
    return Korvane::DeviceDetectorRefPtr(new ScriptedDetector(version, std::move(answer)), nullptr);
}

// A grabber detector that runs a function on each detect and records its arguments.
class ScriptedGrabberDetector : public Korvane::FrameGrabberDetector {
public:
    explicit ScriptedGrabberDetector(std::function<void(int)> action = [](int) {})
        : m_action(std::move(action)) {}

    std::list<Korvane::FrameGrabberRefPtr> detect(
        int arg, std::map<std::string, Korvane::FrameGrabberRefPtr>& found) override {
        args.push_back(arg);
        foundWasEmpty = found.empty();
        m_action(arg);
        return {};
    }

    std::vector<int> args;
    bool foundWasEmpty = false;

private:
    std::function<void(int)> m_action;
};

// A sensor or processor that is nothing but its base class.
template <class Component>
class TestComponent : public Component {
public:
    std::string vendorName() const override { return "Test"; }
    std::string modelName() const override { return "Component"; }
    Component* clone() const override { return new TestComponent(*this); }
};
using TestSensor = TestComponent<Korvane::Sensor>;
using TestProcessor = TestComponent<Korvane::Processor>;

class TestDisplay : public Korvane::Display {
public:
    TestDisplay(unsigned int width, unsigned int height) : Display(width, height) {}

    Korvane::Display* clone(unsigned int width, unsigned int height) const override {
        return new TestDisplay(width, height);
    }
    bool show() override { return true; }
    bool hide() override { return true; }
    bool isVisible() const override { return false; }
    bool showImage(const Korvane::ImgRefPtr& image) override { return image.isValid(); }
    bool setLut(const Korvane::LutRefPtr&) override { return true; }

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override { return false; }
    bool cleanup() override { return true; }
};

// Takes out every detector and the grabber types named, and empties both managers.
inline void resetDeviceManagers(const std::vector<std::string>& grabberTypes) {
    Korvane::DeviceManager* devices = Korvane::DeviceManager::get();
    Korvane::FrameGrabberManager* grabbers = Korvane::FrameGrabberManager::get();
    for (const std::string& name : devices->deviceDetectors()) devices->unregisterDetector(name);
    for (const std::string& name : grabbers->frameGrabberDetectors())
        grabbers->unregisterDetector(name);
    for (const std::string& type : grabberTypes) devices->unregisterFrameGrabber(type);
    devices->cleanUp();
    grabbers->clear();
}

}  // namespace KorvaneTest
