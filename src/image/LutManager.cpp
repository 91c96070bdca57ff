#include <korvane/image/LutManager.h>

#include <memory>

namespace Korvane {

LutManager* LutManager::get() {
    static LutManager manager;
    return &manager;
}

LutManager::LutManager() {
    registerType("Grey8Bit", LutRefPtr(new LutGrey8, &freeCallback));
    registerType("Grey10Bit", LutRefPtr(new LutGrey10, &freeCallback));
    registerType("Grey16Bit", LutRefPtr(new LutGrey16, &freeCallback));
}

LutManager::~LutManager() = default;

LutRefPtr LutManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, name, unique);
}

LutRefPtr LutManager::create(LutRefPtr prototype, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, name, unique);
}

LutRefPtr LutManager::createPrivate(const LutRefPtr& prototype, const std::string& type,
                                    std::string& name, bool unique) {
    LutRefPtr table;
    if (prototype.isValid()) {
        std::unique_ptr<Lut> made(prototype->createCopy());
        if (made) {
            table = LutRefPtr(made.get(), &freeCallback);
            made.release();
        }
    }
    return enterCreatedPrivate(table, type, name, unique);
}

}  // namespace Korvane
