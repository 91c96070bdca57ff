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
#include "support/BufferFixture.h"
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

using Lines = std::vector<std::string>;

class TestConfig : public VendorConfig {
public:
    TestConfig() : VendorConfig("TestDetector") {}
    std::string vendorName() const override { return "Test"; }
    ObjectRefPtr configObject() override { return ObjectRefPtr(new Object, nullptr); }
};

// A property's type, access, category and description in one comparable text.
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

// The properties each base class declares, and which of them users may write.
TEST(DeviceClasses, DeclareTheirPropertiesWithTheirTexts) {
    TestSensor sensor;
    PlainDevice device;
    TestDisplay display(320, 200);
    TestConfig config;
    struct Case {
        const PropertyInterface& object;
        const char* property;
        std::string described;
    };
    const Case cases[] = {
        {sensor, "Id",
         "257/1/0/Unique ID for this component. Recommended is a hardware ID (e.g. MAC)."},
        {display, "Width", "68/1/0/Width of the bitmap client rectangle."},
        {display, "Height", "68/1/0/Height of the bitmap client rectangle."},
        {display, "Caption", "257/3/0/Window caption text."},
        {config, "Detector",
         "257/1/1/The DeviceDetector typename that is VendorConfig is specialized for."},
    };
    for (const Case& c : cases) EXPECT_EQ(described(c.object, c.property), c.described);
    const std::pair<const PropertyInterface*, const char*> kinds[] = {
        {&sensor, "HWComponent"}, {&device, "Device"}, {&display, "Display"}};
    for (const auto& [object, kind] : kinds) EXPECT_EQ(textOf(*object, "ComponentType"), kind);
    EXPECT_FALSE(sensor.setProperty("Id", "changed"));
    EXPECT_FALSE(config.setProperty("Detector", "Other"));
    EXPECT_FALSE(display.setProperty("Width", 640u));
    EXPECT_TRUE(display.setProperty("Caption", "Camera 1"));
    EXPECT_EQ(display.caption(), "Camera 1");
}

TEST(Device, SnapshotGoesThroughGrabberZero) {
    PlainDevice device;
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
    EXPECT_EQ(scripted(atZero).calls(), Lines{"snapshot"});
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
        EXPECT_EQ(assignmentsOf("AssignSecond"), (std::vector<Device*>{&device, &device}));
        EXPECT_TRUE(device.frameGrabber(1).isNull());

        const SensorRefPtr sensor(new TestSensor, nullptr);
        const ProcessorRefPtr processor(new TestProcessor, nullptr);
        EXPECT_TRUE(device.addHwComponent(-1, sensor));
        EXPECT_FALSE(device.addHwComponent(-1, SensorRefPtr(new TestSensor, nullptr)));
        EXPECT_TRUE(device.addHwComponent(5, processor));
        EXPECT_EQ(device.sensor(-1), sensor);
        EXPECT_EQ(device.processors(), std::vector<ProcessorRefPtr>{processor});
        EXPECT_FALSE(device.addHwComponent(7, FrameGrabberRefPtr()));
        EXPECT_FALSE(device.addHwComponent(7, SensorRefPtr()));
        EXPECT_FALSE(device.addHwComponent(7, ProcessorRefPtr()));

        std::unique_ptr<Device> copy(device.clone());  // a copy takes no components
        EXPECT_TRUE(copy->frameGrabbers().empty());
        EXPECT_TRUE(copy->sensors().empty());
    }
    // Destruction withdraws one record per grabber in the map; the refused one stays.
    EXPECT_TRUE(assignmentsOf("AssignFirst").empty());
    ASSERT_EQ(assignmentsOf("AssignSecond").size(), 1u);
    FrameGrabberManager::get()->unregisterFrameGrabberAssignment(
        "AssignSecond", assignmentsOf("AssignSecond").front());
}

TEST(FrameGrabberManager, AssignmentRecordsAreRemovedOneAtATime) {
    FrameGrabberManager* manager = FrameGrabberManager::get();
    PlainDevice a, b;
    for (Device* device : {&a, &b, &a}) manager->registerFrameGrabberAssignment("Twice", device);
    manager->unregisterFrameGrabberAssignment("Twice", &a);
    EXPECT_EQ(assignmentsOf("Twice"), (std::vector<Device*>{&b, &a}));
    manager->unregisterFrameGrabberAssignment("Other", &b);  // another name: nothing
    manager->unregisterFrameGrabberAssignment("Twice", &a);
    EXPECT_EQ(manager->assignedGrabbers().count("Twice"), 1u);
    manager->unregisterFrameGrabberAssignment("Twice", &b);
    EXPECT_EQ(manager->assignedGrabbers().count("Twice"), 0u);
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
    EXPECT_TRUE(manager->unregisterDetector("Once"));
    EXPECT_FALSE(manager->unregisterDetector("Once"));
}

// Both detections start from the instance table they find: detectAll (reached through
// DeviceManager::detectGrabbers) keeps the open grabbers, the full re-detection stops
// and closes them and keeps none. Detectors run in name order with the caller's value.
// Grabber types arrive through the device manager.
TEST(FrameGrabberManager, DetectionDropsClosedGrabbersAndAsksEveryDetector) {
    SystemLogRecorder log;
    FrameGrabberManager* manager = FrameGrabberManager::get();
    DeviceManager* devices = DeviceManager::get();
    ASSERT_TRUE(devices->registerFrameGrabber("DetectGrabber", namedGrabber("")));
    EXPECT_FALSE(devices->registerFrameGrabber("DetectGrabber", namedGrabber("")));
    std::string name = "Open";
    const FrameGrabberRefPtr open = manager->create("DetectGrabber", name, false);
    name = "Closed";
    ASSERT_TRUE(open.isValid() && manager->create("DetectGrabber", name, false).isValid());
    EXPECT_EQ(open->type(), "DetectGrabber");
    ASSERT_TRUE(open->connect());
    scripted(open).grabbing = true;

    EXPECT_EQ(devices->detectGrabbers(0), 1);
    EXPECT_EQ(manager->instanceList(), Lines{"Open"});
    EXPECT_EQ(log.messages(),
              Lines{"INFORMATION: FrameGrabberManager has detected 1 grabbers(s)."});

    Lines order;
    auto* b = new ScriptedGrabberDetector([&](int) { order.push_back("b"); });
    auto* a = new ScriptedGrabberDetector([&](int) {
        order.push_back("a");
        std::string found = "Found";
        manager->create("DetectGrabber", found, true);
    });
    ASSERT_TRUE(manager->registerDetector("B", FrameGrabberDetectorRefPtr(b, nullptr)));
    ASSERT_TRUE(manager->registerDetector("A", FrameGrabberDetectorRefPtr(a, nullptr)));
    EXPECT_EQ(Internal::FrameGrabberManagerProbe::detectGrabbers(7), 1);
    EXPECT_EQ(scripted(open).calls(), (Lines{"connect", "grabStop", "disconnect"}));
    EXPECT_EQ(manager->instanceList(), Lines{"Found"});
    EXPECT_EQ(order, (Lines{"a", "b"}));
    EXPECT_EQ(a->args, std::vector<int>{7});
    EXPECT_TRUE(a->foundWasEmpty);
    EXPECT_EQ(log.messages(), Lines{"INFORMATION: FrameGrabberManager has detected 1 grabber(s)."});

    manager->unregisterDetector("A");
    manager->unregisterDetector("B");
    EXPECT_EQ(Internal::FrameGrabberManagerProbe::detectGrabbers(0), 0);
    EXPECT_TRUE(manager->typeExists("DetectGrabber"));
    EXPECT_TRUE(devices->unregisterFrameGrabber("DetectGrabber"));
    EXPECT_FALSE(devices->unregisterFrameGrabber("DetectGrabber"));
    EXPECT_FALSE(manager->typeExists("DetectGrabber"));
}

TEST(DisplayManager, CreatesDisplaysOfTheRequestedSize) {
    DisplayManager* manager = DisplayManager::get();
    ASSERT_TRUE(
        manager->registerType("TestDisplay", DisplayRefPtr(new TestDisplay(1, 1), nullptr)));
    std::string name;
    for (const char* type : {static_cast<const char*>(nullptr), "", "NoSuchDisplay"}) {
        name = "Screen";
        EXPECT_TRUE(manager->create(type, 10, 10, name, true).isNull());
        EXPECT_EQ(name, "");
    }
    name = "Screen";
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
