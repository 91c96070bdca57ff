#include <korvane/log/LogFunctions.h>
#include <korvane/plugins/PluginOrganizer.h>

#include <exception>
#include <new>

#include "plugins/ComponentClasses.h"
#include "plugins/PluginOrganizerInternal.h"

namespace Korvane {

using Internal::ComponentClass;
using Internal::PluginComponent;

namespace {

// Unregisters component as its class's manager requires; true when nothing is left
// registered. An object of no known class has nothing to unregister.
bool unregister(const PluginComponent& component) {
    const ComponentClass* entry = Internal::installClassOf(component.object);
    return !entry || !entry->uninstall || entry->uninstall(component.name);
}

}  // namespace

PluginOrganizer::PluginOrganizer(const PluginInfo& info)
    : m_internal(new (std::nothrow) Internal::PluginOrganizerInternal), m_info(info) {}

PluginOrganizer::~PluginOrganizer() = default;

void PluginOrganizer::addComponent(const std::string& name, ManageableType* object,
                                   void (*freeFunction)(void*)) {
    if (!object || !m_internal) return;
    PluginComponent component;
    component.name = name;
    component.object = object;
    component.freeFunction = freeFunction;
    m_internal->components.push_back(std::move(component));
}

void PluginOrganizer::addDependency(const char* name, const Version& version) {
    if (!m_internal) return;
    m_internal->dependencies.push_back({name ? name : "", version});
}

void PluginOrganizer::clear() {
    if (!m_internal) return;
    for (PluginComponent& component : m_internal->components) {
        component.object = nullptr;
        component.handle.reset();
    }
}

std::multimap<ComponentType, std::string> PluginOrganizer::components() {
    std::multimap<ComponentType, std::string> result;
    if (!m_internal) return result;
    for (const PluginComponent& component : m_internal->components)
        result.emplace(Internal::componentTypeOf(component.object), component.name);
    return result;
}

std::multimap<ComponentType, std::string> PluginOrganizer::installedComponents() {
    std::multimap<ComponentType, std::string> result;
    if (!m_internal) return result;
    for (const PluginComponent& component : m_internal->components) {
        if (component.installed)
            result.emplace(Internal::componentTypeOf(component.object), component.name);
    }
    return result;
}

bool PluginOrganizer::checkDependencies() {
    return false;
}

bool PluginOrganizer::checkInstall() {
    return false;
}

bool PluginOrganizer::install() {
    if (!m_internal) return false;
    bool ok = true;
    for (PluginComponent& component : m_internal->components) {
        if (component.installed) continue;
        try {
            const ComponentClass* entry = Internal::installClassOf(component.object);
            component.installed = entry && entry->install(component);
        } catch (const std::exception&) {
            korvLogError("[PluginOrganizer::install] failure during install:" + component.name);
        }
        if (!component.installed) ok = false;
    }
    m_installed = true;
    if (!ok) korvLogError("[PluginOrganizer::install] failure during install");
    return ok;
}

bool PluginOrganizer::uninstall() {
    if (!m_internal) return false;
    bool ok = true;
    for (PluginComponent& component : m_internal->components) {
        if (!component.installed) continue;
        component.installed = !unregister(component);
        if (component.installed) ok = false;
    }
    m_installed = false;
    return ok;
}

void PluginOrganizer::uninstallComponent(const std::string& name, ComponentType type) {
    if (!m_internal) return;
    const ComponentClass* entry = Internal::classOfType(type);
    if (!entry) return;
    for (PluginComponent& component : m_internal->components) {
        if (!component.installed || component.name != name) continue;
        if (!entry->isInstance(component.object)) continue;
        if (entry->uninstall) entry->uninstall(component.name);
        component.installed = false;
        component.object = nullptr;
        component.handle.reset();
        return;
    }
}

}  // namespace Korvane
