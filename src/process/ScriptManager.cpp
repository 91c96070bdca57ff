#include <korvane/process/ScriptManager.h>

#include <memory>

namespace Korvane {

ScriptManager* ScriptManager::get() {
    static ScriptManager manager;
    return &manager;
}

ScriptManager::ScriptManager() = default;

ScriptManager::~ScriptManager() = default;

ScriptRefPtr ScriptManager::create(const char* type, short iterations, std::string& name,
                                   bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, iterations, name, unique);
}

ScriptRefPtr ScriptManager::create(ScriptRefPtr prototype, short iterations, std::string& name,
                                   bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, iterations, name, unique);
}

ScriptRefPtr ScriptManager::createPrivate(const ScriptRefPtr& prototype, const std::string& type,
                                          short iterations, std::string& name, bool unique) {
    ScriptRefPtr made;
    if (prototype.isValid()) {
        std::unique_ptr<Script> copy(prototype->createCopy());
        if (copy) {
            made = ScriptRefPtr(copy.get(), &freeCallback);
            copy.release();
        }
    }
    ScriptRefPtr entered = enterCreatedPrivate(made, type, name, unique);
    if (entered.isValid()) {
        entered->setProperty("MaxIterations", static_cast<long long>(iterations));
    }
    return entered;
}

std::vector<std::string> ScriptManager::runningInstanceList() const {
    MutexLock lock(&m_lock);
    std::vector<std::string> running;
    for (const std::string& name : instanceListPrivate()) {
        if (instancePrivate(name)->isRunning()) running.push_back(name);
    }
    return running;
}

int ScriptManager::runningInstanceCount() const {
    return static_cast<int>(runningInstanceList().size());
}

}  // namespace Korvane
