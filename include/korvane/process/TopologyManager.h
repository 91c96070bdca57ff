#pragma once
// TopologyManager registers topology types, makes named topologies and keeps the table
// of exclusive claims: which topology holds which component, keyed by the component's
// kind and instance name. A topology claims each component when it starts it and frees
// the claim when it stops it, so no two topologies run the same camera or process. One
// process-wide instance; every operation holds the manager's lock, which also guards the
// claim table.
//
// Decisions: the type "Topology" is registered at construction, so a host makes a plain
// topology with create("Topology", ...). A claim records the claiming topology's name and
// the topology itself; freeExclusive(topology) frees the claims of that very topology, so
// two topologies that share a name (one made without the manager, or one released and
// another created under its name) never free each other's claims. claimant() tells who
// holds a component. The managers a topology releases its components from are created
// before this one, so they outlive the topologies it destroys at unload.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/plugins/ComponentType.h>
#include <korvane/process/Topology.h>

#include <map>
#include <string>
#include <utility>

namespace Korvane {

namespace Internal {
struct KORVANE_API TopologyManagerTraits {};
}  // namespace Internal

class KORVANE_API TopologyManager : public Manager<Topology, Internal::TopologyManagerTraits> {
public:
    static TopologyManager* get();

    TopologyManager(const TopologyManager&) = delete;
    TopologyManager& operator=(const TopologyManager&) = delete;
    // Destroys the remaining topologies (which stop their components) first.
    ~TopologyManager() override;

    // A copy of the prototype registered as type, entered under name (which may change).
    // Empty handle and empty name for an unknown type or a refused name.
    TopologyRefPtr create(const char* type, std::string& name, bool unique);
    // The same from a given topology; the new topology takes the prototype's type.
    TopologyRefPtr create(TopologyRefPtr prototype, std::string& name, bool unique);

    // Records that topology holds the component (type, name). False for a null
    // topology or a component that is claimed already (also by the same topology).
    bool claimExclusive(ComponentType type, const std::string& name, Topology* topology);
    // Frees the component's claim, whoever holds it; true (also when it was free).
    bool freeExclusive(ComponentType type, const std::string& name);
    // Frees every claim held by topology; false for a null topology.
    bool freeExclusive(Topology* topology);
    bool isClaimedExclusive(ComponentType type, const std::string& name) const;
    // The name of the topology that holds the component; empty when it is free.
    std::string claimant(ComponentType type, const std::string& name) const;

    // t->start(); true. A failed claim leaves as the std::runtime_error of
    // Topology::start. False, doing nothing, for an empty handle.
    bool start(TopologyRefPtr t);
    // t->stop() and t->clear() respectively; nothing for an empty handle.
    void stop(TopologyRefPtr t);
    void clear(TopologyRefPtr t);

private:
    TopologyManager();

    using ClaimKey = std::pair<ComponentType, std::string>;
    struct Claim {
        std::string topologyName;
        const Topology* topology;  // identifies the claimant only; not owned
    };

    // Clones prototype and enters the copy as an instance of type; the caller holds m_lock.
    TopologyRefPtr createPrivate(const TopologyRefPtr& prototype, const std::string& type,
                                 std::string& name, bool unique);

    std::map<ClaimKey, Claim> m_claims;  // guarded by m_lock
};

}  // namespace Korvane
