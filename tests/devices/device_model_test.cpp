// The classes plug-ins derive (components, devices, detectors, vendor configurations,
// displays), the display manager and the frame-grabber manager on its own.

#include <gtest/gtest.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/DisplayManager.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/devices/VendorConfig.h>

#include <string>
#include <vector>

#include "devices/DeviceTestSupport.h"
#include "support/SystemLogRecorder.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace Korvane::Internal {
// Reaches the frame-grabber manager's full re-detection, which no public call uses.
struct FrameGrabberManagerProbe {
    static int detectGrabbers(int arg) { return FrameGrabberManager::get()->detectGrabbers(arg); }
};
}  // namespace Korvane::Internal

namespace {

class TestConfig : public VendorConfig {
public:
    TestConfig() : VendorConfig("TestDetector") {}
    std::string vendorName() const override { return "Test"; }
    ObjectRefPtr configObject() override { return ObjectRefPtr(new Object, nullptr); }
};

// A property's access, category and description in one comparable text.
std::string described(const PropertyInterface& object, const std::string& name) {
    PropertyInfo info;
    if (!object.propertyInfo(name, &info)) return "missing";
    return std::to_string(info.type) + "/" + std::to_string(info.access) + "/" +
           std::to_string(info.category) + "/" + info.description;
}

std::vector<Device*> assignmentsOf(const std::string& grabber) {
    return FrameGrabberManager::get()->assignedDevices(grabber);
}

}  // namespace

TEST(HwComponent, KindsPropertiesAndDefaults) {
    ScriptedGrabber grabber(true);
    TestSensor sensor;
    TestProcessor processor;
    EXPECT_EQ(grabber.componentType(), HwComponentType::FrameGrabber);
    EXPECT_EQ(static_cast<int>(processor.componentType()), 2);
    EXPECT_EQ(static_cast<int>(sensor.componentType()), 3);
    EXPECT_TRUE(grabber.isGenICompliant());
    EXPECT_FALSE(ScriptedGrabber(false).isGenICompliant());
    EXPECT_FALSE(processor.addProcesses());
    EXPECT_FALSE(processor.uploadExecutable());
    for (const HwComponent* component :
         {static_cast<const HwComponent*>(&grabber), static_cast<const HwComponent*>(&sensor)}) {
        std::string componentType;
        EXPECT_TRUE(component->getProperty("ComponentType", &componentType));
        EXPECT_EQ(componentType, "HWComponent");
        EXPECT_EQ(described(*component, "Id"),
                  "257/1/0/Unique ID for this component. Recommended is a hardware ID (e.g. MAC).");
        EXPECT_EQ(component->id(), "");
    }
    EXPECT_FALSE(sensor.setProperty("Id", "changed"));  // read-only to users
}

TEST(FrameGrabber, OperationsNotOverriddenAnswerTheirDefaults) {
    // Only the pure operations and those the tests script are overridden.
    class Minimal : public ScriptedGrabber {
    public:
        using FrameGrabber::grabStop;
        using FrameGrabber::isGrabbing;
    } grabber;
    FrameGrabber& base = grabber;
    bool line = true;
    unsigned char bytes[2] = {0, 0};
    int value = 0;
    const bool answers[] = {base.grabSnapshot(),           base.grabStart(),
                            base.FrameGrabber::grabStop(), base.FrameGrabber::isGrabbing(),
                            base.getGpio(0, line),         base.setGpio(0, true),
                            base.read(bytes, 2),           base.write(bytes, 2)};
    for (std::size_t i = 0; i < std::size(answers); ++i) EXPECT_FALSE(answers[i]) << i;
    EXPECT_TRUE(base.get("Gain", &value));
    EXPECT_TRUE(base.set("Gain", &value));
    EXPECT_FALSE(base.isConnected());  // closed when made
}

TEST(Device, DefaultsAndTheSnapshotThroughGrabberZero) {
    PlainDevice device;
    int feature = 0;
    EXPECT_TRUE(device.getFeature("Exposure", &feature));
    EXPECT_TRUE(device.setFeature("Exposure", &feature));
    EXPECT_TRUE(device.showDialog(0));
    EXPECT_EQ(device.detector(), nullptr);
    std::string componentType;
    EXPECT_TRUE(device.getProperty("ComponentType", &componentType));
    EXPECT_EQ(componentType, "Device");

    ImgRefPtr image;
    EXPECT_FALSE(device.snapshot(image));
    const FrameGrabberRefPtr atOne = namedGrabber("SnapOne");
    ASSERT_TRUE(device.addHwComponent(1, atOne));
    EXPECT_FALSE(device.snapshot(image));  // a grabber elsewhere does not count
    EXPECT_TRUE(scripted(atOne).calls().empty());
    const FrameGrabberRefPtr atZero = namedGrabber("SnapZero");
    ASSERT_TRUE(device.addHwComponent(0, atZero));
    EXPECT_TRUE(device.snapshot(image));
    EXPECT_TRUE(image.isValid());
    EXPECT_EQ(scripted(atZero).calls(), std::vector<std::string>{"snapshot"});
}

TEST(Device, ComponentsByIndexAndTheirAssignments) {
    const FrameGrabberRefPtr first = namedGrabber("AssignFirst");
    const FrameGrabberRefPtr second = namedGrabber("AssignSecond");
    {
        PlainDevice device;
        EXPECT_TRUE(device.addHwComponent(2, second));
        EXPECT_TRUE(device.addHwComponent(0, first));
        EXPECT_EQ(device.frameGrabbers(), (std::vector<FrameGrabberRefPtr>{first, second}));
        // A taken index keeps its grabber, but the assignment is recorded all the same.
        EXPECT_FALSE(device.addHwComponent(0, second));
        EXPECT_EQ(device.frameGrabber(0), first);
        EXPECT_EQ(assignmentsOf("AssignFirst"), std::vector<Device*>{&device});
        EXPECT_EQ(assignmentsOf("AssignSecond"), (std::vector<Device*>{&device, &device}));
        EXPECT_TRUE(device.frameGrabber(1).isNull());

        const SensorRefPtr sensor(new TestSensor, nullptr);
        const ProcessorRefPtr processor(new TestProcessor, nullptr);
        EXPECT_TRUE(device.addHwComponent(-1, sensor));
        EXPECT_FALSE(device.addHwComponent(-1, SensorRefPtr(new TestSensor, nullptr)));
        EXPECT_TRUE(device.addHwComponent(5, processor));
        EXPECT_EQ(device.sensor(-1), sensor);
        EXPECT_EQ(device.processors(), std::vector<ProcessorRefPtr>{processor});
        EXPECT_TRUE(device.processor(0).isNull());
        // Empty handles are refused and leave no record.
        EXPECT_FALSE(device.addHwComponent(7, FrameGrabberRefPtr()));
        EXPECT_FALSE(device.addHwComponent(7, SensorRefPtr()));
        EXPECT_FALSE(device.addHwComponent(7, ProcessorRefPtr()));
        EXPECT_EQ(device.sensors().size(), 1u);

        // A copy takes no components.
        std::unique_ptr<Device> copy(device.clone());
        EXPECT_TRUE(copy->frameGrabbers().empty());
        EXPECT_TRUE(copy->sensors().empty());
    }
    // Destruction withdraws one record per grabber in the map; the refused one stays.
    EXPECT_TRUE(assignmentsOf("AssignFirst").empty());
    EXPECT_EQ(assignmentsOf("AssignSecond").size(), 1u);
    FrameGrabberManager::get()->unregisterFrameGrabberAssignment(
        "AssignSecond", assignmentsOf("AssignSecond").front());
    EXPECT_TRUE(assignmentsOf("AssignSecond").empty());
}

TEST(FrameGrabberManager, AssignmentRecordsAreRemovedOneAtATime) {
    FrameGrabberManager* manager = FrameGrabberManager::get();
    PlainDevice a, b;
    manager->registerFrameGrabberAssignment("Twice", &a);
    manager->registerFrameGrabberAssignment("Twice", &b);
    manager->registerFrameGrabberAssignment("Twice", &a);
    manager->unregisterFrameGrabberAssignment("Twice", &a);
    EXPECT_EQ(assignmentsOf("Twice"), (std::vector<Device*>{&b, &a}));
    manager->unregisterFrameGrabberAssignment("Other", &b);  // another name: nothing
    manager->unregisterFrameGrabberAssignment("Twice", &a);
    EXPECT_EQ(manager->assignedGrabbers().count("Twice"), 1u);
    manager->unregisterFrameGrabberAssignment("Twice", &b);
    EXPECT_EQ(manager->assignedGrabbers().count("Twice"), 0u);
}

TEST(VendorConfig, NamesItsDetectorReadOnly) {
    TestConfig config;
    EXPECT_EQ(config.detector(), "TestDetector");
    EXPECT_EQ(described(config, "Detector"),
              "257/1/1/The DeviceDetector typename that is VendorConfig is specialized for.");
    EXPECT_FALSE(config.setProperty("Detector", "Other"));
}

TEST(FrameGrabberManager, DetectorsRegisterOnceUnderTheirName) {
    FrameGrabberManager* manager = FrameGrabberManager::get();
    FrameGrabberDetectorRefPtr first(new ScriptedGrabberDetector, nullptr);
    FrameGrabberDetectorRefPtr second(new ScriptedGrabberDetector, nullptr);
    EXPECT_FALSE(manager->registerDetector("Once", FrameGrabberDetectorRefPtr()));
    EXPECT_TRUE(manager->registerDetector("Once", first));
    EXPECT_FALSE(manager->registerDetector("Once", second));
    EXPECT_EQ(first->type(), "Once");
    EXPECT_EQ(second->type(), "");
    EXPECT_EQ(manager->frameGrabberDetectors(), std::vector<std::string>{"Once"});
    EXPECT_TRUE(manager->unregisterDetector("Once"));
    EXPECT_FALSE(manager->unregisterDetector("Once"));
}

// Both detections start from the instance table they find: detectAll (reached through
// DeviceManager::detectGrabbers) keeps the open grabbers, the full re-detection stops
// and closes them and keeps none. Detectors run in name order with the caller's value.
TEST(FrameGrabberManager, DetectionDropsClosedGrabbersAndAsksEveryDetector) {
    SystemLogRecorder log;
    FrameGrabberManager* manager = FrameGrabberManager::get();
    DeviceManager* devices = DeviceManager::get();
    ASSERT_TRUE(devices->registerFrameGrabber("DetectGrabber", namedGrabber("")));
    std::string name = "Open";
    const FrameGrabberRefPtr open = manager->create("DetectGrabber", name, false);
    name = "Closed";
    const FrameGrabberRefPtr closed = manager->create("DetectGrabber", name, false);
    ASSERT_TRUE(open.isValid() && closed.isValid());
    EXPECT_EQ(open->type(), "DetectGrabber");
    ASSERT_TRUE(open->connect());
    scripted(open).grabbing = true;

    EXPECT_EQ(devices->detectGrabbers(0), 1);
    EXPECT_EQ(manager->instanceList(), std::vector<std::string>{"Open"});
    EXPECT_EQ(log.messages(), std::vector<std::string>{
                                  "INFORMATION: FrameGrabberManager has detected 1 grabbers(s)."});

    std::vector<std::string> order;
    auto* b = new ScriptedGrabberDetector([&](int) { order.push_back("b"); });
    auto* a = new ScriptedGrabberDetector([&](int) {
        order.push_back("a");
        std::string found = "Found";
        manager->create("DetectGrabber", found, true);
    });
    ASSERT_TRUE(manager->registerDetector("B", FrameGrabberDetectorRefPtr(b, nullptr)));
    ASSERT_TRUE(manager->registerDetector("A", FrameGrabberDetectorRefPtr(a, nullptr)));
    EXPECT_EQ(Internal::FrameGrabberManagerProbe::detectGrabbers(7), 1);
    EXPECT_EQ(scripted(open).calls(),
              (std::vector<std::string>{"connect", "grabStop", "disconnect"}));
    EXPECT_EQ(manager->instanceList(), std::vector<std::string>{"Found"});
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(a->args, std::vector<int>{7});
    EXPECT_TRUE(a->foundWasEmpty);
    EXPECT_EQ(log.messages(), std::vector<std::string>{
                                  "INFORMATION: FrameGrabberManager has detected 1 grabber(s)."});

    manager->unregisterDetector("A");
    manager->unregisterDetector("B");
    EXPECT_EQ(Internal::FrameGrabberManagerProbe::detectGrabbers(0), 0);
    EXPECT_TRUE(devices->unregisterFrameGrabber("DetectGrabber"));
}

TEST(FrameGrabberManager, TypesArriveThroughTheDeviceManager) {
    FrameGrabberManager* manager = FrameGrabberManager::get();
    DeviceManager* devices = DeviceManager::get();
    const FrameGrabberRefPtr prototype = namedGrabber("");
    EXPECT_TRUE(devices->registerFrameGrabber("Routed", prototype));
    EXPECT_FALSE(devices->registerFrameGrabber("Routed", namedGrabber("")));
    EXPECT_TRUE(manager->typeExists("Routed"));
    EXPECT_EQ(prototype->type(), "");  // entered directly, not through registerType
    std::string name;
    EXPECT_TRUE(manager->create("Unknown", name, true).isNull());
    EXPECT_TRUE(manager->create(nullptr, name, true).isNull());
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_TRUE(manager->create("Routed", name, true).isValid());
    manager->clear();
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_TRUE(manager->typeExists("Routed"));  // clear keeps the types
    EXPECT_TRUE(devices->unregisterFrameGrabber("Routed"));
    EXPECT_FALSE(devices->unregisterFrameGrabber("Routed"));
    EXPECT_FALSE(manager->typeExists("Routed"));
}

TEST(Display, SizeIsFixedAndCaptionWritable) {
    TestDisplay display(320, 200);
    EXPECT_EQ(described(display, "Width"), "68/1/0/Width of the bitmap client rectangle.");
    EXPECT_EQ(described(display, "Height"), "68/1/0/Height of the bitmap client rectangle.");
    EXPECT_EQ(described(display, "Caption"), "257/3/0/Window caption text.");
    EXPECT_FALSE(display.setProperty("Width", 640u));
    EXPECT_TRUE(display.setProperty("Caption", "Camera 1"));
    EXPECT_EQ(display.width(), 320u);
    EXPECT_EQ(display.caption(), "Camera 1");
    std::string componentType;
    EXPECT_TRUE(display.getProperty("ComponentType", &componentType));
    EXPECT_EQ(componentType, "Display");
}

TEST(DisplayManager, CreatesDisplaysOfTheRequestedSize) {
    DisplayManager* manager = DisplayManager::get();
    ASSERT_TRUE(
        manager->registerType("TestDisplay", DisplayRefPtr(new TestDisplay(1, 1), nullptr)));
    std::string name = "Screen";
    for (const char* type : {static_cast<const char*>(nullptr), "", "NoSuchDisplay"}) {
        EXPECT_TRUE(manager->create(type, 10, 10, name, true).isNull());
        EXPECT_EQ(name, "");
        name = "Screen";
    }
    EXPECT_EQ(manager->instanceCount(), 0u);

    const DisplayRefPtr first = manager->create("TestDisplay", 800, 600, name, true);
    ASSERT_TRUE(first.isValid());
    EXPECT_EQ(first->width(), 800u);

    name = "Screen";
    const DisplayRefPtr second = manager->create(first, 640, 480, name, true);
    ASSERT_TRUE(second.isValid());
    EXPECT_EQ(name.size(), 6u + 41u);  // "Screen" and a key
    EXPECT_EQ(second->name(), name);
    EXPECT_EQ(second->type(), "TestDisplay");
    EXPECT_EQ(second->width() * 1000 + second->height(), 640480u);
    name = "Screen";
    EXPECT_TRUE(manager->create(first, 1, 1, name, false).isNull());
    EXPECT_TRUE(manager->create(DisplayRefPtr(), 1, 1, name, true).isNull());
    EXPECT_EQ(manager->instanceCount(), 2u);
    manager->cleanUp();
}
