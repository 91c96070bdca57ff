#pragma once
// ScriptManager makes scripts by copying a registered prototype, with a given number of
// iterations, and tells which scripts are running. One process-wide instance; every
// operation holds the manager's lock (listing the running scripts also takes each
// script's lock, after the manager's).
//
// Decision: both forms of create write iterations into the new script's
// "MaxIterations" (-1: no limit), so a script made from a given prototype runs as long
// as one made from a registered type. No event is posted for a new script.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/process/Script.h>

#include <string>
#include <vector>

namespace Korvane {

namespace Internal {

struct KORVANE_API ScriptManagerTraits {};

}  // namespace Internal

class KORVANE_API ScriptManager : public Manager<Script, Internal::ScriptManagerTraits> {
public:
    static ScriptManager* get();

    ScriptManager(const ScriptManager&) = delete;
    ScriptManager& operator=(const ScriptManager&) = delete;
    ~ScriptManager() override;

    // A copy of the prototype registered as type, its "MaxIterations" set to iterations,
    // entered under name (the final name is written back). Empty handle and empty name
    // for an unknown type, a failed copy or a refused name.
    ScriptRefPtr create(const char* type, short iterations, std::string& name, bool unique);
    // The same from a given script; the new script takes the prototype's type.
    ScriptRefPtr create(ScriptRefPtr prototype, short iterations, std::string& name, bool unique);

    // The names, in name order, of the scripts whose status is Running.
    std::vector<std::string> runningInstanceList() const;
    // The length of runningInstanceList().
    int runningInstanceCount() const;

private:
    ScriptManager();

    // The caller holds m_lock.
    ScriptRefPtr createPrivate(const ScriptRefPtr& prototype, const std::string& type,
                               short iterations, std::string& name, bool unique);
};

}  // namespace Korvane
