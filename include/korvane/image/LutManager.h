#pragma once
// The LutManager registers the look-up table types and makes named tables by copying
// a prototype. It starts with "Grey8Bit", "Grey10Bit" and "Grey16Bit". One
// process-wide instance; every operation holds the manager's lock.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/image/Lut.h>

#include <string>

namespace Korvane {

namespace Internal {

struct KORVANE_API LutManagerTraits {};

}  // namespace Internal

class KORVANE_API LutManager : public Manager<Lut, Internal::LutManagerTraits> {
public:
    static LutManager* get();

    LutManager(const LutManager&) = delete;
    LutManager& operator=(const LutManager&) = delete;
    ~LutManager() override;

    // A copy of the prototype registered as type, entered under name (which may change).
    // Empty handle and empty name for an unknown type or a refused name.
    LutRefPtr create(const char* type, std::string& name, bool unique);
    // The same from a given table; the new table takes the prototype's type.
    LutRefPtr create(LutRefPtr prototype, std::string& name, bool unique);

private:
    LutManager();

    // Clones prototype and enters the copy as an instance of type; the caller holds m_lock.
    LutRefPtr createPrivate(const LutRefPtr& prototype, const std::string& type, std::string& name,
                            bool unique);
};

}  // namespace Korvane
