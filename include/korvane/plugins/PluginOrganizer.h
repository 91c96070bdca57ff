#pragma once
// PluginOrganizer is how a plug-in hands its components to the core. The plug-in makes
// one organizer with its PluginInfo, returns it from korvPluginOrganizer, adds its
// component prototypes in korvPluginInit, and the PluginLoader (a friend) installs them
// with the managers of their classes and takes them out again. The plug-in owns the
// organizer; the organizer owns its record lists. Used by the loader's thread only.
//
// Decisions: from its first registration attempt on, a component is held by a counted
// handle of its class that the organizer shares with the manager, so a component taken
// out by uninstall() stays alive and can be installed again; uninstallComponent() and
// clear() let go of it (the manager may still hold it). An exception thrown while a
// component is registered also makes install() return false. uninstall() of a record
// whose class has nothing to unregister counts as success. Organizers are not copied.
//
// Example, in a plug-in (see PluginEntry.h for the entry points):
//
//     void korvPluginInit(Korvane::PluginOrganizer* organizer) {
//         if (!organizer->components().empty()) return;  // called on every load
//         organizer->addComponent("MyGrey8", new MyLut, nullptr);
//     }

#include <korvane/core/Export.h>
#include <korvane/core/Version.h>
#include <korvane/plugins/ComponentType.h>
#include <korvane/plugins/PluginInfo.h>

#include <map>
#include <memory>
#include <string>

namespace Korvane {

class ManageableType;
class PluginLoader;

namespace Internal {
class PluginOrganizerInternal;
}  // namespace Internal

class KORVANE_API PluginOrganizer {
public:
    explicit PluginOrganizer(const PluginInfo& info);
    PluginOrganizer(const PluginOrganizer&) = delete;
    PluginOrganizer& operator=(const PluginOrganizer&) = delete;
    // Releases the record lists and the organizer's share of its components; objects
    // that a manager still holds stay alive.
    virtual ~PluginOrganizer();

    const PluginInfo& info() const { return m_info; }

    // Appends a component: object, created by the plug-in, will be registered under
    // name with the manager of its class. A null object is ignored; names need not be
    // unique (the manager refuses a taken name). freeFunction is kept with the record;
    // the core releases components only through counted handles.
    void addComponent(const std::string& name, ManageableType* object, void (*freeFunction)(void*));
    // Declares a dependency; stored, not evaluated.
    void addDependency(const char* name, const Version& version);
    // Drops the object of every component; records, names and flags stay.
    void clear();

    // Every component, installed or not, by the kind of its object and its name.
    std::multimap<ComponentType, std::string> components();
    // The same for installed components only.
    std::multimap<ComponentType, std::string> installedComponents();
    // True from the first install() to the next uninstall().
    bool isInstalled() const { return m_installed; }
    // Nothing is examined yet: both answer false.
    bool checkDependencies();
    bool checkInstall();

private:
    friend class PluginLoader;

    // Registers every component not yet installed; false when any stayed out (each
    // failure of a manager is the manager's to report).
    bool install();
    // Unregisters every installed component; false when a manager refused.
    bool uninstall();
    // Unregisters the first installed component called name whose object is of the
    // class of type, and drops its object: it cannot be installed again.
    void uninstallComponent(const std::string& name, ComponentType type);

    std::unique_ptr<Internal::PluginOrganizerInternal> m_internal;  // null if not allocated
    PluginInfo m_info;
    bool m_installed = false;
};

}  // namespace Korvane
