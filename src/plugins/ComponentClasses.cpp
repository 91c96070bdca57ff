#include "plugins/ComponentClasses.h"

#include <korvane/buffers/Buffer.h>
#include <korvane/buffers/BufferManager.h>
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

// In install order. The type-test ranks run Buffer 0, Device 1, Processor 2, Sensor 3,
// FrameGrabber 4, Display 5, Image 6, Log 7, LogWriter 8, Lut 9, Motion 10, Operator 11,
// Script 12, Storage 13, DeviceDetector 14, FrameGrabberDetector 15.
std::vector<ComponentClass> makeTable() {
    return {
        managedClass<Buffer, BufferManager>(ComponentType::Buffer, 0),
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
