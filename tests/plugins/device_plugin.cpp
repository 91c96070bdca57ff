// A camera vendor's plug-in for the device tests: one component of each device-side
// class, written as the headers' examples show. Compile definitions choose the module:
//   DP_NAME            plug-in name
//   DP_DETECTOR_MINOR  minor version of its device detector "AcmeDetector" (1.x.0)
//   DP_CAMERA          the device type its detector answers, which it also registers
//   DP_ALL             also the grabber, grabber detector, processor, sensor, vendor
//                      configuration and display

#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceDetector.h>
#include <korvane/devices/Display.h>
#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/FrameGrabberDetector.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/devices/HwComponent.h>
#include <korvane/devices/VendorConfig.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/plugins/PluginEntry.h>

#include <atomic>
#include <string>

using namespace Korvane;

namespace {

class AcmeGrabber : public FrameGrabber {
public:
    AcmeGrabber() : FrameGrabber(true) {}
    AcmeGrabber(const AcmeGrabber& other) : FrameGrabber(other) {}
    std::string vendorName() const override { return "Acme"; }
    std::string modelName() const override { return "FG-1"; }
    FrameGrabber* clone() const override { return new AcmeGrabber(*this); }
    std::string interfaceName() const override { return "USB3"; }
    bool connect() override {
        m_open = true;
        return true;
    }
    void disconnect() override { m_open = false; }
    bool isConnected() const override { return m_open; }
    bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
    bool format(unsigned int&, unsigned int&, unsigned int&) const override { return false; }
    bool setFrameRate(double) override { return false; }
    double frameRate() const override { return 30.0; }
    bool snapshot(ImgRefPtr&) override { return false; }

private:
    std::atomic<bool> m_open{false};
};

class AcmeGrabberDetector : public FrameGrabberDetector {
public:
    std::list<FrameGrabberRefPtr> detect(
        int, std::map<std::string, FrameGrabberRefPtr>& found) override {
        std::list<FrameGrabberRefPtr> grabbers;
        for (const char* port : {"AcmePort0", "AcmePort1"}) {
            std::string name = port;
            FrameGrabberRefPtr grabber =
                FrameGrabberManager::get()->create("AcmeGrabber", name, true);
            if (grabber.isNull()) continue;
            found[name] = grabber;
            grabbers.push_back(grabber);
        }
        return grabbers;
    }
};

class AcmeDetector : public DeviceDetector {
public:
    AcmeDetector() : DeviceDetector(Version(1, DP_DETECTOR_MINOR, 0)) {}
    std::string detect(FrameGrabberRefPtr grabber) override {
        return grabber->vendorName() == "Acme" ? DP_CAMERA : "";
    }
};

class AcmeCamera : public Device {
public:
    AcmeCamera() = default;
    AcmeCamera(const AcmeCamera& other) : Device(other) {}
    Device* clone() const override { return new AcmeCamera(*this); }
    bool start() override { return true; }
    bool stop() override { return true; }
    bool isStarted() const override { return false; }
    std::string vendorName() const override { return "Acme"; }
    std::string modelName() const override { return "C-1"; }
    std::string serialNumber() const override { return "0001"; }
    bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
    bool format(unsigned int&, unsigned int&, unsigned int&) const override { return false; }
    unsigned long long framesDelivered() const override { return 0; }
};

#ifdef DP_ALL
class AcmeProcessor : public Processor {
public:
    std::string vendorName() const override { return "Acme"; }
    std::string modelName() const override { return "P-1"; }
    Processor* clone() const override { return new AcmeProcessor(*this); }
};

class AcmeSensor : public Sensor {
public:
    std::string vendorName() const override { return "Acme"; }
    std::string modelName() const override { return "S-1"; }
    Sensor* clone() const override { return new AcmeSensor(*this); }
};

class AcmeConfig : public VendorConfig {
public:
    AcmeConfig() : VendorConfig("AcmeDetector") {}
    std::string vendorName() const override { return "Acme"; }
    ObjectRefPtr configObject() override {
        korvLogInfo("[AcmeConfig] configuration read");
        return ObjectRefPtr(new Object, nullptr);
    }
};

class AcmeDisplay : public Display {
public:
    AcmeDisplay(unsigned int width, unsigned int height) : Display(width, height) {}
    Display* clone(unsigned int width, unsigned int height) const override {
        return new AcmeDisplay(width, height);
    }
    bool show() override { return true; }
    bool hide() override { return true; }
    bool isVisible() const override { return false; }
    bool showImage(const ImgRefPtr& image) override { return image.isValid(); }
    bool setLut(const LutRefPtr&) override { return true; }

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override { return false; }
    bool cleanup() override { return true; }
};
#endif

}  // namespace

PluginOrganizer* korvPluginOrganizer() {
    static auto* organizer =
        new PluginOrganizer(pluginInfo(DP_NAME, Version(1, 0, 0), "Acme cameras", "none"));
    return organizer;
}

void korvPluginInit(PluginOrganizer* organizer) {
    if (!organizer->components().empty()) return;
    organizer->addComponent(DP_CAMERA, new AcmeCamera, nullptr);
    organizer->addComponent("AcmeDetector", new AcmeDetector, nullptr);
#ifdef DP_ALL
    organizer->addComponent("AcmeGrabber", new AcmeGrabber, nullptr);
    organizer->addComponent("AcmeGrabberDetector", new AcmeGrabberDetector, nullptr);
    organizer->addComponent("AcmeProcessor", new AcmeProcessor, nullptr);
    organizer->addComponent("AcmeSensor", new AcmeSensor, nullptr);
    organizer->addComponent("AcmeConfig", new AcmeConfig, nullptr);
    organizer->addComponent("AcmeDisplay", new AcmeDisplay(1, 1), nullptr);
#endif
}
