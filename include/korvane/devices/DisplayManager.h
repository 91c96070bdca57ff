#pragma once
// The DisplayManager registers display types (prototypes supplied by plug-ins) and
// makes named displays of a requested size from them. One process-wide instance; every
// operation holds the manager's lock. The manager neither starts nor stops displays:
// their owners (a Topology, the host) do, and stop them before releasing them.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/devices/Display.h>

#include <string>

namespace Korvane {

namespace Internal {

struct KORVANE_API DisplayManagerTraits {};

}  // namespace Internal

class KORVANE_API DisplayManager : public Manager<Display, Internal::DisplayManagerTraits> {
public:
    static DisplayManager* get();

    DisplayManager(const DisplayManager&) = delete;
    DisplayManager& operator=(const DisplayManager&) = delete;

    // A width x height clone of the prototype registered as type, entered under name
    // (which may change). Empty handle and empty name for a null, empty or unknown type
    // or a refused name.
    DisplayRefPtr create(const char* type, unsigned int width, unsigned int height,
                         std::string& name, bool unique);
    // The same from a given display; the new one takes the prototype's type.
    DisplayRefPtr create(DisplayRefPtr prototype, unsigned int width, unsigned int height,
                         std::string& name, bool unique);

private:
    DisplayManager();
    ~DisplayManager() override;

    // Clones prototype at the size and enters the copy as an instance of type; the
    // caller holds m_lock.
    DisplayRefPtr createPrivate(const DisplayRefPtr& prototype, const std::string& type,
                                unsigned int width, unsigned int height, std::string& name,
                                bool unique);
};

}  // namespace Korvane
