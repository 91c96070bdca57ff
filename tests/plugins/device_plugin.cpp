// A camera vendor's plug-in for the device tests: one component of each device-side
// class (the plain ones shared with the device tests). Compile definitions choose the
// module:
//   DP_NAME            plug-in name
//   DP_DETECTOR_MINOR  minor version of its device detector "AcmeDetector" (1.x.0)
//   DP_CAMERA          the device type its detector answers, which it also registers
//   DP_ALL             also the grabber, grabber detector, processor, sensor, vendor
//                      configuration and display

#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/devices/VendorConfig.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/plugins/PluginEntry.h>

#include <string>

#include "devices/DeviceTestSupport.h"

using namespace Korvane;

namespace {

// The shared scripted grabber under the vendor's name.
class AcmeGrabber : public KorvaneTest::ScriptedGrabber {
public:
    std::string vendorName() const override { return "Acme"; }
    std::string interfaceName() const override { return "USB3"; }
    FrameGrabber* clone() const override { return new AcmeGrabber(*this); }
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

#ifdef DP_ALL
class AcmeConfig : public VendorConfig {
public:
    AcmeConfig() : VendorConfig("AcmeDetector") {}
    std::string vendorName() const override { return "Acme"; }
    ObjectRefPtr configObject() override {
        korvLogInfo("[AcmeConfig] configuration read");
        return ObjectRefPtr(new Object, nullptr);
    }
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
    organizer->addComponent(DP_CAMERA, new KorvaneTest::PlainDevice, nullptr);
    organizer->addComponent("AcmeDetector", new AcmeDetector, nullptr);
#ifdef DP_ALL
    organizer->addComponent("AcmeGrabber", new AcmeGrabber, nullptr);
    organizer->addComponent("AcmeGrabberDetector", new AcmeGrabberDetector, nullptr);
    organizer->addComponent("AcmeProcessor", new KorvaneTest::TestProcessor, nullptr);
    organizer->addComponent("AcmeSensor", new KorvaneTest::TestSensor, nullptr);
    organizer->addComponent("AcmeConfig", new AcmeConfig, nullptr);
    organizer->addComponent("AcmeDisplay", new KorvaneTest::TestDisplay(1, 1), nullptr);
#endif
}
