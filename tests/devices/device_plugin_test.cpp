// A camera vendor's plug-in (tests/plugins/device_plugin.cpp) loaded through the plug-in
// loader: its components land in the device, frame-grabber and display managers, work
// together in a detection, and leave again; a newer device detector from another
// plug-in takes the place of the old one. Each case runs in a fresh process, since the
// loader and the managers are made once per process.

#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/DisplayManager.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/plugins/PluginLoader.h>

#include <algorithm>
#include <filesystem>
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

const std::string kModules = KORVANE_TEST_BINARY_DIR "/plugins/modules/";

using Kinds = std::multimap<ComponentType, std::string>;

class DevicePlugin : public ::testing::Test {
protected:
    // Copies the modules into the search path, which holds nothing else. The log's
    // directory is made before the system log, so that it outlives the log's last write.
    void useModules(const std::vector<std::string>& modules) {
        static TempDir logs;
        Registry::get()->setProperty("LOG_PATH", logs.path() + "/");
        for (const std::string& module : modules)
            std::filesystem::copy_file(kModules + module + ".so", root.file(module + ".so"));
        for (const char* setting : {"PLUGIN_PATH", "DATA_PATH"})
            Registry::get()->setProperty(setting, root.path() + "/");
    }

    static PluginOrganizer* organizer(const std::string& name) {
        for (PluginOrganizer* plugin : PluginLoader::get()->plugins()) {
            if (plugin->info().name() == name) return plugin;
        }
        ADD_FAILURE() << "no plug-in " << name;
        return nullptr;
    }

    TempDir root;
    DeviceManager* devices = DeviceManager::get();
    FrameGrabberManager* grabbers = FrameGrabberManager::get();
};

}  // namespace

TEST_F(DevicePlugin, InstallsEveryDeviceSideClassAndTakesThemOutAgain) {
    if (!inFreshProcess()) return;
    useModules({"acme_devices"});
    SystemLogRecorder log;
    PluginLoader* loader = PluginLoader::get();
    ASSERT_EQ(loader->loadAll(), 1);
    PluginOrganizer* acme = organizer("AcmeDevices");
    ASSERT_NE(acme, nullptr);
    const Kinds kinds = {{ComponentType::Device, "AcmeCamera"},
                         {ComponentType::DeviceDetector, "AcmeDetector"},
                         {ComponentType::FrameGrabber, "AcmeGrabber"},
                         {ComponentType::FrameGrabberDetector, "AcmeGrabberDetector"},
                         {ComponentType::Processor, "AcmeProcessor"},
                         {ComponentType::Sensor, "AcmeSensor"},
                         {ComponentType::Device, "AcmeConfig"},
                         {ComponentType::Display, "AcmeDisplay"}};
    EXPECT_EQ(acme->installedComponents(), kinds);
    // Whether each manager holds the component of the plug-in it keeps.
    auto held = [&] {
        return std::vector<bool>{devices->typeExists("AcmeCamera"),
                                 !devices->deviceDetectors().empty(),
                                 !grabbers->frameGrabberDetectors().empty(),
                                 devices->createProcessor("AcmeProcessor").isValid(),
                                 devices->createSensor("AcmeSensor").isValid(),
                                 DisplayManager::get()->typeExists("AcmeDisplay")};
    };
    EXPECT_EQ(held(), std::vector<bool>(6, true));
    const auto messages = log.messages();
    EXPECT_EQ(std::count(messages.begin(), messages.end(),
                         "INFORMATION: [AcmeConfig] configuration read"),
              1);

    // The plug-in's grabber detector finds two grabbers, its device detector a camera
    // behind each.
    EXPECT_EQ(devices->detectAll(0), 2);
    const std::map<std::string, std::string> found = {{"AcmePort0", "AcmeCamera"},
                                                      {"AcmePort1", "AcmeCamera"}};
    EXPECT_EQ(devices->detectAllDevices(), found);
    std::string name = "Camera";
    DeviceRefPtr camera = devices->create("AcmeCamera", name, false);
    ASSERT_TRUE(camera.isValid());
    ASSERT_TRUE(devices->connectFrameGrabber(camera, grabbers->instance("AcmePort1")));
    EXPECT_EQ(camera->frameGrabber(0)->interfaceName(), "USB3");

    loader->unloadAll();
    EXPECT_TRUE(acme->installedComponents().empty());
    EXPECT_EQ(held(), std::vector<bool>(6, false));
    EXPECT_TRUE(camera->frameGrabber(0).isValid());  // instances outlive their types
    devices->cleanUp();
}

TEST_F(DevicePlugin, NewerDetectorOfAnotherPluginTakesTheOldOneOut) {
    if (!inFreshProcess()) return;
    useModules({"acme_devices", "acme_detector_newer"});
    PluginLoader* loader = PluginLoader::get();
    ASSERT_TRUE(loader->loadPluginFile(root.file("acme_devices.so")));
    ASSERT_EQ(devices->detectAll(0), 2);
    EXPECT_EQ(devices->detectDevice("AcmePort0"), "AcmeCamera");

    ASSERT_TRUE(loader->loadPluginFile(root.file("acme_detector_newer.so")));
    EXPECT_EQ(devices->deviceDetectors(), std::vector<std::string>{"AcmeDetector"});
    EXPECT_EQ(devices->detectDevice("AcmePort0"), "AcmeCameraNewer");
    // The first plug-in no longer has its detector installed, and cannot install it again.
    EXPECT_EQ(organizer("AcmeDevices")->installedComponents().count(ComponentType::DeviceDetector),
              0u);
    EXPECT_EQ(organizer("AcmeDetectorNewer")->installedComponents().size(), 2u);

    // Unloading the first plug-in leaves the newer detector in place.
    loader->unloadPluginFile(root.file("acme_devices.so"));
    EXPECT_EQ(devices->deviceDetectors(), std::vector<std::string>{"AcmeDetector"});
    devices->cleanUp();
    grabbers->clear();
}
