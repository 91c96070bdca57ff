#pragma once
// The record lists of a PluginOrganizer, in insertion order.

#include <korvane/core/ManageableType.h>
#include <korvane/core/Version.h>

#include <memory>
#include <string>
#include <vector>

namespace Korvane::Internal {

struct PluginDependency {
    std::string name;
    Version version;
};

struct PluginComponent {
    std::string name;                       // the type name it is registered under
    ManageableType* object = nullptr;       // made by the plug-in; null once dropped
    bool installed = false;                 // registered with its manager now
    void (*freeFunction)(void*) = nullptr;  // the plug-in's release function, kept only
    // The counted handle of the object's class (a HandleOf<T>::Type), made at the first
    // registration attempt and shared with the manager; it keeps object alive.
    std::shared_ptr<void> handle;
};

class PluginOrganizerInternal {
public:
    virtual ~PluginOrganizerInternal() = default;

    std::vector<PluginDependency> dependencies;
    std::vector<PluginComponent> components;
};

}  // namespace Korvane::Internal
