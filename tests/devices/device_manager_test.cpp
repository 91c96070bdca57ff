// The device manager: registries, creation through aliases, detection and its
// messages, connecting grabbers. The alias files are read once, when the manager is
// built: this program's own manager reads the one file the global environment writes,
// and the alias-file case builds a manager in a fresh child process.

#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/FrameGrabberManager.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "devices/DeviceTestSupport.h"
#include "support/ChildProcess.h"
#include "support/SystemLogRecorder.h"
#include "support/TempDir.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using Lines = std::vector<std::string>;

void writeFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

// This program's DATA_PATH: one directory with one alias file.
class DataPathEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        writeFile(directory.file("Cameras/Alias.txt"),
                  "# aliases of the test cameras\nACME-1000=GenericCamera\nGhost=NoSuchType\n"
                  "Crlf=GenericCamera\r\n");
        // No plug-in modules: replacing a detector makes the plug-in loader.
        for (const char* setting : {"DATA_PATH", "LOG_PATH", "PLUGIN_PATH"})
            Registry::get()->setProperty(setting, directory.path() + "/");
    }

    TempDir directory;
};

DataPathEnvironment* const environment =
    static_cast<DataPathEnvironment*>(::testing::AddGlobalTestEnvironment(new DataPathEnvironment));

class DeviceManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(manager->registerType("GenericCamera", plainDevice()));
        ASSERT_TRUE(manager->registerType("OtherCamera", plainDevice()));
        ASSERT_TRUE(manager->registerFrameGrabber("TypeA", namedGrabber("")));
        ASSERT_TRUE(manager->registerFrameGrabber("TypeB", namedGrabber("")));
    }
    void TearDown() override { resetDeviceManagers({"TypeA", "TypeB"}); }  // aliases stay

    // A grabber instance of type, entered under name in the frame-grabber manager.
    FrameGrabberRefPtr grabber(const char* type, const char* name) {
        std::string entered = name;
        FrameGrabberRefPtr made = grabbers->create(type, entered, false);
        EXPECT_TRUE(made.isValid()) << name;
        return made;
    }

    // A detector answering type for the grabber named grabberName, "" for the others.
    static DeviceDetectorRefPtr answering(const std::string& grabberName, const std::string& type,
                                          Version version = {1, 0, 0}) {
        return detectorAnswering(
            [=](FrameGrabberRefPtr g) { return g->name() == grabberName ? type : ""; }, version);
    }

    static std::string warningUnregistered(const std::string& type) {
        return "WARNING    : [Device manager] Device type: \"" + type +
               "\" is not a registered type, please make sure the required plugins are "
               "installed before using this plugin.";
    }

    DeviceManager* manager = DeviceManager::get();
    FrameGrabberManager* grabbers = FrameGrabberManager::get();
    SystemLogRecorder log;
};

}  // namespace

// Later lines and directories win, a line splits at its last '=', bad lines are
// skipped or taken verbatim (blanks, CRs, bytes).
TEST(AliasFiles, ReadFromEveryDataPathDirectory) {
    if (!inFreshProcess()) return;
    TempDir root;
    const std::string longAlias(100000, 'x');
    const std::string binary("\0\1\xff=Bin\0ary\n", 12);
    writeFile(root.file("one/Cameras/Alias.txt"),
              "# comment=ignored\n\nA=B=C\nShared=FromOne\nno separator\nLast=One\nLast=Two\n"
              "Crlf=GenericCamera\r\n\r\n#Hidden=X\r\n Spaced = GenericCamera \n" +
                  longAlias + "=Long\n" + binary + std::string("\xfe\x00 no separator\n===", 19));
    writeFile(root.file("two/Cameras/Alias.txt"), "Shared=FromTwo\n=EmptyAlias\nTrailing=\n");
    // Expanded references, a directory without its slash, an empty entry, a missing
    // directory and a Windows-style one.
    std::filesystem::current_path(root.path());
    Registry::get()->setProperty("KORVANE_PATH", root.path() + "/");
    Registry::get()->setProperty("DATA_PATH",
                                 "%KORVANE_PATH%one;;%KORVANE_PATH%missing/;%KORVANE_PATH%two\\");
    const std::map<std::string, std::string> expected = {
        {"A=B", "C"},        {"Shared", "FromTwo"},
        {"Last", "Two"},     {"", "EmptyAlias"},
        {"Trailing", ""},    {"Crlf", "GenericCamera\r"},
        {"==", ""},          {" Spaced ", " GenericCamera "},
        {longAlias, "Long"}, {std::string("\0\1\xff", 3), std::string("Bin\0ary", 7)}};
    const auto loaded = DeviceManager::get()->aliases();
    EXPECT_TRUE(loaded == expected) << loaded.size() << " aliases";
}

TEST_F(DeviceManagerTest, AliasFileIsReadOnceAndResolvesOnCreate) {
    writeFile(environment->directory.file("Cameras/Alias.txt"), "Late=GenericCamera\n");
    EXPECT_EQ(manager->aliases().count("Late"), 0u);

    std::string name = "cam 1";
    const DeviceRefPtr device = manager->create("ACME-1000", name, false);
    ASSERT_TRUE(device.isValid());
    EXPECT_EQ(name, "cam_1");
    EXPECT_EQ(device->type(), "GenericCamera");
    EXPECT_EQ(manager->instanceList("GenericCamera"), Lines{"cam_1"});
    for (const char* type : {"Ghost", "Crlf", "NoSuchType", "", "Late"}) {
        name = "x";
        EXPECT_TRUE(manager->create(type, name, true).isNull()) << type;
        EXPECT_EQ(name, "");
    }
    EXPECT_TRUE(manager->create(nullptr, name, true).isNull());
    manager->clear();
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_TRUE(manager->typeExists("GenericCamera"));
    EXPECT_EQ(manager->aliases().size(), 3u);
}

TEST_F(DeviceManagerTest, ComponentRegistriesCloneTheirPrototypes) {
    const SensorRefPtr sensor(new TestSensor, nullptr);
    EXPECT_TRUE(manager->registerSensor("Sensor", sensor));
    EXPECT_FALSE(manager->registerSensor("Sensor", sensor));
    EXPECT_TRUE(
        manager->registerProcessor("Processor", ProcessorRefPtr(new TestProcessor, nullptr)));
    const SensorRefPtr made = manager->createSensor("Sensor");
    ASSERT_TRUE(made.isValid());
    EXPECT_NE(made, sensor);
    EXPECT_TRUE(manager->createProcessor("Processor").isValid());
    EXPECT_TRUE(manager->createSensor("Processor").isNull());
    EXPECT_TRUE(manager->unregisterSensor("Sensor"));
    EXPECT_FALSE(manager->unregisterSensor("Sensor"));
    EXPECT_TRUE(manager->createSensor("Sensor").isNull());
    EXPECT_TRUE(manager->unregisterProcessor("Processor"));
}

// A detector of the same or a newer version replaces the registered one; an older one
// is kept out. Every case answers true.
TEST_F(DeviceManagerTest, DetectorOfSameOrNewerVersionReplacesTheOld) {
    const FrameGrabberRefPtr g = grabber("TypeA", "VersionGrabber");
    struct Case {
        Version registered, offered;
        const char* answer;
    };
    const Case cases[] = {
        {{1, 2, 0}, {1, 2, 0}, "OtherCamera"},  {{1, 2, 0}, {1, 1, 9}, "GenericCamera"},
        {{1, 9, 9}, {1, 10, 0}, "OtherCamera"}, {{2, 0, 0}, {1, 99, 99}, "GenericCamera"},
        {{1, 2, 3}, {1, 2, 4}, "OtherCamera"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        ASSERT_TRUE(manager->registerDetector(
            "Versioned", answering("VersionGrabber", "GenericCamera", c.registered)));
        EXPECT_TRUE(manager->registerDetector(
            "Versioned", answering("VersionGrabber", "OtherCamera", c.offered)));
        EXPECT_EQ(manager->detectDevice(g, "Versioned"), c.answer);
        EXPECT_TRUE(manager->unregisterDetector("Versioned"));
    }
    EXPECT_FALSE(manager->registerDetector("Versioned", DeviceDetectorRefPtr()));
    EXPECT_FALSE(manager->unregisterDetector("Versioned"));
}

TEST_F(DeviceManagerTest, DetectDeviceReportsEveryFailure) {
    ASSERT_TRUE(manager->registerDetector("Beta", answering("Aliased", "ACME-1000")));
    ASSERT_TRUE(manager->registerDetector("Alpha", answering("Mystery", "Mystery")));
    EXPECT_EQ(manager->deviceDetectors(), (Lines{"Alpha", "Beta"}));
    const FrameGrabberRefPtr aliased = grabber("TypeA", "Aliased");
    const FrameGrabberRefPtr open = grabber("TypeA", "Open");
    const FrameGrabberRefPtr refusing = grabber("TypeA", "Refusing");
    const FrameGrabberRefPtr mystery = grabber("TypeA", "Mystery");
    ASSERT_TRUE(open->connect());
    scripted(refusing).connectAnswer = false;

    // Every detector is asked in name order, each one opening and closing the grabber.
    EXPECT_EQ(manager->detectDevice("Aliased"), "GenericCamera");
    EXPECT_EQ(scripted(aliased).calls(), (Lines{"connect", "disconnect", "connect", "disconnect"}));
    EXPECT_EQ(log.messages(), Lines{warningUnregistered("")});

    EXPECT_EQ(manager->detectDevice("Aliased", "Nope"), "");
    EXPECT_EQ(scripted(aliased).calls().size(), 4u);  // not opened again
    EXPECT_EQ(manager->detectDevice("Nope"), "");
    EXPECT_EQ(manager->detectDevice("Nope", "Alpha"), "");
    EXPECT_EQ(manager->detectDevice(FrameGrabberRefPtr()), "");
    EXPECT_EQ(manager->detectDevice(FrameGrabberRefPtr(), "Alpha"), "");
    EXPECT_EQ(manager->detectDevice(open, "Alpha"), "");
    EXPECT_EQ(manager->detectDevice(refusing, "Alpha"), "");
    EXPECT_EQ(manager->detectDevice(mystery, "Alpha"), "");
    EXPECT_EQ(log.messages(),
              (Lines{
                  "ERROR      : [Device manager] No such device detector: \"Nope\".",
                  "ERROR      : [Device manager] No such frame grabber: \"Nope\".",
                  "ERROR      : [Device manager] No such frame grabber: \"Nope\".",
                  "ERROR      : [Device manager] invalid frame grabber.",
                  "ERROR      : [Device manager] invalid frame grabber.",
                  "WARNING    : [Device manager] Frame grabber: \"Open\" already in use, cannot "
                  "detect device.",
                  "ERROR      : [Device manager] Cannot connect to frame grabber: \"Refusing\".",
                  warningUnregistered("Mystery"),
              }));
    EXPECT_EQ(scripted(open).calls(), Lines{"connect"});
    EXPECT_TRUE(open->isConnected());
}

TEST_F(DeviceManagerTest, DetectAllDevicesSkipsOpenAndUnansweredGrabbers) {
    ASSERT_TRUE(manager->registerDetector("Only", answering("A1", "GenericCamera")));
    ASSERT_TRUE(manager->registerDetector("Other", answering("B1", "OtherCamera")));
    grabber("TypeA", "A1");
    const FrameGrabberRefPtr a2 = grabber("TypeA", "A2");
    grabber("TypeB", "B1");
    const FrameGrabberRefPtr open = grabber("TypeB", "Open");
    ASSERT_TRUE(open->connect());

    using Found = std::map<std::string, std::string>;
    using Types = std::vector<std::string>;
    EXPECT_EQ(manager->detectAllDevices(), (Found{{"A1", "GenericCamera"}, {"B1", "OtherCamera"}}));
    EXPECT_EQ(manager->detectAllDevices("Only"), (Found{{"A1", "GenericCamera"}}));
    EXPECT_EQ(manager->detectAllDevices(Types{"TypeB"}), (Found{{"B1", "OtherCamera"}}));
    EXPECT_EQ(manager->detectAllDevices(Types{"TypeB"}, "Only"), Found());
    EXPECT_EQ(manager->detectAllDevices(Types{}), Found());
    EXPECT_EQ(scripted(open).calls(), Lines{"connect"});
    log.messages();

    EXPECT_EQ(manager->detectAllDevices("Nope"), Found());
    EXPECT_EQ(manager->detectAllDevices(Types{"TypeA"}, "Nope"), Found());
    EXPECT_EQ(log.messages(),
              Lines(2, "ERROR      : [Device manager] No such device detector: \"Nope\"."));
    // Opened by both detectors when all are asked, then by "Only"; closed each time.
    EXPECT_EQ(scripted(a2).calls().size(), 2u * 3u);
    EXPECT_FALSE(a2->isConnected());
}

// detectAll re-detects the grabbers (dropping closed ones) and then the devices.
TEST_F(DeviceManagerTest, DetectAllCountsTheDevicesFound) {
    grabber("TypeA", "Stale");
    auto* finder = new ScriptedGrabberDetector([this](int) {
        grabber("TypeA", "Found1");
        grabber("TypeB", "Found2");
    });
    ASSERT_TRUE(grabbers->registerDetector("Finder", FrameGrabberDetectorRefPtr(finder, nullptr)));
    ASSERT_TRUE(manager->registerDetector("Cameras", answering("Found2", "OtherCamera")));
    log.messages();

    EXPECT_EQ(manager->detectAll(42), 1);
    EXPECT_EQ(grabbers->instanceList(), (Lines{"Found1", "Found2"}));
    const Lines messages = log.messages();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.front(), "INFORMATION: FrameGrabberManager has detected 2 grabbers(s).");
    EXPECT_EQ(messages.back(), "INFORMATION: Detected 1 devices.");
    EXPECT_EQ(manager->detectGrabbers(0), 2);  // the same two, made again
    EXPECT_EQ(finder->args, (std::vector<int>{42, 0}));
}

TEST_F(DeviceManagerTest, ConnectFrameGrabberTakesTheLowestFreeIndex) {
    const DeviceRefPtr device = plainDevice();
    const FrameGrabberRefPtr g0 = namedGrabber("G0");
    const FrameGrabberRefPtr added = namedGrabber("Added");
    ASSERT_TRUE(device->addHwComponent(0, g0));
    ASSERT_TRUE(device->addHwComponent(2, namedGrabber("G2")));
    EXPECT_TRUE(manager->connectFrameGrabber(device, added));
    EXPECT_EQ(device->frameGrabber(1), added);
    EXPECT_EQ(grabbers->assignedDevices("Added"), std::vector<Device*>{device.rawPtr()});
    EXPECT_TRUE(manager->isGrabberConnected(added));
    EXPECT_FALSE(manager->isGrabberConnected(g0));  // attached directly, not connected
    EXPECT_FALSE(manager->isGrabberConnected(namedGrabber("Added")));  // another object
    EXPECT_FALSE(manager->isGrabberConnected(FrameGrabberRefPtr()));
    EXPECT_TRUE(manager->connectFrameGrabber(device, g0));  // again: a new index
    EXPECT_EQ(device->frameGrabber(3), g0);
    EXPECT_FALSE(manager->connectFrameGrabber(DeviceRefPtr(), added));
    EXPECT_FALSE(manager->connectFrameGrabber(device, FrameGrabberRefPtr()));
}
