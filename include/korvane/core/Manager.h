#pragma once
// Manager<T, Traits> keeps the two tables of every manager: registered prototypes by
// type name and live instances by instance name, each a counted handle, both under
// one re-entrant lock. Concrete managers derive from it, add their create operations
// (clone a prototype, wrap it with freeCallback, then enterCreatedPrivate)
// and are process-wide singletons.
//
// Traits is the concrete manager's empty tag class (`struct KORVANE_API LutManagerTraits {};`);
// the handle class is HandleOf<T>, the named handle where T has one. A tag of an exported
// manager carries KORVANE_API like the manager itself.
// Decisions: an empty type name is refused. releaseInstance and cleanUp drop the
// manager's handles after releasing the lock, so the destructor of a released object
// may use the manager again (cleanUp therefore takes the lock for its swap).

#include <korvane/config/StringUtils.h>
#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/core/ManagerInterface.h>
#include <korvane/core/RefPtr.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventManager.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/platform/Mutex.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace Korvane {

template <class T, class Traits>
class KORVANE_API Manager : public Internal::ManagerInterface, public Traits {
public:
    using Handle = typename HandleOf<T>::Type;

    // Drops the prototypes first, then the instances, under the lock. Handles held
    // elsewhere stay valid: their deleter does not refer to the manager.
    ~Manager() override;

    bool unregisterType(const char* type) override;
    bool typeExists(const char* type) const override;
    // The object is destroyed only when no other handle holds it.
    bool releaseInstance(const char* name) override;
    std::vector<std::string> typeList() const override;
    std::vector<std::string> instanceList(const std::string& type) const override;
    std::vector<std::string> instanceList() const override;
    std::size_t typeCount() const override;
    std::size_t instanceCount() const override;
    bool cleanUp() override;

    // False for a null or empty type name, an empty prototype or a taken name.
    // Otherwise the prototype's Type becomes type, unless it already has one.
    virtual bool registerType(const char* type, const Handle& prototype);

    bool typeExists(const std::string& type) const;
    // A copy of the instance's handle; empty for a null, empty or unknown name.
    Handle instance(const char* name) const;

    // Instance names keep only these characters; every other becomes '_'.
    static std::string allowedCharactersInName() { return std::string(nameAlphabet); }

protected:
    Manager() = default;

    // Enters object under name, cleaned to the instance-name alphabet; with unique set,
    // a taken (or empty) name gets a random key instead of failing. True on success,
    // with the final name in name; the object's Name is set to it.
    bool instanceMapInsert(std::string& name, const Handle& object, bool unique);
    // The common end of a create operation: enters a newly made object by
    // instanceMapInsert and sets its type. For an empty handle or a refused name it
    // empties name and answers an empty handle. Called with the lock held.
    Handle enterCreatedPrivate(const Handle& object, const std::string& type, std::string& name,
                               bool unique);

    // The deleter of every handle a manager creates.
    static void freeCallback(T* object);

    // Set-once writes of an object's Name and Type, for the create operations.
    static bool setInstanceName(const Handle& object, const std::string& name);
    static bool setInstanceType(const Handle& object, const std::string& type);

    // The one place where changes of the tables are announced, this manager being the
    // sender. Called with the lock held; the event manager only queues the event. No
    // event is built while no dispatcher would receive it.
    void notify(Event::Type type, const std::string& typeName, const std::string& instanceName) {
        if (!EventManager::hasEventDispatcher()) return;
        EventManager::get()->postEvent(
            new ManagerEvent(type, typeName, instanceName, std::string()), this);
    }

    // The twins of the public operations; the caller holds m_lock.
    bool unregisterTypePrivate(const std::string& type);
    bool typeExistsPrivate(const std::string& type) const;
    std::vector<std::string> typeListPrivate() const;
    std::size_t typeCountPrivate() const;
    // The registered prototype of type; empty when unknown.
    Handle prototypePrivate(const std::string& type) const;
    Handle instancePrivate(const std::string& name) const;
    std::vector<std::string> instanceListPrivate(const std::string& type) const;
    std::vector<std::string> instanceListPrivate() const;
    std::size_t instanceCountPrivate() const;
    // Enters prototype under type without setting its Type and without an event, for
    // managers whose types arrive through another manager; false when type is taken.
    bool insertTypePrivate(const std::string& type, const Handle& prototype);
    // Empties the instance table without an event; for clear operations, which run
    // while no other thread uses the manager.
    void clearInstancesPrivate();

    // Guards m_types and m_instances. Concrete managers hold it across a whole create.
    mutable Mutex m_lock;

private:
    using Table = std::map<std::string, Handle, std::less<>>;

    static constexpr std::string_view nameAlphabet =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_{}:-";
    // A taken name is retried with this many random keys before giving up.
    static constexpr int keyAttempts = 50;

    virtual bool registerTypePrivate(const std::string& type, const Handle& prototype);
    virtual bool releaseInstancePrivate(const std::string& name);

    static void cleanName(std::string& name);
    // name followed by a key that no instance has yet; empty when none was found.
    std::string uniqueNamePrivate(const std::string& name) const;
    void enterPrivate(const std::string& name, const Handle& object);
    static std::vector<std::string> keysOf(const Table& table);

    Table m_types;      // prototypes by type name
    Table m_instances;  // live instances by instance name
};

template <class T, class Traits>
Manager<T, Traits>::~Manager() {
    MutexLock lock(&m_lock);
    m_types.clear();
    m_instances.clear();
}

// ---- public operations: lock, then the twin ------------------------------------------

template <class T, class Traits>
bool Manager<T, Traits>::registerType(const char* type, const Handle& prototype) {
    if (!type) return false;
    MutexLock lock(&m_lock);
    return registerTypePrivate(type, prototype);
}

template <class T, class Traits>
bool Manager<T, Traits>::unregisterType(const char* type) {
    if (!type) return false;
    MutexLock lock(&m_lock);
    return unregisterTypePrivate(type);
}

template <class T, class Traits>
bool Manager<T, Traits>::typeExists(const char* type) const {
    return type != nullptr && typeExists(std::string(type));
}

template <class T, class Traits>
bool Manager<T, Traits>::typeExists(const std::string& type) const {
    MutexLock lock(&m_lock);
    return typeExistsPrivate(type);
}

template <class T, class Traits>
std::vector<std::string> Manager<T, Traits>::typeList() const {
    MutexLock lock(&m_lock);
    return typeListPrivate();
}

template <class T, class Traits>
std::size_t Manager<T, Traits>::typeCount() const {
    MutexLock lock(&m_lock);
    return typeCountPrivate();
}

template <class T, class Traits>
typename Manager<T, Traits>::Handle Manager<T, Traits>::instance(const char* name) const {
    if (!name) return Handle();
    MutexLock lock(&m_lock);
    return instancePrivate(name);
}

template <class T, class Traits>
std::vector<std::string> Manager<T, Traits>::instanceList(const std::string& type) const {
    MutexLock lock(&m_lock);
    return instanceListPrivate(type);
}

template <class T, class Traits>
std::vector<std::string> Manager<T, Traits>::instanceList() const {
    MutexLock lock(&m_lock);
    return instanceListPrivate();
}

template <class T, class Traits>
std::size_t Manager<T, Traits>::instanceCount() const {
    MutexLock lock(&m_lock);
    return instanceCountPrivate();
}

template <class T, class Traits>
bool Manager<T, Traits>::releaseInstance(const char* name) {
    if (!name) return false;
    Handle dropped;  // declared before the lock: it lets go after the lock is released
    MutexLock lock(&m_lock);
    dropped = instancePrivate(name);
    return releaseInstancePrivate(name);
}

template <class T, class Traits>
bool Manager<T, Traits>::cleanUp() {
    Table types;
    Table instances;
    {
        MutexLock lock(&m_lock);
        types.swap(m_types);
        instances.swap(m_instances);
    }
    types.clear();
    instances.clear();
    return true;
}

// ---- protected operations -------------------------------------------------------------

template <class T, class Traits>
bool Manager<T, Traits>::instanceMapInsert(std::string& name, const Handle& object, bool unique) {
    if (object.isNull()) return false;
    MutexLock lock(&m_lock);
    cleanName(name);
    if (!name.empty() && m_instances.find(name) == m_instances.end()) {
        enterPrivate(name, object);
        return true;
    }
    if (!unique) return false;
    // A name made unique before ends in a key: draw a new key rather than adding one.
    std::string candidate = uniqueNamePrivate(name.substr(0, name.find('{')));
    if (candidate.empty()) return false;
    name = candidate;
    enterPrivate(name, object);
    return true;
}

template <class T, class Traits>
typename Manager<T, Traits>::Handle Manager<T, Traits>::enterCreatedPrivate(const Handle& object,
                                                               const std::string& type,
                                                               std::string& name, bool unique) {
    if (object.isNull() || !instanceMapInsert(name, object, unique)) {
        name.clear();
        return Handle();
    }
    setInstanceType(object, type);
    name = object->name();
    return object;
}

template <class T, class Traits>
void Manager<T, Traits>::freeCallback(T* object) {
    if (!object) {
        korvLogError(
            "Manager::freeCallback: Attempt to delete a NULL pointer. Possible memory leak.");
        return;
    }
    delete object;
}

template <class T, class Traits>
bool Manager<T, Traits>::setInstanceName(const Handle& object, const std::string& name) {
    return object.isValid() && static_cast<ManageableType&>(*object).setName(name);
}

template <class T, class Traits>
bool Manager<T, Traits>::setInstanceType(const Handle& object, const std::string& type) {
    return object.isValid() && static_cast<ManageableType&>(*object).setType(type);
}

template <class T, class Traits>
bool Manager<T, Traits>::unregisterTypePrivate(const std::string& type) {
    auto it = m_types.find(type);
    if (it == m_types.end()) return false;
    m_types.erase(it);
    notify(Event::TypeUnregistered, type, std::string());
    return true;
}

template <class T, class Traits>
bool Manager<T, Traits>::typeExistsPrivate(const std::string& type) const {
    return m_types.find(type) != m_types.end();
}

template <class T, class Traits>
std::vector<std::string> Manager<T, Traits>::typeListPrivate() const {
    return keysOf(m_types);
}

template <class T, class Traits>
std::size_t Manager<T, Traits>::typeCountPrivate() const {
    return m_types.size();
}

template <class T, class Traits>
typename Manager<T, Traits>::Handle Manager<T, Traits>::prototypePrivate(
    const std::string& type) const {
    auto it = m_types.find(type);
    return it == m_types.end() ? Handle() : it->second;
}

template <class T, class Traits>
typename Manager<T, Traits>::Handle Manager<T, Traits>::instancePrivate(
    const std::string& name) const {
    auto it = m_instances.find(name);
    return it == m_instances.end() ? Handle() : it->second;
}

template <class T, class Traits>
std::vector<std::string> Manager<T, Traits>::instanceListPrivate(const std::string& type) const {
    std::vector<std::string> names;
    for (const auto& [name, object] : m_instances) {
        if (object->type() == type) names.push_back(name);
    }
    return names;
}

template <class T, class Traits>
std::vector<std::string> Manager<T, Traits>::instanceListPrivate() const {
    return keysOf(m_instances);
}

template <class T, class Traits>
std::size_t Manager<T, Traits>::instanceCountPrivate() const {
    return m_instances.size();
}

template <class T, class Traits>
bool Manager<T, Traits>::insertTypePrivate(const std::string& type, const Handle& prototype) {
    return m_types.emplace(type, prototype).second;
}

template <class T, class Traits>
void Manager<T, Traits>::clearInstancesPrivate() {
    m_instances.clear();
}

// ---- private --------------------------------------------------------------------------

template <class T, class Traits>
bool Manager<T, Traits>::registerTypePrivate(const std::string& type, const Handle& prototype) {
    if (type.empty() || prototype.isNull()) return false;
    if (!m_types.emplace(type, prototype).second) return false;
    setInstanceType(prototype, type);
    notify(Event::TypeRegistered, type, std::string());
    return true;
}

template <class T, class Traits>
bool Manager<T, Traits>::releaseInstancePrivate(const std::string& name) {
    auto it = m_instances.find(name);
    if (it == m_instances.end()) return false;
    m_instances.erase(it);
    notify(Event::InstanceReleased, std::string(), name);
    return true;
}

template <class T, class Traits>
void Manager<T, Traits>::cleanName(std::string& name) {
    for (char& c : name) {
        if (nameAlphabet.find(c) == std::string_view::npos) c = '_';
    }
}

template <class T, class Traits>
std::string Manager<T, Traits>::uniqueNamePrivate(const std::string& name) const {
    for (int attempt = 0; attempt < keyAttempts; ++attempt) {
        std::string candidate = name + generateKey(4, 8);
        if (m_instances.find(candidate) == m_instances.end()) return candidate;
    }
    return std::string();
}

template <class T, class Traits>
void Manager<T, Traits>::enterPrivate(const std::string& name, const Handle& object) {
    m_instances.emplace(name, object);
    setInstanceName(object, name);
}

template <class T, class Traits>
std::vector<std::string> Manager<T, Traits>::keysOf(const Table& table) {
    std::vector<std::string> names;
    names.reserve(table.size());
    for (const auto& entry : table) names.push_back(entry.first);
    return names;
}

}  // namespace Korvane
