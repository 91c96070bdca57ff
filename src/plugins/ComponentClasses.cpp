#include "plugins/ComponentClasses.h"

#include <korvane/buffers/Buffer.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceDetector.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/Display.h>
#include <korvane/devices/DisplayManager.h>
#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/FrameGrabberDetector.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/devices/HwComponent.h>
#include <korvane/devices/VendorConfig.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/image/Lut.h>
#include <korvane/image/LutManager.h>
#include <korvane/log/Log.h>
#include <korvane/log/LogManager.h>
#include <korvane/log/LogWriter.h>
#include <korvane/process/Motion.h>
#include <korvane/process/MotionManager.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/Script.h>
#include <korvane/process/ScriptManager.h>
#include <korvane/process/Storage.h>
#include <korvane/process/StorageManager.h>

#include <algorithm>

namespace Korvane::Internal {

namespace {

bool registerWriter(PluginComponent& component) {
    return LogManager::get()->registerWriter(component.name.c_str(),
                                             handleOf<LogWriter>(component));
}

bool unregisterWriter(const std::string& name) {
    return LogManager::get()->unregisterWriter(name.c_str());
}

// The device-side classes that DeviceManager and FrameGrabberManager register with
// operations of their own rather than registerType.
template <class T, bool (DeviceManager::*registration)(const std::string&,
                                                       const typename HandleOf<T>::Type&)>
bool registerWithDevices(PluginComponent& component) {
    return (DeviceManager::get()->*registration)(component.name, handleOf<T>(component));
}

template <bool (DeviceManager::*unregistration)(const std::string&)>
bool unregisterFromDevices(const std::string& name) {
    return (DeviceManager::get()->*unregistration)(name);
}

bool registerDeviceDetector(PluginComponent& component) {
    return DeviceManager::get()->registerDetector(component.name,
                                                  handleOf<DeviceDetector>(component));
}

bool registerGrabberDetector(PluginComponent& component) {
    return FrameGrabberManager::get()->registerDetector(component.name,
                                                        handleOf<FrameGrabberDetector>(component));
}

bool unregisterGrabberDetector(const std::string& name) {
    return FrameGrabberManager::get()->unregisterDetector(name);
}

// A vendor configuration is registered nowhere: installing it asks it once for its
// configuration object, which is dropped at once.
bool installVendorConfig(PluginComponent& component) {
    handleOf<VendorConfig>(component)->configObject();
    return true;
}

// The entry of a device-side class registered through DeviceManager operations.
template <class T,
          bool (DeviceManager::*registration)(const std::string&,
                                              const typename HandleOf<T>::Type&),
          bool (DeviceManager::*unregistration)(const std::string&)>
ComponentClass deviceClass(ComponentType type, int typeTestRank) {
    return {type,
            typeTestRank,
            &isInstanceOf<T>,
            &registerWithDevices<T, registration>,
            &unregisterFromDevices<unregistration>,
            &makeManager<DeviceManager>};
}

// In install order. The type-test ranks run Buffer 0, Device 1, Processor 2, Sensor 3,
// FrameGrabber 4, Display 5, Image 6, Log 7, LogWriter 8, Lut 9, Motion 10, Operator 11,
// Script 12, Storage 13, DeviceDetector 14, FrameGrabberDetector 15.
std::vector<ComponentClass> makeTable() {
    return {
        managedClass<Buffer, BufferManager>(ComponentType::Buffer, 0),
        managedClass<Device, DeviceManager>(ComponentType::Device, 1),
        deviceClass<Processor, &DeviceManager::registerProcessor,
                    &DeviceManager::unregisterProcessor>(ComponentType::Processor, 2),
        deviceClass<Sensor, &DeviceManager::registerSensor, &DeviceManager::unregisterSensor>(
            ComponentType::Sensor, 3),
        deviceClass<FrameGrabber, &DeviceManager::registerFrameGrabber,
                    &DeviceManager::unregisterFrameGrabber>(ComponentType::FrameGrabber, 4),
        {ComponentType::FrameGrabberDetector, 15, &isInstanceOf<FrameGrabberDetector>,
         &registerGrabberDetector, &unregisterGrabberDetector, &makeManager<FrameGrabberManager>},
        {ComponentType::DeviceDetector, 14, &isInstanceOf<DeviceDetector>, &registerDeviceDetector,
         &unregisterFromDevices<&DeviceManager::unregisterDetector>, &makeManager<DeviceManager>},
        // No kind of its own: reported as a Device, and found by no uninstallComponent
        // (the Device entry comes first for that value).
        {ComponentType::Device, -1, &isInstanceOf<VendorConfig>, &installVendorConfig, nullptr,
         nullptr},
        managedClass<Display, DisplayManager>(ComponentType::Display, 5),
        managedClass<Image, ImageManager>(ComponentType::Image, 6),
        managedClass<Log, LogManager>(ComponentType::Log, 7),
        {ComponentType::LogWriter, 8, &isInstanceOf<LogWriter>, &registerWriter, &unregisterWriter,
         &makeManager<LogManager>},
        managedClass<Lut, LutManager>(ComponentType::Lut, 9),
        managedClass<Motion, MotionManager>(ComponentType::Motion, 10),
        managedClass<Operator, OperatorManager>(ComponentType::Operator, 11),
        managedClass<Script, ScriptManager>(ComponentType::Script, 12),
        managedClass<Storage, StorageManager>(ComponentType::Storage, 13),
    };
}

}  // namespace

const std::vector<ComponentClass>& componentClasses() {
    static const std::vector<ComponentClass> table = makeTable();
    return table;
}

const ComponentClass* installClassOf(ManageableType* object) {
    if (!object) return nullptr;
    for (const ComponentClass& entry : componentClasses()) {
        if (entry.isInstance(object)) return &entry;
    }
    return nullptr;
}

const ComponentClass* classOfType(ComponentType type) {
    for (const ComponentClass& entry : componentClasses()) {
        if (entry.type == type) return &entry;
    }
    return nullptr;
}

ComponentType componentTypeOf(ManageableType* object) {
    static const std::vector<const ComponentClass*> byRank = [] {
        std::vector<const ComponentClass*> ranked;
        for (const ComponentClass& entry : componentClasses()) {
            if (entry.typeTestRank >= 0) ranked.push_back(&entry);
        }
        std::sort(ranked.begin(), ranked.end(),
                  [](const auto* a, const auto* b) { return a->typeTestRank < b->typeTestRank; });
        return ranked;
    }();
    if (object) {
        for (const ComponentClass* entry : byRank) {
            if (entry->isInstance(object)) return entry->type;
        }
    }
    return ComponentType::Device;
}

void makeComponentManagers() {
    for (const ComponentClass& entry : componentClasses()) {
        if (entry.makeManager) entry.makeManager();
    }
}

}  // namespace Korvane::Internal
