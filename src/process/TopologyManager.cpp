#include <korvane/buffers/BufferManager.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/DisplayManager.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/TopologyManager.h>

#include <memory>

namespace Korvane {

TopologyManager* TopologyManager::get() {
    static TopologyManager manager;
    return &manager;
}

TopologyManager::TopologyManager() {
    // A topology's clear() releases its components from these managers. Made first,
    // they are destroyed after this one, so the topologies destroyed below still
    // find them.
    BufferManager::get();
    DeviceManager::get();
    DisplayManager::get();
    OperatorManager::get();
    registerType("Topology", TopologyRefPtr(new Topology, &freeCallback));
}

TopologyManager::~TopologyManager() {
    // The topologies free their claims as they go, so the table must still exist.
    cleanUp();
}

TopologyRefPtr TopologyManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, name, unique);
}

TopologyRefPtr TopologyManager::create(TopologyRefPtr prototype, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, name, unique);
}

TopologyRefPtr TopologyManager::createPrivate(const TopologyRefPtr& prototype,
                                              const std::string& type, std::string& name,
                                              bool unique) {
    TopologyRefPtr topology;
    if (prototype.isValid()) {
        std::unique_ptr<Topology> made(prototype->createCopy());
        if (made) {
            topology = TopologyRefPtr(made.get(), &freeCallback);
            made.release();
        }
    }
    return enterCreatedPrivate(topology, type, name, unique);
}

bool TopologyManager::claimExclusive(ComponentType type, const std::string& name,
                                     Topology* topology) {
    if (!topology) return false;
    const std::string topologyName = topology->name();
    MutexLock lock(&m_lock);
    return m_claims.emplace(ClaimKey(type, name), Claim{topologyName, topology}).second;
}

bool TopologyManager::freeExclusive(ComponentType type, const std::string& name) {
    MutexLock lock(&m_lock);
    m_claims.erase(ClaimKey(type, name));
    return true;
}

bool TopologyManager::freeExclusive(Topology* topology) {
    if (!topology) return false;
    MutexLock lock(&m_lock);
    for (auto it = m_claims.begin(); it != m_claims.end();) {
        it = it->second.topology == topology ? m_claims.erase(it) : std::next(it);
    }
    return true;
}

bool TopologyManager::isClaimedExclusive(ComponentType type, const std::string& name) const {
    MutexLock lock(&m_lock);
    return m_claims.find(ClaimKey(type, name)) != m_claims.end();
}

std::string TopologyManager::claimant(ComponentType type, const std::string& name) const {
    MutexLock lock(&m_lock);
    auto it = m_claims.find(ClaimKey(type, name));
    return it == m_claims.end() ? std::string() : it->second.topologyName;
}

bool TopologyManager::start(TopologyRefPtr t) {
    if (t.isNull()) return false;
    t->start();
    return true;
}

void TopologyManager::stop(TopologyRefPtr t) {
    if (t.isValid()) t->stop();
}

void TopologyManager::clear(TopologyRefPtr t) {
    if (t.isValid()) t->clear();
}

}  // namespace Korvane
