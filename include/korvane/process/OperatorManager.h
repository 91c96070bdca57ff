#pragma once
// OperatorManager registers operator types, makes operators by copying a registered
// prototype, and also makes and keeps the operator processes of the application in a
// map of its own (by name, guarded by the manager's lock). One process-wide instance;
// every operation holds the manager's lock for its whole duration, the posting of its
// event included.
//
// Decisions: a process gets the name it was created with as its Name and
// "OperatorProcess" as its Type. An empty process name counts as taken, as with every
// instance name: with unique set it becomes a key alone. Process names are not cleaned
// to the instance-name alphabet. releaseProcess drops the map's handle after the lock
// is released, so the destructor of a released process may use the manager.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorProcess.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Korvane {

namespace Internal {

struct KORVANE_API OperatorManagerTraits {};

}  // namespace Internal

class KORVANE_API OperatorManager : public Manager<Operator, Internal::OperatorManagerTraits> {
public:
    static OperatorManager* get();

    OperatorManager(const OperatorManager&) = delete;
    OperatorManager& operator=(const OperatorManager&) = delete;
    // Empties the process map under the lock, then the generic tables.
    ~OperatorManager() override;

    // A copy of the prototype registered as type, entered under name (which may change;
    // the final name is written back) and announced with InstanceCreated. Empty handle
    // and empty name for an unknown type, a failed copy or a refused name.
    OperatorRefPtr create(const char* type, std::string& name, bool unique);
    // The same from a given operator; the new operator takes the prototype's type.
    OperatorRefPtr create(OperatorRefPtr prototype, std::string& name, bool unique);

    // A new, idle operator process under name, announced with InstanceCreated (type name
    // "OperatorProcess"). A taken name fails unless unique is set; then the name is cut
    // at its first "{" and followed by a fresh six-group key, at most 21 tries, and the
    // chosen name is written back. Empty handle (and, after 21 collisions, an empty
    // name) on failure.
    OperatorProcessRefPtr createProcess(std::string& name, bool unique);
    // The process of that name, or an empty handle.
    OperatorProcessRefPtr process(const char* name) const;
    // Removes the process from the map and announces InstanceReleased; false for an
    // unknown name. It does not stop the process: its owner stops it first. Handles
    // held elsewhere stay valid.
    bool releaseProcess(const char* name);
    // The names of all processes in name order.
    std::vector<std::string> processList() const;

private:
    OperatorManager();

    // Clones prototype and enters the copy as an instance of type; the caller holds m_lock.
    OperatorRefPtr createPrivate(const OperatorRefPtr& prototype, const std::string& type,
                                 std::string& name, bool unique);
    // A process name that is free: name itself, or name cut at "{" plus a key when
    // unique is set; empty when none was found. The caller holds m_lock.
    std::string freeProcessNamePrivate(const std::string& name, bool unique) const;
    bool processExistsPrivate(const std::string& name) const;

    // The deleter of every process handle the manager makes.
    static void processFreeCallback(OperatorProcess* process);

    using ProcessTable = std::map<std::string, OperatorProcessRefPtr, std::less<>>;
    ProcessTable m_processes;  // guarded by m_lock
};

}  // namespace Korvane
