#pragma once
// The MotionManager registers the motion controller types that plug-ins supply and
// makes named controllers by copying a prototype (Motion::createCopy, called under the
// manager's lock). One process-wide instance; every operation holds the manager's
// lock. Controllers made here are processes: the host stops them before releasing.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/process/Motion.h>

#include <string>

namespace Korvane {

namespace Internal {

struct KORVANE_API MotionManagerTraits {};

}  // namespace Internal

class KORVANE_API MotionManager : public Manager<Motion, Internal::MotionManagerTraits> {
public:
    static MotionManager* get();

    MotionManager(const MotionManager&) = delete;
    MotionManager& operator=(const MotionManager&) = delete;
    ~MotionManager() override;

    // A copy of the prototype registered as type, entered under name (which may change).
    // Empty handle and empty name for an unknown type, a failed copy or a refused name.
    MotionRefPtr create(const char* type, std::string& name, bool unique);
    // The same from a given controller; the new one takes the prototype's type.
    MotionRefPtr create(MotionRefPtr prototype, std::string& name, bool unique);

private:
    MotionManager();

    // Clones prototype and enters the copy as an instance of type; the caller holds m_lock.
    MotionRefPtr createPrivate(const MotionRefPtr& prototype, const std::string& type,
                               std::string& name, bool unique);
};

}  // namespace Korvane
