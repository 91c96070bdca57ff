#include <korvane/process/MotionManager.h>

#include <memory>

namespace Korvane {

MotionManager* MotionManager::get() {
    static MotionManager manager;
    return &manager;
}

MotionManager::MotionManager() = default;
MotionManager::~MotionManager() = default;

MotionRefPtr MotionManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, name, unique);
}

MotionRefPtr MotionManager::create(MotionRefPtr prototype, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, name, unique);
}

MotionRefPtr MotionManager::createPrivate(const MotionRefPtr& prototype, const std::string& type,
                                          std::string& name, bool unique) {
    MotionRefPtr motion;
    if (prototype.isValid()) {
        std::unique_ptr<Motion> made(prototype->createCopy());
        if (made) {
            motion = MotionRefPtr(made.get(), &freeCallback);
            made.release();
        }
    }
    return enterCreatedPrivate(motion, type, name, unique);
}

}  // namespace Korvane
