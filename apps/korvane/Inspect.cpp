#include "Inspect.h"

#include <korvane/config/Registry.h>
#include <korvane/core/LibraryInit.h>
#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/plugins/PluginInfo.h>
#include <korvane/plugins/PluginLoader.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/StorageManager.h>

#include <cctype>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "PropertyValues.h"

namespace KorvaneTool {

using namespace Korvane;

namespace {

const char* kindName(ComponentType kind) {
    switch (kind) {
        case ComponentType::Device:
            return "device";
        case ComponentType::Display:
            return "display";
        case ComponentType::Buffer:
            return "buffer";
        case ComponentType::Image:
            return "image";
        case ComponentType::Log:
            return "log";
        case ComponentType::Lut:
            return "look-up table";
        case ComponentType::Operator:
            return "operator";
        case ComponentType::Motion:
            return "motion";
        case ComponentType::Script:
            return "script";
        case ComponentType::Storage:
            return "storage";
        case ComponentType::LogWriter:
            return "log writer";
        case ComponentType::Sensor:
            return "sensor";
        case ComponentType::Processor:
            return "processor";
        case ComponentType::FrameGrabber:
            return "frame grabber";
        case ComponentType::OperatorProcess:
            return "operator process";
        case ComponentType::DeviceDetector:
            return "device detector";
        case ComponentType::FrameGrabberDetector:
            return "frame-grabber detector";
    }
    return "component";
}

std::string version(const Version& v) {
    return std::to_string(v.major) + "." + std::to_string(v.minor) + "." + std::to_string(v.patch);
}

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

void printProperties(const PropertyInterface& component) {
    for (const std::string& name : component.propertyNameList()) {
        PropertyInfo info;
        component.propertyInfo(name, &info);
        std::printf("      %s: %s, %s, category \"%s\", value %s, takes %s\n", name.c_str(),
                    typeText(info.type).c_str(), accessText(info.access).c_str(),
                    component.propertyCategoryName(name).c_str(),
                    valueText(component, name).c_str(), rangeText(component, name).c_str());
        if (!info.description.empty()) std::printf("        %s\n", info.description.c_str());
    }
}

// Makes an instance of the component through its manager, hands it to show, releases
// it; false when the kind has no properties worth showing or no instance was made.
bool withInstance(ComponentType kind, const std::string& type,
                  const std::function<void(const PropertyInterface&, const std::string&)>& show) {
    std::string name = "korvane_inspect";
    switch (kind) {
        case ComponentType::Device: {
            DeviceRefPtr device = DeviceManager::get()->create(type.c_str(), name, true);
            if (device.isNull()) return false;
            show(*device, device->vendorName() + " " + device->modelName());
            DeviceManager::get()->releaseInstance(name.c_str());
            return true;
        }
        case ComponentType::Operator: {
            OperatorRefPtr op = OperatorManager::get()->create(type.c_str(), name, true);
            if (op.isNull()) return false;
            show(*op, op->help());
            OperatorManager::get()->releaseInstance(name.c_str());
            return true;
        }
        case ComponentType::Storage: {
            StorageRefPtr storage =
                StorageManager::get()->create(lowerCase(type).c_str(), name, true);
            if (storage.isNull()) return false;
            std::string formats;
            for (const std::string& f : storage->supportedSaveFormats()) formats += " " + f;
            show(*storage, "writes:" + formats);
            StorageManager::get()->releaseInstance(name.c_str());
            return true;
        }
        case ComponentType::FrameGrabber: {
            FrameGrabberRefPtr grabber =
                FrameGrabberManager::get()->create(type.c_str(), name, true);
            if (grabber.isNull()) return false;
            show(*grabber, grabber->vendorName() + " " + grabber->modelName() + ", " +
                               grabber->interfaceName());
            FrameGrabberManager::get()->releaseInstance(name.c_str());
            return true;
        }
        default:
            return false;
    }
}

void printComponent(ComponentType kind, const std::string& type) {
    std::printf("    %s %s\n", kindName(kind), type.c_str());
    withInstance(kind, type, [](const PropertyInterface& component, const std::string& about) {
        if (!about.empty()) std::printf("      (%s)\n", about.c_str());
        printProperties(component);
    });
}

void printPluginHeader(const PluginInfo& info) {
    std::printf("%s %s (%s)\n", info.name().c_str(), version(info.version()).c_str(),
                info.licenseText().c_str());
    if (!info.description().empty()) std::printf("  %s\n", info.description().c_str());
    if (!info.file().empty()) std::printf("  module: %s\n", info.file().c_str());
}

void printOverview(PluginLoader& loader) {
    std::vector<std::string> paths;
    Registry::get()->splitAndExpandProperty("PLUGIN_PATH", &paths, true);
    std::printf("Modules (PLUGIN_PATH:");
    for (const std::string& path : paths) std::printf(" %s", path.c_str());
    std::printf(")\n");
    for (const PluginLoadRecord& record : loader.loadReport()) {
        std::printf("  %-16s %s%s%s\n", pluginLoadStateName(record.state), record.file.c_str(),
                    record.reason.empty() ? "" : ": ", record.reason.c_str());
    }
    std::printf("\nPlug-ins\n");
    for (PluginOrganizer* organizer : loader.plugins()) {
        std::printf("  %s %s%s\n", organizer->info().name().c_str(),
                    version(organizer->info().version()).c_str(),
                    organizer->isInstalled() ? "" : " (not installed)");
        const auto components = organizer->components();
        for (auto kind = components.begin(); kind != components.end();) {
            const auto range = components.equal_range(kind->first);
            std::string names;
            for (auto it = range.first; it != range.second; ++it) {
                names += (names.empty() ? "" : ", ") + it->second;
            }
            std::printf("    %s: %s\n", kindName(kind->first), names.c_str());
            kind = range.second;
        }
    }
}

}  // namespace

int showInfo() {
    int major = 0, minor = 0, patch = 0;
    korvLibraryVersion(&major, &minor, &patch);
    std::printf("%s %d.%d.%d\n", korvLibraryName(), major, minor, patch);
    std::printf(
        "build record: toolset %d %s, platform %d, operating system %d, cpu %d, "
        "configuration %d, core %d.%d.%d\n",
        BuildRecord::toolset, BuildRecord::toolsetVersion, BuildRecord::platform,
        BuildRecord::operatingSystem, BuildRecord::cpu, BuildRecord::configuration,
        BuildRecord::coreMajor, BuildRecord::coreMinor, BuildRecord::corePatch);
    for (const char* name :
         {"KORVANE_PATH", "BIN_PATH", "CONFIG_PATH", "DATA_PATH", "LOG_PATH", "PLUGIN_PATH"}) {
        std::string value;
        Registry::get()->expandProperty(name, &value, true);
        std::printf("%-13s %s\n", name, value.c_str());
    }
    return 0;
}

int showPlugins(const std::string& name) {
    PluginLoader* loader = PluginLoader::get();
    loader->loadAll();
    if (name.empty()) {
        printOverview(*loader);
        return 0;
    }
    std::vector<std::string> known;
    for (PluginOrganizer* organizer : loader->plugins()) {
        const auto components = organizer->components();
        if (organizer->info().name() == name) {
            printPluginHeader(organizer->info());
            for (const auto& [kind, type] : components) printComponent(kind, type);
            return 0;
        }
        for (const auto& [kind, type] : components) {
            if (type == name) {
                std::printf("%s of %s\n", kindName(kind), organizer->info().name().c_str());
                printComponent(kind, type);
                return 0;
            }
        }
        known.push_back(organizer->info().name());
        for (const auto& component : components) known.push_back(component.second);
    }
    std::string list;
    for (const std::string& item : known) list += (list.empty() ? "" : ", ") + item;
    std::fprintf(stderr, "korvane: no plug-in or component is called \"%s\"; there are: %s\n",
                 name.c_str(), list.empty() ? "(none)" : list.c_str());
    return 2;
}

int showDetected() {
    PluginLoader::get()->loadAll();
    DeviceManager* devices = DeviceManager::get();
    devices->detectAll(0);
    const std::map<std::string, std::string> detected = devices->detectAllDevices();
    const std::vector<std::string> grabbers = FrameGrabberManager::get()->instanceList();
    if (grabbers.empty()) std::printf("no frame grabber found\n");
    for (const std::string& grabberName : grabbers) {
        FrameGrabberRefPtr grabber = FrameGrabberManager::get()->instance(grabberName.c_str());
        if (grabber.isNull()) continue;
        std::printf("%s: %s %s, interface %s\n", grabberName.c_str(), grabber->vendorName().c_str(),
                    grabber->modelName().c_str(), grabber->interfaceName().c_str());
        const auto found = detected.find(grabberName);
        if (found == detected.end()) {
            std::printf("  no camera detected\n");
            continue;
        }
        std::string name = "korvane_detect";
        DeviceRefPtr device = devices->create(found->second.c_str(), name, true);
        if (device.isNull()) {
            std::printf("  camera %s (could not be made)\n", found->second.c_str());
            continue;
        }
        std::printf("  camera %s: %s %s\n", found->second.c_str(), device->vendorName().c_str(),
                    device->modelName().c_str());
        devices->releaseInstance(name.c_str());
    }
    return 0;
}

}  // namespace KorvaneTool
