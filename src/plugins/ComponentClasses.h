#pragma once
// The component classes a plug-in organizer knows, one entry per class: how to tell
// an object of the class, how to register it with its manager and how to unregister
// it. The table in ComponentClasses.cpp is in the order in which install() and
// uninstall() look for an object's class; typeTestRank gives the different order in
// which components() tells an object's kind. Adding a class is one line there:
// managedClass<T, M>(type, rank) for a class registered with registerType of its manager
// M, or a braced entry with functions of its own (LogWriter shows how); a class that has
// no kind of its own takes Device as type and -1 as rank, placed after the Device
// entry so that classOfType(Device) still finds Device.

#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/plugins/ComponentType.h>

#include <memory>
#include <string>
#include <vector>

#include "plugins/PluginOrganizerInternal.h"

namespace Korvane::Internal {

struct ComponentClass {
    ComponentType type;
    // Place in the type test of components(); -1 when that test does not report the
    // class (its objects are reported as Device).
    int typeTestRank;
    bool (*isInstance)(ManageableType* object);
    // Registers the record's object; the manager's answer.
    bool (*install)(PluginComponent& component);
    // Unregisters by type name; null when there is nothing to unregister.
    bool (*uninstall)(const std::string& name);
    // Builds the manager singleton, so that it is made before the loader and outlives it.
    void (*makeManager)();
};

// The table, in install order.
const std::vector<ComponentClass>& componentClasses();
// The first class of the install order of which object is an instance; null for none.
const ComponentClass* installClassOf(ManageableType* object);
// The entry for type; null for a value that names no installable class.
const ComponentClass* classOfType(ComponentType type);
// The kind of object by the type test; Device (0) for an object of no class.
ComponentType componentTypeOf(ManageableType* object);
// Builds every manager that components are installed into.
void makeComponentManagers();

// ---- helpers for the table entries ---------------------------------------------------

template <class T>
bool isInstanceOf(ManageableType* object) {
    return dynamic_cast<T*>(object) != nullptr;
}

// The record's counted handle of class T, made on first use. Its deleter is the
// virtual destructor.
template <class T>
typename HandleOf<T>::Type& handleOf(PluginComponent& component) {
    using Handle = typename HandleOf<T>::Type;
    if (!component.handle)
        component.handle = std::make_shared<Handle>(dynamic_cast<T*>(component.object), nullptr);
    return *static_cast<Handle*>(component.handle.get());
}

template <class T, class M>
bool registerWithManager(PluginComponent& component) {
    return M::get()->registerType(component.name.c_str(), handleOf<T>(component));
}

template <class M>
bool unregisterFromManager(const std::string& name) {
    return M::get()->unregisterType(name.c_str());
}

template <class M>
void makeManager() {
    M::get();
}

// The entry of a class registered with registerType of its manager M.
template <class T, class M>
ComponentClass managedClass(ComponentType type, int typeTestRank) {
    return {type,
            typeTestRank,
            &isInstanceOf<T>,
            &registerWithManager<T, M>,
            &unregisterFromManager<M>,
            &makeManager<M>};
}

}  // namespace Korvane::Internal
