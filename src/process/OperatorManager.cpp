#include <korvane/config/StringUtils.h>
#include <korvane/process/OperatorManager.h>

#include <memory>

namespace Korvane {

namespace {

constexpr char processType[] = "OperatorProcess";

// A taken process name is retried with this many keys of keyGroups groups.
constexpr int processKeyAttempts = 21;
constexpr int keyLength = 4;
constexpr int keyGroups = 6;

}  // namespace

OperatorManager* OperatorManager::get() {
    static OperatorManager manager;
    return &manager;
}

OperatorManager::OperatorManager() = default;

OperatorManager::~OperatorManager() {
    ProcessTable processes;  // let go after the lock
    MutexLock lock(&m_lock);
    processes.swap(m_processes);
}

OperatorRefPtr OperatorManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, name, unique);
}

OperatorRefPtr OperatorManager::create(OperatorRefPtr prototype, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, name, unique);
}

OperatorRefPtr OperatorManager::createPrivate(const OperatorRefPtr& prototype,
                                              const std::string& type, std::string& name,
                                              bool unique) {
    OperatorRefPtr made;
    if (prototype.isValid()) {
        std::unique_ptr<Operator> copy(prototype->createCopy());
        if (copy) {
            made = OperatorRefPtr(copy.get(), &freeCallback);
            copy.release();
        }
    }
    OperatorRefPtr entered = enterCreatedPrivate(made, type, name, unique);
    if (entered.isValid()) notify(Event::InstanceCreated, type, name);
    return entered;
}

OperatorProcessRefPtr OperatorManager::createProcess(std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string chosen = freeProcessNamePrivate(name, unique);
    if (chosen.empty()) {
        if (unique) name.clear();
        return OperatorProcessRefPtr();
    }
    OperatorProcessRefPtr process(new OperatorProcess, &processFreeCallback);
    process->setName(chosen);
    process->setType(processType);
    m_processes.emplace(chosen, process);
    name = chosen;
    notify(Event::InstanceCreated, processType, chosen);
    return process;
}

OperatorProcessRefPtr OperatorManager::process(const char* name) const {
    if (!name) return OperatorProcessRefPtr();
    MutexLock lock(&m_lock);
    auto it = m_processes.find(std::string_view(name));
    return it == m_processes.end() ? OperatorProcessRefPtr() : it->second;
}

bool OperatorManager::releaseProcess(const char* name) {
    if (!name) return false;
    OperatorProcessRefPtr dropped;  // declared before the lock: it lets go after it
    MutexLock lock(&m_lock);
    auto it = m_processes.find(std::string_view(name));
    if (it == m_processes.end()) return false;
    dropped = it->second;
    m_processes.erase(it);
    notify(Event::InstanceReleased, processType, name);
    return true;
}

std::vector<std::string> OperatorManager::processList() const {
    MutexLock lock(&m_lock);
    std::vector<std::string> names;
    names.reserve(m_processes.size());
    for (const auto& entry : m_processes) names.push_back(entry.first);
    return names;
}

std::string OperatorManager::freeProcessNamePrivate(const std::string& name, bool unique) const {
    if (!name.empty() && !processExistsPrivate(name)) return name;
    if (!unique) return std::string();
    const std::string stem = name.substr(0, name.find('{'));
    for (int attempt = 0; attempt < processKeyAttempts; ++attempt) {
        std::string candidate = stem + generateKey(keyLength, keyGroups);
        if (!processExistsPrivate(candidate)) return candidate;
    }
    return std::string();
}

bool OperatorManager::processExistsPrivate(const std::string& name) const {
    return m_processes.find(name) != m_processes.end();
}

void OperatorManager::processFreeCallback(OperatorProcess* process) {
    delete process;
}

}  // namespace Korvane
